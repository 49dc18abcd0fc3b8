// Start, terminate, restart; query and list.
#include <algorithm>
#include <csignal>

#include "tests/ownerd/ownerd_test.h"

using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

class ChangeAppTest : public OwnerdTest {};

std::string Hundreds(size_t count)
{
    std::string entries;
    for (size_t i = 0; i < count; ++i) {
        entries +=
            "  a" + std::to_string(i) + ": {command: [/bin/sleep, '1000'], output: 'null'}\n";
    }
    return entries;
}

std::vector<AppInfo> All(size_t count, uint32_t option)
{
    std::vector<AppInfo> apps;
    for (size_t i = 0; i < count; ++i) {
        apps.push_back(App(APPMGR, "a" + std::to_string(i), option));
    }
    return apps;
}

}  // namespace

TEST_F(ChangeAppTest, StartsAndTerminatesAnApplication)
{
    Begin(Entry("camera", Doing("stay")));

    EXPECT_EQ(StartOne("camera"), "SUCCESS");
    const pid_t pid = PidOf("camera");
    EXPECT_TRUE(IsRunning("camera"));
    EXPECT_TRUE(IsAlive(pid));

    EXPECT_EQ(StopOne("camera"), "SUCCESS");
    EXPECT_FALSE(IsAlive(pid));
    EXPECT_EQ(PidOf("camera"), 0);
    EXPECT_FALSE(IsRunning("camera"));
}

TEST_F(ChangeAppTest, LeavesARunningApplicationWhereItIsToStart)
{
    Begin(Entry("camera", Doing("stay")));
    StartOne("camera");
    const pid_t pid = PidOf("camera");

    EXPECT_EQ(StartOne("camera"), "SUCCESS");

    EXPECT_EQ(PidOf("camera"), pid);
}

TEST_F(ChangeAppTest, TerminatesOneThatDoesNotRunWithSuccess)
{
    Begin(Entry("camera", Doing("stay")));

    EXPECT_EQ(StopOne("camera"), "SUCCESS");
}

TEST_F(ChangeAppTest, RestartsWithANewProcessAndNewArguments)
{
    Begin(Entry("camera", Doing("describe=" + Path("described") + " stay")));
    StartOne("camera");
    const pid_t pid = PidOf("camera");

    EXPECT_EQ(ChangeOne("camera", ProcMgr::RESTART, {"anew"}), "SUCCESS");

    EXPECT_NE(PidOf("camera"), pid);
    EXPECT_FALSE(IsAlive(pid));
    EXPECT_TRUE(Eventually(
        [] { return FileText(Path("described")).find("argument anew\n") != std::string::npos; }));
}

TEST_F(ChangeAppTest, StartsWithARestartWhatDoesNotRun)
{
    Begin(Entry("camera", Doing("stay")));

    EXPECT_EQ(RestartOne("camera"), "SUCCESS");

    EXPECT_TRUE(IsRunning("camera"));
}

TEST_F(ChangeAppTest, AnswersForEachApplicationByItself)
{
    Begin(Entry("a", Doing("stay")) +
          Entry("b", Doing("exit=3") + ", start-time: 60min, restart: never") +
          Entry("c", Doing("stay")));
    StartOne("c");

    const ChangeOutcome outcome = Change(
        {App(APPMGR, "a"), App(APPMGR, "b"), App(APPMGR, "c", ProcMgr::TERM), App(APPMGR, "nobody"),
         App(APPMGR, "noone", ProcMgr::TERM), App(APPMGR, "none", ProcMgr::RESTART)});

    EXPECT_EQ(outcome.code, kChangeFailed);
    EXPECT_THAT(outcome.results,
                ElementsAre("a SUCCESS", "b START_FAILED", "c SUCCESS", "nobody START_FAILED",
                            "none RESTART_FAILED", "noone TERM_FAILED"));
    EXPECT_EQ(Logged("START of nobody: no such application"), 1U);
}

TEST_F(ChangeAppTest, KillsWhatIgnoresItsStopSignalWhenTheGraceIsOver)
{
    Begin(Entry("camera",
                Doing("ignore=15 notify=READY=1 stay") + ", ready: notify, stop-grace: 50ms"));
    StartOne("camera");
    const pid_t pid = PidOf("camera");

    EXPECT_EQ(StopOne("camera"), "SUCCESS");

    EXPECT_FALSE(IsAlive(pid));
    EXPECT_EQ(Logged("camera: still there 50 ms after SIGTERM, killing it"), 1U);
}

TEST_F(ChangeAppTest, UsesTheStopSignalOfTheApplicationOnce)
{
    Begin(Entry("camera", Doing("ignore=15 on=2:" + Path("signals") +
                                " notify=READY=1 await=" + Path("signals") + " exit=0") +
                              ", ready: notify, stop-signal: SIGINT, stop-grace: 60min"));
    StartOne("camera");

    EXPECT_EQ(StopOne("camera"), "SUCCESS");

    EXPECT_THAT(FileLines(Path("signals")), ElementsAre("2"));
}

TEST_F(ChangeAppTest, AnswersProcessingAtTheTimeOutAndGoesOn)
{
    Begin(Entry("camera",
                Doing("ignore=15 notify=READY=1 stay") + ", ready: notify, stop-grace: 60min"));
    StartOne("camera");
    const pid_t pid = PidOf("camera");
    ASSERT_GT(pid, 0);
    constexpr int kPassingTimeOut = 2000;  // a tenth of it is left for the answer

    // A machine that is busier than that is asked anew.
    EXPECT_TRUE(Eventually(
        [&] { return ChangeOne("camera", ProcMgr::TERM, {}, kPassingTimeOut) == "PROCESSING"; }));

    kill(pid, SIGKILL);
    EXPECT_TRUE(AwaitLogged("camera: stopped, ended by SIGKILL"));
    EXPECT_EQ(Logged("camera: restarted in"), 0U);
}

TEST_F(ChangeAppTest, TakesATimeOutOfMinusOneForItsOwn)
{
    Begin(Entry("camera", Doing("stay")));

    EXPECT_EQ(ChangeOne("camera", ProcMgr::START, {}, -1), "SUCCESS");
}

TEST_F(ChangeAppTest, EndsWhatAnApplicationHasForkedAway)
{
    Begin(Entry("camera",
                Doing("fork=" + Path("forked") + " notify=READY=1 stay") + ", ready: notify"));
    ASSERT_EQ(StartOne("camera"), "SUCCESS");
    const pid_t forked = std::stoi(FileText(Path("forked")));
    ASSERT_TRUE(IsAlive(forked));

    EXPECT_EQ(StopOne("camera"), "SUCCESS");

    EXPECT_FALSE(IsAlive(forked));
    EXPECT_EQ(Logged("camera: has left processes behind, killing them"), 1U);
}

TEST_F(ChangeAppTest, EndsWhatIsLeftOfAnApplicationThatEndsByItself)
{
    Begin(Entry("camera",
                Doing("fork=" + Path("forked") + " notify=READY=1 exit=0") + ", restart: never"));
    StartOne("camera");

    ASSERT_TRUE(AwaitLogged("camera: has left processes behind, killing them"));
    const pid_t forked = std::stoi(FileText(Path("forked")));

    EXPECT_TRUE(Eventually([&] { return !IsAlive(forked); }));
}

TEST_F(ChangeAppTest, StartsAndTerminatesTwoHundredApplicationsAtOnce)
{
    constexpr size_t kCount = 200;
    Begin(Hundreds(kCount));

    const ChangeOutcome started = Change(All(kCount, ProcMgr::START));
    EXPECT_EQ(started.code, kOk);
    EXPECT_THAT(started.results, AllOf(SizeIs(kCount), Each(EndsWith(" SUCCESS"))));

    std::vector<AppStatus> answers;
    EXPECT_EQ(OwnerlinkClient::GetInstance().QueryAppState({}, answers, kLongTimeOut, 1), kOk);
    ASSERT_EQ(answers.size(), kCount);
    EXPECT_TRUE(std::all_of(answers.begin(), answers.end(),
                            [](const AppStatus& app) { return app.status == 0 && app.pid > 0; }));

    const ChangeOutcome stopped = Change(All(kCount, ProcMgr::TERM));
    EXPECT_EQ(stopped.code, kOk);
    EXPECT_THAT(stopped.results, AllOf(SizeIs(kCount), Each(EndsWith(" SUCCESS"))));
    for (const AppStatus& app : answers) {
        EXPECT_FALSE(IsAlive(app.pid));
    }
}

TEST_F(ChangeAppTest, RefusesAQueryWhoseAnswerDoesNotFit)
{
    std::string entries;
    for (int i = 0; i < 100; ++i) {
        entries += "  application-with-a-long-name-" + std::to_string(i) +
                   ": {command: [/bin/sleep, '1'], start: manual}\n";
    }
    Begin(entries);

    std::vector<AppStatus> answers;
    EXPECT_EQ(OwnerlinkClient::GetInstance().QueryAppState({}, answers, kLongTimeOut, 1),
              kQueryFailed);

    EXPECT_TRUE(answers.empty());
    EXPECT_EQ(Logged("query: 100 applications do not fit into one answer"), 1U);
    EXPECT_EQ(StatusOf("application-with-a-long-name-7").pid, 0);
}

TEST_F(ChangeAppTest, AnswersAQueryForThoseThatItHasAlone)
{
    Begin(Entry("a", Doing("stay")) + Entry("b", Doing("stay")));
    StartOne("b");

    std::vector<AppStatus> answers;
    const uint32_t code = OwnerlinkClient::GetInstance().QueryAppState({"b", "of-another-owner"},
                                                                       answers, kLongTimeOut, 1);

    EXPECT_EQ(code, kOk);
    ASSERT_EQ(answers.size(), 1U);
    EXPECT_EQ(answers[0].appName, "b");
    EXPECT_EQ(answers[0].status, 0U);
}
