// Applications started, terminated and restarted across three owner processes.

#include <algorithm>
#include <set>

#include "tests/process/owners_test.h"

using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;
using testing::SizeIs;
using testing::UnorderedElementsAreArray;

namespace {

constexpr int kApps = 500;

// Arguments that make some fifty applications fill a record.
std::vector<AppInfo> ManyApps()
{
    std::vector<AppInfo> apps;
    for (int number = 0; number < kApps; ++number) {
        const std::string text = std::to_string(1000 + number);
        apps.push_back(
            App(kGroups[number % 3], "app" + text, static_cast<uint32_t>(number / 3 % 3),
                {"--config", "/etc/app/" + text + ".conf", "--verbose", "--name=" + text}));
    }
    return apps;
}

// An application as a test owner reports it.
std::string Reported(const AppInfo& app)
{
    static const char* const kVerbs[] = {"start=", "stop=", "restart="};
    std::string text = kVerbs[app.optionType] + app.appName;
    for (const std::string& argument : app.args) {
        text += ':' + argument;
    }
    return text;
}

std::vector<std::string> ReportedOf(GroupOwner group, const std::vector<AppInfo>& apps)
{
    std::vector<std::string> texts;
    for (const AppInfo& app : apps) {
        if (app.groupOwner == group) {
            texts.push_back(Reported(app));
        }
    }
    return texts;
}

// The entries of all changes, without "change" and its time-out.
std::vector<std::string> EntriesOf(const Peer& owner)
{
    std::vector<std::string> entries;
    for (const std::string& report : owner.Reports("change")) {
        std::istringstream words(report);
        std::string word;
        words >> word >> word;
        while (words >> word) {
            entries.push_back(word);
        }
    }
    return entries;
}

size_t CountOf(const std::vector<std::string>& results, const std::string& state)
{
    return static_cast<size_t>(
        std::count_if(results.begin(), results.end(), [&](const std::string& result) {
            return result.size() > state.size() &&
                   result.compare(result.size() - state.size() - 1, std::string::npos,
                                  ' ' + state) == 0;
        }));
}

class ChangeAcrossProcesses : public OwnersTest {
protected:
    // The results of one owner's applications, which come in the order of their names.
    static std::vector<std::string> ResultsOf(GroupOwner group, const std::vector<AppInfo>& apps,
                                              const ChangeOutcome& outcome)
    {
        std::set<std::string> names;
        for (const AppInfo& app : apps) {
            if (app.groupOwner == group) {
                names.insert(app.appName);
            }
        }
        std::vector<std::string> results;
        for (const std::string& result : outcome.results) {
            if (names.count(result.substr(0, result.find(' '))) != 0) {
                results.push_back(result);
            }
        }
        return results;
    }
};

TEST_F(ChangeAcrossProcesses, FiveHundredApplicationsGetOneResultEach)
{
    StartAll();
    const std::vector<AppInfo> apps = ManyApps();

    const ChangeOutcome outcome = Change(apps);

    EXPECT_EQ(outcome.code, kOk);
    EXPECT_THAT(outcome.results, SizeIs(kApps));
    EXPECT_EQ(CountOf(outcome.results, "SUCCESS"), static_cast<size_t>(kApps));
    const std::set<std::string> once(outcome.results.begin(), outcome.results.end());
    EXPECT_THAT(once, SizeIs(kApps));
    for (const GroupOwner group : kGroups) {
        EXPECT_GE(Owner(group).Reports("change").size(), 3U);  // records, each a request
        EXPECT_THAT(EntriesOf(Owner(group)), UnorderedElementsAreArray(ReportedOf(group, apps)));
    }
}

TEST_F(ChangeAcrossProcesses, ResultsStandByResourceAndNameBehindThoseWithoutAnOwner)
{
    StartAll();

    const ChangeOutcome outcome =
        Change({App(IAM, "b"), App(static_cast<GroupOwner>(7), "z"), App(APPMGR, "c"),
                App(IAM, "a"), App(static_cast<GroupOwner>(7), "y"), App(DATAMASTER, "d")});

    // "appmgr" < "datamaster" < "iam"
    EXPECT_EQ(outcome.code, kChangeFailed);
    EXPECT_THAT(outcome.results, ElementsAre("z INIT", "y INIT", "c SUCCESS", "d SUCCESS",
                                             "a SUCCESS", "b SUCCESS"));
}

TEST_F(ChangeAcrossProcesses, DynamicParametersReachAnOwnerExceptWithATermination)
{
    StartAll();
    AppInfo app = App(IAM, "a", ProcMgr::START, {"x", "y"});
    app.dynamicPara = {{0, {"v"}}, {2, {"w1", "w2"}}};
    AppInfo ended = app;
    ended.appName = "b";
    ended.optionType = ProcMgr::TERM;

    const ChangeOutcome outcome = Change({app, ended}, 30000);

    EXPECT_EQ(outcome.code, kOk);
    EXPECT_THAT(Owner(IAM).Reports(),
                ElementsAre("change 30000 stop=b:x:y start=a:x:y@0:v@2:w1@2:w2"));
}

TEST_F(ChangeAcrossProcesses, AnOwnersStatesComeBackOneByOne)
{
    StartAll();
    ASSERT_TRUE(Owner(APPMGR).Tell("fail b 2"));
    ASSERT_TRUE(Owner(APPMGR).Tell("fail c 6"));
    ASSERT_TRUE(Owner(APPMGR).Tell("fail d 7"));

    const ChangeOutcome outcome =
        Change({App(APPMGR, "a"), App(APPMGR, "b"), App(APPMGR, "c"), App(APPMGR, "d")});

    EXPECT_EQ(outcome.code, kOk);  // the verdict alone decides
    EXPECT_THAT(outcome.results,
                ElementsAre("a SUCCESS", "b START_FAILED", "c START_FAILED_BY_EIO", "d INIT"));
}

TEST_F(ChangeAcrossProcesses, ARefusedRecordFailsTheCallAndTheRestOfTheShareGoesOut)
{
    StartAll();
    ASSERT_TRUE(Owner(APPMGR).Tell("once change refuse 2"));
    const std::vector<AppInfo> apps = ManyApps();

    const ChangeOutcome outcome = Change(apps);

    EXPECT_EQ(outcome.code, kChangeFailed);
    EXPECT_EQ(CountOf(outcome.results, "SUCCESS"), static_cast<size_t>(kApps));
    for (const GroupOwner group : kGroups) {
        EXPECT_THAT(EntriesOf(Owner(group)), UnorderedElementsAreArray(ReportedOf(group, apps)));
    }
}

TEST_F(ChangeAcrossProcesses, AnOwnerKilledInTheMiddleOfItsShareLeavesTheRestAtInit)
{
    StartAll();
    ASSERT_TRUE(Owner(APPMGR).Tell("once change die 2"));
    const std::vector<AppInfo> apps = ManyApps();

    const ChangeOutcome outcome = Change(apps);

    EXPECT_EQ(outcome.code, kChangeFailed);
    ASSERT_TRUE(Owner(APPMGR).AwaitAny("change", 2));
    EXPECT_THAT(Owner(APPMGR).Reports("change"), SizeIs(2));
    std::istringstream first(Owner(APPMGR).Reports("change").front());
    const auto reached =
        static_cast<size_t>(std::distance(std::istream_iterator<std::string>(first), {}) - 2);
    const auto killed = ResultsOf(APPMGR, apps, outcome);
    EXPECT_EQ(CountOf(killed, "SUCCESS"), reached);
    EXPECT_EQ(CountOf(killed, "INIT"), killed.size() - reached);
    EXPECT_THAT(ResultsOf(DATAMASTER, apps, outcome), Each(EndsWith(" SUCCESS")));
    EXPECT_THAT(ResultsOf(IAM, apps, outcome), Each(EndsWith(" SUCCESS")));
    EXPECT_THAT(outcome.results, SizeIs(kApps));
}

TEST_F(ChangeAcrossProcesses, AnOwnerKilledBeforeLeavesItsWholeShareAtInit)
{
    StartAll();
    Owner(IAM).Kill();
    const std::vector<AppInfo> apps = ManyApps();

    const ChangeOutcome outcome = Change(apps);

    EXPECT_EQ(outcome.code, kChangeFailed);
    EXPECT_THAT(ResultsOf(IAM, apps, outcome), Each(EndsWith(" INIT")));
    EXPECT_THAT(ResultsOf(APPMGR, apps, outcome), Each(EndsWith(" SUCCESS")));
}

TEST_F(ChangeAcrossProcesses, AnOwnerStoppedPastTheTimeOutGetsItsFirstRecordAlone)
{
    StartAll();
    const std::vector<AppInfo> apps = ManyApps();
    ASSERT_EQ(Change({}).code, kOk);
    Owner(APPMGR).Stop();

    // Long enough for the owners that run, on a busy machine too.
    const ChangeOutcome outcome = Change(apps, 3000);

    EXPECT_EQ(outcome.code, kChangeFailed);
    EXPECT_THAT(ResultsOf(APPMGR, apps, outcome), Each(EndsWith(" INIT")));
    EXPECT_THAT(ResultsOf(DATAMASTER, apps, outcome), Each(EndsWith(" SUCCESS")));
    EXPECT_THAT(ResultsOf(IAM, apps, outcome), Each(EndsWith(" SUCCESS")));
    Owner(APPMGR).Continue();
    ASSERT_TRUE(Owner(APPMGR).AwaitAny("change"));
    const ChangeOutcome next = Change({App(APPMGR, "next")});
    EXPECT_THAT(next.results, ElementsAre("next SUCCESS"));
    EXPECT_THAT(Owner(APPMGR).Reports("change"), SizeIs(2));
    EXPECT_EQ(Owner(APPMGR).Reports("change").back(), "change 60000 start=next");
}

TEST_F(ChangeAcrossProcesses, ACallbackThatThrowsLeavesItsRecordAtInitAndTheOwnerAlive)
{
    StartAll();
    ASSERT_TRUE(Owner(IAM).Tell("once change throw 1"));

    const ChangeOutcome thrown = Change({App(IAM, "a"), App(APPMGR, "b")});
    const ChangeOutcome next = Change({App(IAM, "a")});

    EXPECT_EQ(thrown.code, kChangeFailed);
    EXPECT_THAT(thrown.results, ElementsAre("b SUCCESS", "a INIT"));
    EXPECT_THAT(next.results, ElementsAre("a SUCCESS"));
}

TEST_F(ChangeAcrossProcesses, AnItemThatFitsNoRecordFailsItsShareAndReachesNobody)
{
    StartAll();
    const AppInfo large = App(IAM, "large", ProcMgr::START, {std::string(3900, 'x')});

    const ChangeOutcome outcome = Change({App(IAM, "small"), large, App(APPMGR, "other")});

    EXPECT_EQ(outcome.code, kChangeFailed);
    EXPECT_THAT(outcome.results, ElementsAre("other SUCCESS", "large INIT", "small INIT"));
    EXPECT_THAT(Owner(IAM).Reports(), IsEmpty());
}

}  // namespace
