// System states: what they shed and restore, and a suspend that is prepared and taken back.
#include <unistd.h>

#include <csignal>
#include <fstream>

#include "tests/ownerd/ownerd_test.h"

using testing::Contains;
using testing::ElementsAre;
using testing::Not;

namespace {

class StateTest : public OwnerdTest {
protected:
    static void Touch(const std::string& name) { std::ofstream(Path(name)) << "go\n"; }
};

class SuspendTest : public StateTest {
protected:
    // Goes only when it is killed, a grace after it was told.
    static std::string Slow(const std::string& grace)
    {
        return Doing("ignore=15 notify=READY=1 stay") + ", ready: notify, stop-grace: " + grace;
    }
    // Takes a suspend back for which an application still stops, which it then does.
    void TakeBackWhileItStops(pid_t application)
    {
        ASSERT_GT(application, 0);
        auto suspend = BeginSetState(ProcMgr::SUSPEND_PRE);
        ASSERT_TRUE(AwaitLogged("state SUSPEND_PRE"));
        auto working = BeginSetState(ProcMgr::WORKING);
        ASSERT_TRUE(AwaitLogged("cancel, state WORKING"));
        EXPECT_EQ(suspend.get(), kStateFailed);  // at once
        kill(application, SIGKILL);
        EXPECT_EQ(working.get(), kOk);
    }
};

}  // namespace

TEST_F(StateTest, RunsWhatIsMeantForIt)
{
    Begin(Entry("working", Doing("stay")) +
          Entry("both", Doing("stay") + ", states: [WORKING, SUSPEND]") +
          Entry("upgrade", Doing("stay") + ", states: [UPGRADE]") +
          Entry("manual", Doing("stay") + ", start: manual") +
          Entry("never", Doing("stay") + ", states: []"));

    EXPECT_EQ(SetState(ProcMgr::WORKING), kOk);

    EXPECT_TRUE(IsRunning("working"));
    EXPECT_TRUE(IsRunning("both"));
    EXPECT_FALSE(IsRunning("upgrade"));
    EXPECT_FALSE(IsRunning("manual"));
    EXPECT_FALSE(IsRunning("never"));
}

TEST_F(StateTest, ShedsAndRestoresApplications)
{
    Begin(Entry("working", Doing("stay")) +
          Entry("both", Doing("stay") + ", states: [WORKING, SUSPEND]") +
          Entry("manual", Doing("stay") + ", start: manual"));
    SetState(ProcMgr::WORKING);
    StartOne("manual");
    const pid_t both = PidOf("both");

    EXPECT_EQ(SetState(ProcMgr::SUSPEND), kOk);
    EXPECT_FALSE(IsRunning("working"));
    EXPECT_FALSE(IsRunning("manual"));
    EXPECT_EQ(PidOf("both"), both);

    EXPECT_EQ(SetState(ProcMgr::WORKING), kOk);
    EXPECT_TRUE(IsRunning("working"));
    EXPECT_TRUE(IsRunning("manual"));
    EXPECT_EQ(PidOf("both"), both);
}

TEST_F(StateTest, DoesNotStartWhatTheManagerHasTerminated)
{
    Begin(Entry("camera", Doing("stay")) + Entry("bus", Doing("stay")));
    SetState(ProcMgr::WORKING);
    StopOne("camera");

    SetState(ProcMgr::SUSPEND);
    EXPECT_EQ(SetState(ProcMgr::WORKING), kOk);

    EXPECT_FALSE(IsRunning("camera"));
    EXPECT_TRUE(IsRunning("bus"));
    EXPECT_EQ(StartOne("camera"), "SUCCESS");
}

TEST_F(StateTest, RunsWhatHasEndedAnewOnlyWhenItIsEntered)
{
    Begin(Entry("once", Doing("mark=" + Path("runs") + " notify=READY=1 exit=0") +
                            ", ready: notify, restart: never"));
    SetState(ProcMgr::WORKING);
    ASSERT_TRUE(Eventually([] { return PidOf("once") == 0; }));

    SetState(ProcMgr::WORKING);
    EXPECT_EQ(FileLines(Path("runs")).size(), 1U);

    SetState(ProcMgr::SUSPEND);
    SetState(ProcMgr::WORKING);
    EXPECT_TRUE(Eventually([] { return FileLines(Path("runs")).size() == 2; }));
}

TEST_F(StateTest, IsRefusedWhereThereIsNoSuchState)
{
    Begin(Entry("camera", Doing("stay")));
    SetState(ProcMgr::WORKING);

    EXPECT_EQ(SetState(77), kStateFailed);

    EXPECT_TRUE(IsRunning("camera"));
    EXPECT_EQ(Logged("state 77 refused: there is no such state for applications"), 1U);
}

TEST_F(StateTest, IsRefusedWhenAnApplicationCannotBeStarted)
{
    Begin(Entry("camera", "command: [/no/such/program]") + Entry("bus", Doing("stay")));

    EXPECT_EQ(SetState(ProcMgr::WORKING), kStateFailed);

    EXPECT_TRUE(IsRunning("bus"));
    EXPECT_EQ(Logged("state WORKING: camera START_FAILED"), 1U);
}

TEST_F(StateTest, IsRefusedWhenItIsNotReachedInTimeAndGoesOn)
{
    Begin(
        Entry("camera", Doing("await=" + Path("go") + " notify=READY=1 stay") + ", ready: notify"));

    EXPECT_EQ(SetState(ProcMgr::WORKING, kShortTimeOut), kStateFailed);
    EXPECT_TRUE(AwaitLogged("state WORKING: camera PROCESSING"));
    Touch("go");

    EXPECT_TRUE(AwaitRunning("camera"));
}

TEST_F(SuspendTest, StopsAndTellsThoseThatAreToBePrepared)
{
    Begin(Entry("keep", Doing("stay")) + Entry("stop", Doing("stay") + ", suspend-pre: stop") +
          Entry("tell",
                Doing("on=10:" + Path("told") + " on=12:" + Path("told") + " notify=READY=1 stay") +
                    ", ready: notify, suspend-pre: SIGUSR1, suspend-cancel: SIGUSR2"));
    SetState(ProcMgr::WORKING);
    const pid_t keep = PidOf("keep");
    const pid_t tell = PidOf("tell");

    EXPECT_EQ(SetState(ProcMgr::SUSPEND_PRE), kOk);
    EXPECT_EQ(PidOf("stop"), 0);
    EXPECT_TRUE(Eventually([] { return FileText(Path("told")) == "10\n"; }));

    EXPECT_EQ(SetState(ProcMgr::WORKING), kOk);  // a cancel
    EXPECT_TRUE(IsRunning("stop"));
    EXPECT_TRUE(Eventually([] { return FileText(Path("told")) == "10\n12\n"; }));
    EXPECT_EQ(PidOf("keep"), keep);
    EXPECT_EQ(PidOf("tell"), tell);
    EXPECT_EQ(Logged("cancel, state WORKING"), 1U);
}

TEST_F(SuspendTest, TakenBackDoesNotStartWhatDidNotRun)
{
    Begin(Entry("ended", Doing("notify=READY=1 exit=0") +
                             ", ready: notify, restart: never, suspend-pre: stop") +
          Entry("down", Doing("stay") + ", suspend-pre: stop") +
          Entry("manual", Doing("stay") + ", start: manual, suspend-pre: stop"));
    SetState(ProcMgr::WORKING);
    StopOne("down");
    ASSERT_TRUE(Eventually([] { return PidOf("ended") == 0; }));
    const size_t started = Logged(": started");

    SetState(ProcMgr::SUSPEND_PRE);
    EXPECT_EQ(SetState(ProcMgr::WORKING), kOk);

    EXPECT_EQ(PidOf("down"), 0);
    EXPECT_EQ(PidOf("manual"), 0);
    EXPECT_EQ(Logged(": started"), started);
}

TEST_F(SuspendTest, TakenBackWhileAnApplicationStopsIsAnsweredAtOnceAndUndone)
{
    Begin(Entry("slow", Slow("60min") + ", suspend-pre: stop"));
    SetState(ProcMgr::WORKING);
    const pid_t before = PidOf("slow");

    TakeBackWhileItStops(before);

    EXPECT_EQ(Logged("state SUSPEND_PRE: overtaken by another state"), 1U);
    EXPECT_TRUE(IsRunning("slow"));
    EXPECT_NE(PidOf("slow"), before);
}

TEST_F(SuspendTest, TakenBackBeforeAnApplicationIsToldLeavesItAlone)
{
    Begin(Entry("base", Doing("stay") + ", suspend-pre: stop") +
          Entry("slow", Slow("60min") + ", after: [base], suspend-pre: stop"));
    SetState(ProcMgr::WORKING);
    const pid_t base = PidOf("base");

    TakeBackWhileItStops(PidOf("slow"));

    EXPECT_EQ(PidOf("base"), base);  // it waited for the slow one to stop
    EXPECT_TRUE(IsRunning("slow"));
}

TEST_F(SuspendTest, TakenBackLeavesTheManagersOwnChangesAlone)
{
    Begin(Entry("a", Doing("stay") + ", suspend-pre: stop") +
          Entry("b", Doing("stay") + ", suspend-pre: stop"));
    SetState(ProcMgr::WORKING);
    SetState(ProcMgr::SUSPEND_PRE);
    StopOne("a");

    EXPECT_EQ(SetState(ProcMgr::WORKING), kOk);

    EXPECT_EQ(PidOf("a"), 0);
    EXPECT_TRUE(IsRunning("b"));
}

TEST_F(SuspendTest, TakenBackWhenItsTimeIsOverIsUndoneToo)
{
    Begin(Entry("slow", Slow("500ms") + ", suspend-pre: stop"));
    SetState(ProcMgr::WORKING);
    EXPECT_EQ(SetState(ProcMgr::SUSPEND_PRE, kShortTimeOut), kStateFailed);
    ASSERT_TRUE(AwaitLogged("state SUSPEND_PRE: slow PROCESSING"));

    EXPECT_EQ(SetState(ProcMgr::WORKING), kOk);

    EXPECT_TRUE(IsRunning("slow"));
}

TEST_F(SuspendTest, TwiceChangesNoMoreThanOnce)
{
    Begin(Entry("stop", Doing("stay") + ", suspend-pre: stop"));
    SetState(ProcMgr::WORKING);

    EXPECT_EQ(SetState(ProcMgr::SUSPEND_PRE), kOk);
    EXPECT_EQ(SetState(ProcMgr::SUSPEND_PRE), kOk);
    EXPECT_EQ(SetState(ProcMgr::WORKING), kOk);

    EXPECT_TRUE(IsRunning("stop"));
    EXPECT_EQ(Logged("stop: started"), 2U);
}

TEST_F(SuspendTest, FollowedByTheSuspendRestoresAllWithTheNextState)
{
    Begin(Entry("stop", Doing("stay") + ", suspend-pre: stop") +
          Entry("tell",
                Doing("on=10:" + Path("told") + " on=12:" + Path("told") + " notify=READY=1 stay") +
                    ", ready: notify, states: [WORKING, SUSPEND], suspend-pre: SIGUSR1, "
                    "suspend-cancel: SIGUSR2"));
    SetState(ProcMgr::WORKING);
    SetState(ProcMgr::SUSPEND_PRE);
    ASSERT_TRUE(Eventually([] { return FileText(Path("told")) == "10\n"; }));

    EXPECT_EQ(SetState(ProcMgr::SUSPEND), kOk);
    EXPECT_EQ(PidOf("stop"), 0);
    EXPECT_EQ(Logged("told by SIGUSR2"), 0U);

    EXPECT_EQ(SetState(ProcMgr::WORKING), kOk);
    EXPECT_TRUE(IsRunning("stop"));
    EXPECT_TRUE(Eventually([] { return FileText(Path("told")) == "10\n12\n"; }));
}

TEST_F(SuspendTest, HoldsRestartsBackUntilItIsTakenBack)
{
    Begin(Entry("camera", Doing("stay") + ", restart-delay: 1ms"));
    SetState(ProcMgr::WORKING);
    SetState(ProcMgr::SUSPEND_PRE);
    const pid_t pid = PidOf("camera");
    ASSERT_GT(pid, 0);

    kill(pid, SIGKILL);
    ASSERT_TRUE(AwaitLogged("camera: restarted when the suspend is over"));
    EXPECT_EQ(PidOf("camera"), 0);

    EXPECT_EQ(SetState(ProcMgr::WORKING), kOk);
    EXPECT_TRUE(AwaitRunning("camera"));
}
