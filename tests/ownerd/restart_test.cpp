// What becomes of an application that ends by itself.
#include <csignal>

#include "tests/ownerd/ownerd_test.h"

namespace {

class RestartTest : public OwnerdTest {
protected:
    static std::string Counting(const std::string& words)
    {
        return Doing("mark=" + Path("starts") + " notify=READY=1 " + words) +
               ", ready: notify, restart-delay: 1ms, restart-limit: 3, restart: ";
    }
    static size_t Starts() { return FileLines(Path("starts")).size(); }
};

}  // namespace

TEST_F(RestartTest, NeverLeavesItEnded)
{
    Begin(Entry("camera", Counting("crash") + "never"));

    EXPECT_EQ(StartOne("camera"), "SUCCESS");
    ASSERT_TRUE(AwaitLogged("camera: ended by SIGKILL"));
    ASSERT_TRUE(AwaitNotRunning("camera"));

    EXPECT_EQ(Starts(), 1U);
    EXPECT_EQ(Logged("restarted in"), 0U);
}

TEST_F(RestartTest, OnFailureLeavesAnOrderlyEndAlone)
{
    Begin(Entry("camera", Counting("exit=0") + "on-failure"));

    StartOne("camera");
    ASSERT_TRUE(AwaitLogged("camera: ended with exit code 0"));

    EXPECT_EQ(Starts(), 1U);
}

TEST_F(RestartTest, OnFailureTriesAgainUpToItsLimit)
{
    Begin(Entry("camera", Counting("exit=1") + "on-failure"));

    StartOne("camera");

    EXPECT_TRUE(AwaitLogged("camera: failed: restarted 3 times within 60000 ms, given up"));
    EXPECT_EQ(Starts(), 4U);
    EXPECT_EQ(Logged("camera: restarted in 1 ms"), 1U);
    EXPECT_EQ(Logged("camera: restarted in 2 ms"), 1U);
    EXPECT_EQ(Logged("camera: restarted in 4 ms"), 1U);
}

TEST_F(RestartTest, AlwaysRunsAgainWhatHasEndedInOrder)
{
    Begin(Entry("camera", Counting("exit=0") + "always"));

    StartOne("camera");

    EXPECT_TRUE(AwaitLogged("camera: failed: restarted 3 times"));
    EXPECT_EQ(Starts(), 4U);
}

TEST_F(RestartTest, BringsBackAnApplicationThatIsKilled)
{
    Begin(Entry("camera", Counting("stay") + "on-failure"));
    StartOne("camera");
    const pid_t pid = PidOf("camera");
    ASSERT_GT(pid, 0);

    kill(pid, SIGKILL);

    EXPECT_TRUE(Eventually([&] { return PidOf("camera") != pid && IsRunning("camera"); }));
    EXPECT_EQ(Logged("camera: ended by SIGKILL"), 1U);
}

TEST_F(RestartTest, AnswersAStartWithTheAttemptThatSucceeds)
{
    Begin(Entry("camera", "command: [/bin/sh, -c, 'test -e " + Path("second") +
                              " && exec sleep "
                              "1000; touch " +
                              Path("second") +
                              "; exit 1'], restart: on-failure, "
                              "restart-delay: 1ms, start-time: 300ms"));

    EXPECT_EQ(StartOne("camera"), "SUCCESS");
}

TEST_F(RestartTest, AnswersAStartWithFailureWhenTheLimitIsReached)
{
    Begin(Entry("camera",
                Doing("exit=1") + ", start-time: 60min, restart-delay: 1ms, restart-limit: 2"));

    EXPECT_EQ(StartOne("camera"), "START_FAILED");
    EXPECT_EQ(RestartOne("camera"), "RESTART_FAILED");
}

TEST_F(RestartTest, GivesAFailedApplicationAnotherChanceWithTheNextStart)
{
    Begin(Entry("camera", Counting("exit=1") + "on-failure"));
    StartOne("camera");
    ASSERT_TRUE(AwaitLogged("given up"));

    StartOne("camera");

    EXPECT_TRUE(AwaitLogged("given up", 2));
    EXPECT_EQ(Starts(), 8U);
}

TEST_F(RestartTest, StopsAnApplicationThatWaitsForItsRestart)
{
    Begin(Entry("camera", Doing("notify=READY=1 exit=1") +
                              ", restart-delay: 60min, restart-delay-max: 60min"));
    StartOne("camera");
    ASSERT_TRUE(AwaitLogged("camera: restarted in 3600000 ms"));

    EXPECT_EQ(StopOne("camera"), "SUCCESS");
    EXPECT_EQ(PidOf("camera"), 0);
}
