// Which system states are admitted while another runs, and the cancel that overtakes.
#include <ownerlink/enum_text.h>

#include <atomic>
#include <chrono>

#include "tests/client/client_test.h"

namespace {

using ProcMgr::HIGH_LEVEL_ADS_EXIT;
using ProcMgr::SUSPEND;
using ProcMgr::SUSPEND_PRE;
using ProcMgr::UPGRADE;
using ProcMgr::WORKING;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::UnorderedElementsAre;

constexpr uint32_t kBusy = 0xF10300;
constexpr uint32_t kFailed = 0xF10301;
constexpr char kCancel[] =
    "SetSystemState: Cancel SUSPEND_PRE state, prevState = 258, timeOut = 100ms !!!";

// One owner, which answers what is told at once, but the states that a test keeps waiting.
class StateGuard : public ClientTest {
protected:
    StateGuard()
    {
        platform::SetConfig(ConfigOf({{0, 0, kDataMaster}}));
        platform::AnswerAll(Replies("1#"));
    }

    // Starts a state change whose exchange lasts until `release` is set.
    std::future<uint32_t> StartWaiting(int state)
    {
        std::atomic<bool> isWaiting{false};
        platform::AnswerAll([&isWaiting, passed = release.get_future().share()](
                                const std::string& resource, unsigned command, IAMIoctlArg& arg) {
            isWaiting = true;
            passed.wait();
            return Replies("1#")(resource, command, arg);
        });
        auto result = InBackground([this, state] { return client.SetSystemState(state, 100); });
        EXPECT_TRUE(platform::WaitUntil([&] { return isWaiting.load(); }));
        platform::AnswerAll(Replies("1#"));
        return result;
    }

    std::vector<std::string> Sent() const
    {
        std::vector<std::string> sent;
        for (const auto& exchange : platform::Exchanges()) {
            sent.push_back(std::to_string(exchange.command) + " " + PayloadOf(exchange));
        }
        return sent;
    }

    std::promise<void> release;
};

TEST_F(StateGuard, RefusesASecondStateWhileOneRuns)
{
    auto first = StartWaiting(SUSPEND);
    platform::ClearHistory();

    EXPECT_EQ(client.SetSystemState(UPGRADE, 100), kBusy);

    EXPECT_THAT(
        platform::Timeline(),
        ElementsAre("log(54,3) SetSystemState is in SetSystemStateIng !!!", "DlogFlush()=0"));
    EXPECT_THAT(platform::Records(),
                ElementsAre(Error("SetSystemState is in SetSystemStateIng !!!")));
    release.set_value();
    EXPECT_EQ(first.get(), 0u);
    EXPECT_EQ(client.SetSystemState(UPGRADE, 100), 0u);
}

TEST_F(StateGuard, RefusedCallChecksNoTimeOut)
{
    auto first = StartWaiting(SUSPEND);

    EXPECT_EQ(client.SetSystemState(UPGRADE, 99), kBusy);

    EXPECT_THAT(platform::Errors(), Not(Contains(HasSubstr("timeOut"))));
    client.DumpGrp(DP, DATAMASTER);
    EXPECT_EQ(platform::Exchanges().back().timeoutMs, 100);
    release.set_value();
}

TEST_F(StateGuard, WorkingAfterSuspendPreIsACancel)
{
    client.SetSystemState(SUSPEND_PRE, 100);
    platform::ClearHistory();

    EXPECT_EQ(client.SetSystemState(WORKING, 100), 0u);

    EXPECT_THAT(Sent(), ElementsAre("10 1#"));
    EXPECT_EQ(platform::Exchanges()[0].request, RecordBytes("1#", 100));
    EXPECT_THAT(ClientRecords(HasSubstr("Cancel")), ElementsAre(Milestone(kCancel)));
    EXPECT_EQ(platform::Timeline().front(), std::string("log(16777270,1) ") + kCancel);
    EXPECT_THAT(platform::Calls("DlogFlush"), ElementsAre("DlogFlush()=0"));
}

TEST_F(StateGuard, SecondWorkingIsAnOrdinaryState)
{
    client.SetSystemState(SUSPEND_PRE, 100);
    client.SetSystemState(WORKING, 100);

    EXPECT_EQ(client.SetSystemState(WORKING, 100), 0u);

    EXPECT_THAT(Sent(), ElementsAre("2 258#", "10 1#", "2 1#"));
}

TEST_F(StateGuard, WorkingAfterAnyOtherStateIsNoCancel)
{
    for (const int state : {0, 1, 2, 3, 4, 7}) {
        client.SetSystemState(state, 100);
        client.SetSystemState(WORKING, 100);
    }

    EXPECT_THAT(Sent(), Not(Contains(HasSubstr("10 "))));
    EXPECT_THAT(platform::Milestones(), Not(Contains(HasSubstr("Cancel"))));
}

TEST_F(StateGuard, OtherStatesAfterSuspendPreAreNoCancel)
{
    client.SetSystemState(SUSPEND_PRE, 100);
    client.SetSystemState(SUSPEND, 100);
    client.SetSystemState(WORKING, 100);

    EXPECT_THAT(Sent(), ElementsAre("2 258#", "2 2#", "2 1#"));
}

TEST_F(StateGuard, CancelShowsTheTimeOutAsGivenAndChecksItToo)
{
    client.SetSystemState(SUSPEND_PRE, 100);

    EXPECT_EQ(client.SetSystemState(WORKING, 99), 0u);

    EXPECT_THAT(platform::Milestones(),
                Contains("SetSystemState: Cancel SUSPEND_PRE state, prevState = 258, "
                         "timeOut = 99ms !!!"));
    EXPECT_THAT(platform::Errors(),
                ElementsAre("SetSystemState timeOut(99ms) should be -1 or at 100ms~60s, "
                            "set default value:5000ms"));
    EXPECT_EQ(platform::Exchanges().back().request, RecordBytes("1#", 5000));
}

TEST_F(StateGuard, CancelReachesEachOwner)
{
    platform::SetConfig(ConfigOf({{0, 0, kDataMaster}, {0, 1, kIam}, {0, 2, kAppMgr}}));
    client.SetSystemState(SUSPEND_PRE, 100);
    platform::ClearHistory();

    EXPECT_EQ(client.SetSystemState(WORKING, 100), 0u);

    EXPECT_THAT(Commands(),
                UnorderedElementsAre("dp:/res/app 10", "dp:/res/dm 10", "dp:/res/iam 10"));
}

TEST_F(StateGuard, CancelOvertakesTheStateThatWaits)
{
    auto suspend = StartWaiting(SUSPEND_PRE);

    EXPECT_EQ(client.SetSystemState(WORKING, 100), 0u);

    EXPECT_THAT(Sent(), ElementsAre("2 258#", "10 1#"));
    EXPECT_THAT(platform::Milestones(), Contains(kCancel));
    EXPECT_EQ(suspend.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
    release.set_value();
    EXPECT_EQ(suspend.get(), 0u);
}

TEST_F(StateGuard, CancelThatOvertakesFreesTheGuard)
{
    auto suspend = StartWaiting(SUSPEND_PRE);
    EXPECT_EQ(client.SetSystemState(UPGRADE, 100), kBusy);
    EXPECT_EQ(client.SetSystemState(SUSPEND_PRE, 100), kBusy);
    EXPECT_EQ(client.SetSystemState(WORKING, 100), 0u);

    EXPECT_EQ(client.SetSystemState(UPGRADE, 100), 0u);

    EXPECT_EQ(suspend.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
    EXPECT_THAT(Sent(), ElementsAre("2 258#", "10 1#", "2 3#"));
    release.set_value();
    EXPECT_EQ(suspend.get(), 0u);
}

TEST_F(StateGuard, CancelInFlightRefusesAnotherWorking)
{
    client.SetSystemState(SUSPEND_PRE, 100);
    auto cancel = StartWaiting(WORKING);

    EXPECT_EQ(client.SetSystemState(WORKING, 100), kBusy);

    release.set_value();
    EXPECT_EQ(cancel.get(), 0u);
}

TEST_F(StateGuard, EndOfTheOvertakenStateFreesTheGuardOfALaterOne)
{
    auto suspend = StartWaiting(SUSPEND_PRE);
    auto freed = std::move(release);
    release = {};
    EXPECT_EQ(client.SetSystemState(WORKING, 100), 0u);
    auto upgrade = StartWaiting(UPGRADE);
    freed.set_value();
    EXPECT_EQ(suspend.get(), 0u);

    EXPECT_EQ(client.SetSystemState(SUSPEND, 100), 0u);

    release.set_value();
    EXPECT_EQ(upgrade.get(), 0u);
}

TEST_F(StateGuard, WorkingAfterARefusedSuspendPreIsACancel)
{
    auto first = StartWaiting(SUSPEND);
    EXPECT_EQ(client.SetSystemState(SUSPEND_PRE, 100), kBusy);

    EXPECT_EQ(client.SetSystemState(WORKING, 100), 0u);

    EXPECT_THAT(Sent(), ElementsAre("2 2#", "10 1#"));
    EXPECT_THAT(platform::Milestones(), Contains(kCancel));
    release.set_value();
    EXPECT_EQ(first.get(), 0u);
}

// The refused state is the one that came last: WORKING no longer takes back a SUSPEND_PRE.
TEST_F(StateGuard, RefusedStateReplacesTheOneBefore)
{
    auto suspend = StartWaiting(SUSPEND_PRE);
    EXPECT_EQ(client.SetSystemState(SUSPEND, 100), kBusy);

    EXPECT_EQ(client.SetSystemState(WORKING, 100), kBusy);

    EXPECT_THAT(Sent(), ElementsAre("2 258#"));
    release.set_value();
    EXPECT_EQ(suspend.get(), 0u);
}

TEST_F(StateGuard, FailedStateFreesTheGuard)
{
    platform::AnswerAll(Replies("0#"));
    EXPECT_EQ(client.SetSystemState(SUSPEND, 100), kFailed);

    EXPECT_EQ(client.SetSystemState(SUSPEND, 100), kFailed);
}

TEST_F(StateGuard, FailedCancelIsAFailure)
{
    client.SetSystemState(SUSPEND_PRE, 100);
    platform::AnswerAll(Replies("0#"));

    EXPECT_EQ(client.SetSystemState(WORKING, 100), kFailed);

    EXPECT_THAT(platform::Errors(),
                ElementsAre("SetSystemState state=1(WORKING) failed. resFileName=dp:/res/dm",
                            "SetSystemState state=1(WORKING) failed. because send to dp:/res/dm "
                            "failed."));
}

TEST_F(StateGuard, AdsExitIsLoggedAndNothingElse)
{
    SetBootTrace();

    EXPECT_EQ(client.SetSystemState(HIGH_LEVEL_ADS_EXIT, 99999), 0u);

    EXPECT_THAT(platform::Records(),
                ElementsAre(Milestone(BootTraced("SetAdsExitState start. timeOut=99999")),
                            Milestone(BootTraced("SetAdsExitState end."))));
    EXPECT_THAT(platform::Calls(), IsEmpty());
    EXPECT_THAT(platform::Calls("std::thread"), IsEmpty());
}

TEST_F(StateGuard, AdsExitLeavesTimeOutAndStateAlone)
{
    client.SetSystemState(SUSPEND_PRE, 200);

    client.SetSystemState(HIGH_LEVEL_ADS_EXIT, 300);

    client.DumpGrp(DP, DATAMASTER);
    EXPECT_EQ(platform::Exchanges().back().timeoutMs, 200);
    client.SetSystemState(WORKING, 100);
    EXPECT_THAT(Sent(), ElementsAre("2 258#", "4 ", "10 1#"));
}

TEST_F(StateGuard, AdsExitIsAdmittedWhileAStateRuns)
{
    auto first = StartWaiting(SUSPEND);

    EXPECT_EQ(client.SetSystemState(HIGH_LEVEL_ADS_EXIT, 100), 0u);

    EXPECT_EQ(client.SetSystemState(UPGRADE, 100), kBusy);
    release.set_value();
    EXPECT_EQ(first.get(), 0u);
}

}  // namespace
