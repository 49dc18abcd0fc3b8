// Requests, registrations and callbacks at the same time. No callback runs with a lock held, so
// each of these would otherwise hang.
#include <atomic>
#include <memory>
#include <thread>

#include "tests/server/server_test.h"

namespace {

using ProcMgr::CANCEL_SUSPEND;
using ProcMgr::SET_SYSTEM_STATE;
using ::testing::ElementsAre;

constexpr unsigned kReload = 3;
constexpr unsigned kDump = 4;
constexpr int kRounds = 300;

class ServerThreads : public ServerTest {
protected:
    // A callback that says that it runs and then waits for `release`.
    auto Blocking()
    {
        return [this, passed = release.get_future().share()](auto&&...) {
            isRunning = true;
            passed.wait();
            return true;
        };
    }

    std::future<Answer> StartBlocked(unsigned command, const std::string& payload = "")
    {
        auto answer = InBackground([=] { return Send(command, payload); });
        EXPECT_TRUE(platform::WaitUntil([this] { return isRunning.load(); }));
        return answer;
    }

    static bool IsWaiting(const std::future<Answer>& answer)
    {
        return answer.wait_for(std::chrono::seconds(0)) == std::future_status::timeout;
    }

    std::promise<void> release;
    std::atomic<bool> isRunning{false};
};

TEST_F(ServerThreads, CancelOvertakesAStateCallbackThatBlocks)
{
    int cancelled = 0;
    server.RegSetSystemStateTimeoutCallBackImpl(Blocking(), kResFile);
    server.RegSsCancelSuspendPreCallBackImpl(
        [&](int state, int) {
            cancelled = state;
            return true;
        },
        kResFile);
    auto suspend = StartBlocked(SET_SYSTEM_STATE, "258#");

    EXPECT_EQ(Send(CANCEL_SUSPEND).Payload(), "1#");

    EXPECT_EQ(cancelled, 1);
    EXPECT_TRUE(IsWaiting(suspend));
    release.set_value();
    EXPECT_EQ(suspend.get().Payload(), "1#");
}

TEST_F(ServerThreads, StateOvertakesACancelCallbackThatBlocks)
{
    server.RegSetSystemStateCallBackImpl([](int) { return true; }, kResFile);
    server.RegSsCancelSuspendPreCallBackImpl(Blocking(), kResFile);
    Send(SET_SYSTEM_STATE, "258#");
    auto cancel = StartBlocked(CANCEL_SUSPEND);

    EXPECT_EQ(Send(SET_SYSTEM_STATE, "2#").Payload(), "1#");

    EXPECT_TRUE(IsWaiting(cancel));
    release.set_value();
    EXPECT_EQ(cancel.get().Payload(), "1#");
}

TEST_F(ServerThreads, EveryCommandIsServedWhileAnotherBlocks)
{
    server.RegReloadCallBackImpl(Blocking(), kResFile);
    server.RegDumpCallBackImpl([] { return true; }, kResFile);
    auto reload = StartBlocked(kReload);

    EXPECT_EQ(Send(kDump).Payload(), "1");
    EXPECT_EQ(Send(5).Payload(), "0");
    EXPECT_EQ(Send(6).Payload(), "0#");

    EXPECT_TRUE(IsWaiting(reload));
    release.set_value();
    EXPECT_EQ(reload.get().Payload(), "1");
}

TEST_F(ServerThreads, RegistrationIsServedWhileACallbackBlocks)
{
    server.RegReloadCallBackImpl(Blocking(), kResFile);
    auto reload = StartBlocked(kReload);

    EXPECT_EQ(server.RegReloadCallBackImpl([] { return false; }, kResFile), 0);

    EXPECT_EQ(Send(kReload).Payload(), "0");
    EXPECT_TRUE(IsWaiting(reload));
    release.set_value();
    EXPECT_EQ(reload.get().Payload(), "1");
}

TEST_F(ServerThreads, CallbackMayRegisterAnother)
{
    server.RegReloadCallBackImpl(
        [this] { return server.RegDumpCallBackImpl([] { return true; }, kResFile) == 0; },
        kResFile);

    EXPECT_EQ(Send(kReload).Payload(), "1");

    EXPECT_EQ(Send(kDump).Payload(), "1");
}

TEST_F(ServerThreads, CallbackMayEmptyItsOwnPlaceAndGoOn)
{
    const auto alive = std::make_shared<std::string>("alive");
    server.RegReloadCallBackImpl(
        [this, alive] {
            server.RegReloadCallBackImpl({}, kResFile);
            return *alive == "alive";
        },
        kResFile);

    EXPECT_EQ(Send(kReload).Payload(), "1");

    EXPECT_EQ(Send(kReload).Payload(), "0");
    EXPECT_EQ(alive.use_count(), 1);
}

TEST_F(ServerThreads, CallbackMaySendARequest)
{
    server.RegDumpCallBackImpl([] { return true; }, kResFile);
    server.RegReloadCallBackImpl([] { return Send(kDump).Payload() == "1"; }, kResFile);

    EXPECT_EQ(Send(kReload).Payload(), "1");
}

TEST_F(ServerThreads, StateCallbackMaySendACancel)
{
    std::string cancelAnswer;
    server.RegSetSystemStateCallBackImpl(
        [&](int) {
            cancelAnswer = Send(CANCEL_SUSPEND).Payload();
            return true;
        },
        kResFile);
    server.RegSsCancelSuspendPreCallBackImpl([](int, int) { return true; }, kResFile);

    EXPECT_EQ(Send(SET_SYSTEM_STATE, "258#").Payload(), "1#");

    EXPECT_EQ(cancelAnswer, "1#");
}

TEST_F(ServerThreads, ReplacedCallbackIsDestroyedWithNoLockHeld)
{
    std::string last;
    auto guard = std::shared_ptr<int>(new int(0), [&last](const int* number) {
        delete number;
        last = Send(kReload).Payload();
    });
    server.RegReloadCallBackImpl([guard = std::move(guard)] { return false; }, kResFile);

    server.RegReloadCallBackImpl([] { return true; }, kResFile);

    EXPECT_EQ(last, "1");
}

TEST_F(ServerThreads, CallbackIsReplacedWhileRequestsRun)
{
    const auto answering = [](std::string name) {
        return [name = std::move(name)](std::vector<std::string>& names) {
            names = {name};
            return true;
        };
    };
    const std::string first(100, 'a');
    const std::string second(100, 'b');
    server.RegQueryAppListCallBackImpl(answering(first), kResFile);
    std::thread replacing([&] {
        for (int round = 0; round < kRounds; ++round) {
            server.RegQueryAppListCallBackImpl(answering(round % 2 == 0 ? second : first), "other");
        }
    });

    for (int round = 0; round < kRounds; ++round) {
        EXPECT_THAT(Send(6).Payload(), ::testing::AnyOf("1#" + first + "#", "1#" + second + "#"));
    }

    replacing.join();
}

TEST_F(ServerThreads, StatesAndCancelsMeet)
{
    std::atomic<int> states{0};
    std::atomic<int> cancels{0};
    server.RegSetSystemStateCallBackImpl([&](int) { return ++states > 0; }, kResFile);
    server.RegSsCancelSuspendPreCallBackImpl([&](int, int) { return ++cancels > 0; }, kResFile);
    const auto count = [](unsigned command) {
        int accepted = 0;
        for (int round = 0; round < kRounds; ++round) {
            accepted += Send(command, "258#").Payload() == "1#" ? 1 : 0;
        }
        return accepted;
    };
    auto suspends = InBackground([&] { return count(SET_SYSTEM_STATE); });

    const int accepted = count(CANCEL_SUSPEND);

    EXPECT_EQ(suspends.get(), states);
    EXPECT_EQ(accepted, cancels);
    EXPECT_LE(cancels, states);
}

TEST_F(ServerThreads, RegistrationsAtTheSameTimePublishOnce)
{
    platform::Hold("IAMRegisterService");
    auto first = InBackground([&] { return server.RegReloadCallBackImpl({}, "first"); });
    ASSERT_TRUE(platform::WaitForHeld("IAMRegisterService", 1));
    auto second =
        InBackground([&] { return server.RegDumpCallBackImpl([] { return true; }, "second"); });
    ASSERT_TRUE(platform::WaitUntil([] { return Send(kDump).Payload() == "1"; }));

    platform::StopHolding("IAMRegisterService");

    EXPECT_EQ(first.get(), 0);
    EXPECT_EQ(second.get(), 0);
    EXPECT_THAT(platform::Calls(), ElementsAre("IAMRegisterService(first)=0"));
}

TEST_F(ServerThreads, RequestsAreServedWhileTheFirstRegistrationLasts)
{
    platform::Hold("IAMRegisterService");
    auto registration =
        InBackground([&] { return server.RegReloadCallBackImpl([] { return true; }, "x"); });
    ASSERT_TRUE(platform::WaitForHeld("IAMRegisterService", 1));

    EXPECT_EQ(Send(kReload).Payload(), "1");

    platform::StopHolding("IAMRegisterService");
    EXPECT_EQ(registration.get(), 0);
}

TEST_F(ServerThreads, WaitingRegistrationTriesAgainWhenTheFirstFails)
{
    platform::Hold("IAMRegisterService");
    auto first = InBackground([&] { return server.RegReloadCallBackImpl({}, "first"); });
    ASSERT_TRUE(platform::WaitForHeld("IAMRegisterService", 1));
    auto second =
        InBackground([&] { return server.RegDumpCallBackImpl([] { return true; }, "second"); });
    ASSERT_TRUE(platform::WaitUntil([] { return Send(kDump).Payload() == "1"; }));

    platform::SetNext("IAMRegisterService", {platform::Gives(-1)});
    platform::StopHolding("IAMRegisterService");

    EXPECT_EQ(first.get(), kNotRegistered);
    EXPECT_EQ(second.get(), 0);
    EXPECT_THAT(platform::Calls(),
                ElementsAre("IAMRegisterService(first)=-1", "IAMRegisterService(second)=0"));
}

}  // namespace
