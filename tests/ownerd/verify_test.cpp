// An owner that dies, and what its next life does: alone, and when the manager has it verified.
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>

#include "tests/ownerd/ownerd_test.h"

using testing::ElementsAre;
using testing::HasSubstr;

namespace {

class OwnerDeathTest : public OwnerdTest {
protected:
    // As if the machine had been started anew: nothing is remembered.
    static void ForgetRememberedState()
    {
        for (const auto& entry : std::filesystem::directory_iterator(WorldDirectory() + "/run")) {
            if (entry.path().extension() == ".ownerd") {
                std::filesystem::remove(entry.path());
            }
        }
    }
};

class VerifyTest : public OwnerDeathTest {};

// Its output would keep the pipe of the test open.
const char* const kKept = ", output: 'null'";
const char* const kKeep = "when-owner-dies: keep\n";

void EndAll(const std::vector<pid_t>& pids)
{
    for (const pid_t pid : pids) {
        kill(pid, SIGKILL);
    }
}

}  // namespace

TEST_F(OwnerDeathTest, TakesAllApplicationsWithIt)
{
    Begin(Entry("camera", Doing("ignore=15 fork=" + Path("forked") + " notify=READY=1 stay") +
                              ", ready: notify"));
    StartOne("camera");
    const pid_t pid = PidOf("camera");
    const pid_t forked = std::stoi(FileText(Path("forked")));

    KillOwner();

    EXPECT_TRUE(Eventually([&] { return !IsAlive(pid); }));
    EXPECT_TRUE(Eventually([&] { return !IsAlive(forked); }));
}

TEST_F(OwnerDeathTest, IsFollowedByALifeThatRunsWhatRan)
{
    Begin(Entry("running", Doing("stay")) + Entry("stopped", Doing("stay")) +
          Entry("ended", Doing("mark=" + Path("runs") + " notify=READY=1 exit=0") +
                             ", ready: notify, restart: never"));
    SetState(ProcMgr::WORKING);
    StopOne("stopped");
    ASSERT_TRUE(Eventually([] { return PidOf("ended") == 0; }));

    KillOwner();
    StartAgain();

    EXPECT_TRUE(AwaitRunning("running"));
    EXPECT_EQ(PidOf("stopped"), 0);
    EXPECT_EQ(FileLines(Path("runs")).size(), 1U);
}

TEST_F(OwnerDeathTest, LeavesApplicationsToTheNextLifeWhereItIsToKeepThem)
{
    Begin(Entry("camera", Doing("stay") + kKept) + Entry("stopped", Doing("stay") + kKept), kKeep);
    StartOne("camera");
    const pid_t pid = PidOf("camera");

    KillOwner();
    EXPECT_TRUE(IsAlive(pid));
    StartAgain();

    EXPECT_EQ(PidOf("camera"), pid);
    EXPECT_TRUE(IsRunning("camera"));
    EXPECT_EQ(PidOf("stopped"), 0);
    EXPECT_EQ(Logged("camera: taken over, pid " + std::to_string(pid)), 1U);
    EXPECT_EQ(StopOne("camera"), "SUCCESS");
    EXPECT_FALSE(IsAlive(pid));
}

TEST_F(OwnerDeathTest, LetsTheNextLifeRestartWhatItHasTakenOver)
{
    Begin(Entry("camera", Doing("stay") + kKept), kKeep);
    StartOne("camera");
    const pid_t pid = PidOf("camera");
    ASSERT_GT(pid, 0);
    KillOwner();
    StartAgain();

    kill(pid, SIGKILL);

    EXPECT_TRUE(Eventually([&] { return PidOf("camera") != pid && IsRunning("camera"); }));
    const std::vector<pid_t> left = {PidOf("camera")};
    EXPECT_EQ(EndOwner(), 0);
    EXPECT_TRUE(IsAlive(left[0]));
    EndAll(left);
}

TEST_F(OwnerDeathTest, IsNotMisledByAProcessNumberThatIsUsedAnew)
{
    Begin(Entry("camera", Doing("stay") + kKept), kKeep);
    StartOne("camera");
    const pid_t pid = PidOf("camera");
    KillOwner();
    // The number of this very test, which began at another time, in the place of the camera's.
    for (const auto& entry : std::filesystem::directory_iterator(WorldDirectory() + "/run")) {
        if (entry.path().extension() == ".ownerd") {
            std::string text = FileText(entry.path().string());
            const std::string number = "\"pid\":" + std::to_string(pid);
            ASSERT_NE(text.find(number), std::string::npos);
            text.replace(text.find(number), number.size(), "\"pid\":" + std::to_string(getpid()));
            std::ofstream(entry.path()) << text;
        }
    }

    StartAgain();

    EXPECT_TRUE(AwaitRunning("camera"));
    EXPECT_NE(PidOf("camera"), getpid());
    EXPECT_FALSE(IsAlive(pid));  // nobody's any more: ended
    EXPECT_EQ(
        Logged("camera: ending pid " + std::to_string(pid) + ", left by the owner's former life"),
        1U);
    StopOne("camera");
}

TEST_F(OwnerDeathTest, EndsWithAllApplicationsWhenItIsAskedTo)
{
    Begin(Entry("a", Doing("stay")) + Entry("b", Doing("stay") + ", after: [a]"));
    SetState(ProcMgr::WORKING);
    const std::vector<pid_t> pids = {PidOf("a"), PidOf("b")};

    EXPECT_EQ(EndOwner(), 0);

    EXPECT_FALSE(IsAlive(pids[0]));
    EXPECT_FALSE(IsAlive(pids[1]));
    EXPECT_EQ(Logged("ended"), 3U);  // two by SIGTERM, and the owner itself
}

TEST_F(OwnerDeathTest, AskedForTwiceKillsWhatDoesNotEnd)
{
    Begin(
        Entry("a", Doing("ignore=15 notify=READY=1 stay") + ", ready: notify, stop-grace: 60min"));
    SetState(ProcMgr::WORKING);

    SignalOwner(SIGTERM);
    ASSERT_TRUE(AwaitLogged("ends with its applications"));

    EXPECT_EQ(EndOwner(), 0);
    EXPECT_EQ(Logged("a: stopped, ended by SIGKILL"), 1U);
}

TEST_F(OwnerDeathTest, AskedForTwiceInOneMomentKillsWhatHasNotBeenToldToStop)
{
    Begin(
        Entry("a", Doing("ignore=15 notify=READY=1 stay") + ", ready: notify, stop-grace: 60min"));
    SetState(ProcMgr::WORKING);

    SignalOwner(SIGINT);

    EXPECT_EQ(EndOwner(), 0);
    EXPECT_EQ(Logged("a: stopped, ended by SIGKILL"), 1U);
}

TEST_F(OwnerDeathTest, IsNoOtherOwnersBusiness)
{
    Begin(Entry("camera", Doing("stay")));
    StartOne("camera");
    const pid_t pid = PidOf("camera");

    Peer second("/bin/sh", {"-c", "exec " OWNERD_PROGRAM " " + Path("owner.yaml") + " 2>&1"});
    const int status = second.AwaitExit();

    EXPECT_EQ(WEXITSTATUS(status), 1);
    EXPECT_TRUE(IsAlive(pid));
    EXPECT_TRUE(IsRunning("camera"));
}

TEST_F(VerifyTest, StartsWhatWasStartedAndStopsWhatWasTerminated)
{
    Begin(Entry("started", Doing("stay")) + Entry("stopped", Doing("stay")));
    StartOne("started");
    StartOne("stopped");
    StopOne("stopped");
    KillOwner();
    ForgetRememberedState();

    StartAgain();

    ASSERT_TRUE(AwaitLogged("verify: started was started and does not run, starting it"));
    EXPECT_TRUE(AwaitRunning("started"));
    EXPECT_EQ(PidOf("stopped"), 0);
}

TEST_F(VerifyTest, StopsWhatTheNextLifeHasStartedAgainstTheManagersWord)
{
    Begin(Entry("camera", Doing("stay") + kKept), kKeep);
    StartOne("camera");
    StopOne("camera");
    KillOwner();
    // Its former life has not come to remember the end.
    for (const auto& entry : std::filesystem::directory_iterator(WorldDirectory() + "/run")) {
        if (entry.path().extension() == ".ownerd") {
            std::string text = FileText(entry.path().string());
            text.replace(text.find("\"wanted\":false"), 14, "\"wanted\":true");
            text.replace(text.find("\"stopped-by\":1"), 14, "\"stopped-by\":0");
            std::ofstream(entry.path()) << text;
        }
    }

    StartAgain();

    EXPECT_TRUE(AwaitLogged("verify: camera was terminated and runs, stopping it"));
    EXPECT_TRUE(Eventually([] { return PidOf("camera") == 0; }));
}

TEST_F(VerifyTest, ComesSeveralTimesAndChangesNothingTheSecondTime)
{
    Begin(Entry("running", Doing("stay")) +
          Entry("once", Doing("mark=" + Path("runs") + " notify=READY=1 exit=0") +
                            ", ready: notify, restart: never"));
    StartOne("running");
    StartOne("once");
    ASSERT_TRUE(Eventually([] { return PidOf("once") == 0; }));

    KillOwner();
    StartAgain();

    // The manager's watch verifies three times after one restart.
    ASSERT_TRUE(AwaitLogged("verify: once was started and has ended by itself, leaving it so", 3));
    EXPECT_TRUE(AwaitRunning("running"));
    EXPECT_EQ(Logged("running: started"), 1U);
    EXPECT_EQ(FileLines(Path("runs")).size(), 1U);
}

TEST_F(VerifyTest, DoesNotStartWhatTheStateHasShed)
{
    Begin(Entry("camera", Doing("stay")));
    StartOne("camera");
    SetState(ProcMgr::SUSPEND);
    KillOwner();

    StartAgain();

    ASSERT_TRUE(AwaitLogged("verify: camera was started and waits for a state", 3));
    EXPECT_EQ(PidOf("camera"), 0);
    EXPECT_EQ(SetState(ProcMgr::WORKING), kOk);
    EXPECT_TRUE(IsRunning("camera"));
}
