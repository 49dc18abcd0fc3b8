// Everything at once: eight threads of one manager on three owners, every result accounted for.
//
// OWNERLINK_TEST_LONG=1 in the environment makes it ten seconds instead of two.

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <numeric>
#include <thread>

#include "tests/process/owners_test.h"

namespace {

using Clock = std::chrono::steady_clock;
using Names = std::map<unsigned int, std::map<unsigned int, std::vector<std::string>>>;

constexpr size_t kAppsEach = 30;

// How often each code came. Used by one thread until it is joined.
using Codes = std::map<uint32_t, size_t>;

size_t Total(const Codes& codes)
{
    return std::accumulate(codes.begin(), codes.end(), size_t{0},
                           [](size_t sum, const auto& code) { return sum + code.second; });
}

// Runs `call` over and over until the end.
class Worker {
public:
    Worker(Clock::time_point end, std::function<uint32_t()> call)
        : thread_([this, end, call = std::move(call)] {
              while (Clock::now() < end) {
                  ++codes_[call()];
              }
          })
    {
    }

    Codes Join()
    {
        thread_.join();
        return codes_;
    }

private:
    Codes codes_;
    std::thread thread_;
};

std::vector<AppInfo> Apps(const std::string& prefix)
{
    std::vector<AppInfo> apps;
    for (size_t number = 0; number < kAppsEach; ++number) {
        apps.push_back(App(kGroups[number % 3], prefix + std::to_string(number)));
    }
    return apps;
}

uint32_t ChangeAll(const std::string& prefix)
{
    const ChangeOutcome outcome = Change(Apps(prefix));
    EXPECT_EQ(outcome.results.size(), kAppsEach);
    for (const std::string& result : outcome.results) {
        EXPECT_THAT(result, testing::StartsWith(prefix));
        EXPECT_THAT(result, testing::EndsWith(" SUCCESS"));
    }
    return outcome.code;
}

uint32_t QueryAll(const std::string& name)
{
    std::vector<AppStatus> answers;
    const uint32_t code =
        OwnerlinkClient::GetInstance().QueryAppState({name}, answers, kLongTimeOut, 1);
    EXPECT_EQ(answers.size(), 3U);
    for (const AppStatus& answer : answers) {
        EXPECT_EQ(answer.appName, name);
    }
    return code;
}

uint32_t ListAll()
{
    Names names;
    const uint32_t code = OwnerlinkClient::GetInstance().QueryAppList(names);
    EXPECT_EQ(names[0].size(), 3U);
    return code;
}

class Together : public OwnersTest {
protected:
    static Clock::time_point End()
    {
        const bool isLong = std::getenv("OWNERLINK_TEST_LONG") != nullptr;
        return Clock::now() + std::chrono::seconds(isLong ? 10 : 2);
    }

    size_t Changed(GroupOwner group, const std::string& prefix)
    {
        size_t count = 0;
        for (const std::string& report : Owner(group).Reports("change")) {
            count += report.find(" start=" + prefix) != std::string::npos ? 1 : 0;
        }
        return count;
    }

    // A call that succeeded ran a callback at each owner; one that was refused at the door ran
    // none; one that failed ran some.
    void ExpectStatesAccounted(Codes states, const Codes& cancels)
    {
        for (const auto& [code, count] : cancels) {
            states[code] += count;
        }
        for (const auto& [code, count] : states) {
            EXPECT_TRUE(code == kOk || code == kStateBusy || code == kStateFailed) << code;
        }
        for (const GroupOwner group : kGroups) {
            const size_t callbacks =
                Owner(group).Reports("state").size() + Owner(group).Reports("cancel").size();
            EXPECT_GE(callbacks, states[kOk]);
            EXPECT_LE(callbacks, Total(states) - states[kStateBusy]);
        }
    }
};

TEST_F(Together, ChangesQueriesStatesAndCancelsFromEightThreadsLoseNothing)
{
    StartAll();
    for (const GroupOwner group : kGroups) {
        ASSERT_TRUE(Owner(group).Tell("apps one two"));
    }
    const Clock::time_point end = End();
    Worker changes(end, [] { return ChangeAll("x"); });
    Worker moreChanges(end, [] { return ChangeAll("y"); });
    Worker queries(end, [] { return QueryAll("p"); });
    Worker moreQueries(end, [] { return QueryAll("q"); });
    Worker lists(end, [] { return ListAll(); });
    Worker reloads(end, [] { return OwnerlinkClient::GetInstance().UpdateCfg(); });
    Worker states(end, [] { return SetState(ProcMgr::SUSPEND_PRE); });
    Worker cancels(end, [] { return SetState(ProcMgr::WORKING); });

    const Codes changed = changes.Join();
    const Codes moreChanged = moreChanges.Join();
    const Codes queried = queries.Join();
    const Codes moreQueried = moreQueries.Join();
    const Codes listed = lists.Join();
    const Codes reloaded = reloads.Join();
    const Codes set = states.Join();
    const Codes cancelled = cancels.Join();

    for (const Codes* codes :
         {&changed, &moreChanged, &queried, &moreQueried, &listed, &reloaded}) {
        EXPECT_EQ(Total(*codes), codes->count(kOk) != 0 ? codes->at(kOk) : 0);
        EXPECT_GT(Total(*codes), 0U);
    }
    EXPECT_GT(Total(cancelled), 0U);
    ExpectStatesAccounted(set, cancelled);
    for (const GroupOwner group : kGroups) {
        EXPECT_EQ(Changed(group, "x"), Total(changed));
        EXPECT_EQ(Changed(group, "y"), Total(moreChanged));
        EXPECT_EQ(Owner(group).Count("query 1 60000 p"), Total(queried));
        EXPECT_EQ(Owner(group).Count("query 1 60000 q"), Total(moreQueried));
        EXPECT_EQ(Owner(group).Count("list"), Total(listed));
        EXPECT_EQ(Owner(group).Count("reload"), group == IAM ? 0 : Total(reloaded));
    }
}

TEST_F(Together, OwnersRestartedUnderLoadLoseNoCallForGood)
{
    StartAll();
    const Clock::time_point end = End();
    const auto change = [] {
        return Change(Apps("x")).code;
    };
    const auto query = [] {
        std::vector<AppStatus> answers;
        return OwnerlinkClient::GetInstance().QueryAppState({"p"}, answers, kLongTimeOut, 1);
    };
    Worker changes(end, change);
    Worker queries(end, query);
    Worker moreQueries(end, query);

    while (Clock::now() < end) {
        for (const GroupOwner group : kGroups) {
            KillAndStart(group);
        }
    }

    for (const auto& [code, count] : changes.Join()) {
        EXPECT_TRUE(code == kOk || code == kChangeFailed) << code;
    }
    for (Worker* worker : {&queries, &moreQueries}) {
        for (const auto& [code, count] : worker->Join()) {
            EXPECT_TRUE(code == kOk || code == kQueryFailed) << code;
        }
    }
    EXPECT_EQ(change(), kOk);
    EXPECT_EQ(query(), kOk);
    EXPECT_EQ(SetState(ProcMgr::WORKING), kOk);
}

}  // namespace
