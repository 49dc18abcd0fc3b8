// shell: all verbs at one prompt, in one process.

#include <csignal>

#include "tests/ctl/ctl_test.h"
#include "tests/ctl/example_owner.h"

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

namespace {

size_t CountOf(const std::string& text, const std::string& part)
{
    size_t count = 0;
    for (size_t at = 0; (at = text.find(part, at)) != std::string::npos; ++at) {
        ++count;
    }
    return count;
}

}  // namespace

TEST_F(CtlTest, ShellObeysEveryLineOfAPipe)
{
    StartAll();

    const Ended ended = Ctl({"shell"},
                            "# a comment\n"
                            "\n"
                            "  set-state WORKING   # and one behind\n"
                            "start 'APPMGR/my app' -- \"two words\" a\\ b ''\n"
                            "list");

    EXPECT_EQ(ended.code, kExitDone) << ended.err;
    EXPECT_THAT(Owner(APPMGR).Reports("change"),
                ElementsAre("change 5000 start=my app:two words:a b:"));
    EXPECT_EQ(Owner(APPMGR).Count("list"), 1U);
    EXPECT_THAT(ended.out, Not(HasSubstr("ownerlink>")));
}

TEST_F(CtlTest, ShellTakesASuspendBackAsACancel)
{
    StartAll();

    const Ended ended =
        Ctl({"shell"}, "set-state SUSPEND_PRE\nset-state WORKING -n\nset-state WORKING\n");

    EXPECT_EQ(ended.code, kExitDone);
    EXPECT_THAT(Plain(ended.out), HasSubstr("APPMGR <APPMGR> CANCEL_SUSPEND 2\n"));
    EXPECT_THAT(Owner(APPMGR).Reports("cancel"), ElementsAre("cancel 1 5000"));
}

TEST_F(CtlTest, ShellRefusesAStateWhileAnotherRunsInTheBackground)
{
    StartAll();
    Owner(IAM).Tell("always state block");
    Program shell({"shell"});
    shell.Write("set-state SUSPEND &\n");
    ASSERT_TRUE(Owner(IAM).AwaitAny("state"));

    shell.Write("set-state OFF\n");
    ASSERT_TRUE(shell.AwaitErr("refused: another state change of this process runs"));
    Owner(IAM).Tell("release state accept");
    shell.EndInput();

    const Ended ended = shell.AwaitEnd();
    EXPECT_EQ(ended.code, kExitBusy);
    EXPECT_THAT(ended.err, HasSubstr("[1] runs: set-state SUSPEND &\n"));
    EXPECT_THAT(ended.err, HasSubstr("[1] ended with 0: set-state SUSPEND &\n"));
}

TEST_F(CtlTest, ACancelOvertakesAndEachTellsItsOwnOwners)
{
    StartAll();
    Owner(IAM).Tell("always state block");
    Owner(APPMGR).Tell("always cancel refuse");
    Program shell({"shell", "--json"});
    shell.Write("set-state SUSPEND_PRE &\n");
    for (const GroupOwner group : kGroups) {
        ASSERT_TRUE(Owner(group).AwaitAny("state"));
    }

    shell.Write("set-state WORKING\n");
    ASSERT_TRUE(shell.AwaitOut("\n"));
    const std::string cancel = shell.Out();
    Owner(IAM).Tell("release state accept");
    shell.EndInput();
    const Ended ended = shell.AwaitEnd();

    EXPECT_EQ(CountOf(cancel, "\"outcome\":\"refused\""), 1U);
    EXPECT_EQ(CountOf(ended.out.substr(cancel.size()), "\"outcome\":\"done\""), 3U);
}

TEST_F(CtlTest, TheWatchOnTheOwnersLivesOnBetweenLines)
{
    auto owner = std::make_unique<ExampleOwner>(APPMGR);
    Program shell({"shell"});
    shell.Write("start APPMGR/nav\n");
    ASSERT_TRUE(shell.AwaitOut("APPMGR  nav  SUCCESS\n"));

    owner->Kill();
    owner = std::make_unique<ExampleOwner>(APPMGR);

    EXPECT_TRUE(owner->Await("verify nav START"));
    shell.EndInput();
    EXPECT_EQ(shell.AwaitEnd().code, kExitDone);
}

TEST_F(CtlTest, ShellCancelsAWatchAndAWait)
{
    ExampleOwner owner(APPMGR, {"dp:/res/pm/sys_event"});
    Program shell({"shell"});
    shell.Write("stop APPMGR/nav\nwatch &\nwait APPMGR/nav --for running &\njobs\n");
    ASSERT_TRUE(shell.AwaitErr("[2] runs: wait APPMGR/nav --for running &\n"));
    ASSERT_TRUE(AwaitLogged("register async fastRead", 1, shell.Process()));
    do {  // either verb subscribes; the watch may listen a moment later
        owner.Tell("event WORKING");
    } while (!shell.AwaitOutSoon("event  WORKING (1)"));

    shell.Write("cancel 2\ncancel 7\ncancel x\n");
    ASSERT_TRUE(shell.AwaitErr("cancel: no such job"));
    shell.EndInput();

    const Ended ended = shell.AwaitEnd();
    EXPECT_EQ(ended.code, kExitUsage);
    EXPECT_THAT(ended.err, HasSubstr("[1] ended with 0: watch &\n"));
    EXPECT_THAT(ended.err, HasSubstr("[2] ended with 1: wait"));
    EXPECT_THAT(ended.err, HasSubstr("it is TERMINATED (stopped)"));
}

TEST_F(CtlTest, ShellSharesOneSubscriptionAmongItsVerbs)
{
    ExampleOwner owner(APPMGR, {"dp:/res/pm/sys_event"});
    Program shell({"shell"});
    shell.Write("watch --count 1 &\nwatch --count 1 &\nlist\n");
    ASSERT_TRUE(AwaitLogged("register async fastRead", 1, shell.Process()));
    ASSERT_TRUE(shell.AwaitOut("OUTCOME"));
    // The second listens a moment after it has been told to run; it takes a later event, too.
    while (CountOf(shell.Out(), "event  SUSPEND (2)") < 2) {
        owner.Tell("event SUSPEND");
        shell.AwaitOutSoon("\n", 2);
    }

    shell.EndInput();

    EXPECT_EQ(shell.AwaitEnd().code, kExitPartly);  // the list, for IAM and DATAMASTER are missing
}

TEST_F(CtlTest, ShellGoesOnAfterMistakesAndGivesTheHighestCode)
{
    StartAll();

    const Ended ended = Ctl({"shell"},
                            "frobnicate\n"
                            "start 'APPMGR/x\n"
                            "start APPMGR/x \\\n"
                            "& list\n"
                            "&\n"
                            "shell\n"
                            "decode -\n"
                            "set-state\n"
                            "list\n");

    EXPECT_EQ(ended.code, kExitUsage);
    for (const std::string mistake :
         {"no verb \"frobnicate\"", "a quote ' is not closed", "nothing follows the backslash",
          "\"&\" stands in the middle", "nothing stands before \"&\"", "no verb \"shell\"",
          "standard input holds the shell's lines", "STATE is required"}) {
        EXPECT_THAT(ended.err, HasSubstr(mistake));
    }
    EXPECT_EQ(Owner(APPMGR).Count("list"), 1U);
}

TEST_F(CtlTest, ShellStopsAtTheFirstErrorIfAsked)
{
    Start(APPMGR);

    const Ended ended = Ctl({"shell", "-e"}, "list\nreload\n");

    EXPECT_EQ(ended.code, kExitPartly);
    EXPECT_EQ(Owner(APPMGR).Count("reload"), 0U);
}

TEST_F(CtlTest, ShellEndsWithExitAndHelps)
{
    StartAll();

    const Ended ended = Ctl({"shell", "-q"}, "help\nlist --help\nlist\nexit\nlist\n");

    EXPECT_EQ(ended.code, kExitDone);
    EXPECT_THAT(ended.out, HasSubstr("VERB ... &   in the background"));
    EXPECT_THAT(ended.out, HasSubstr("Usage: ownerlinkctl list"));
    EXPECT_EQ(Owner(APPMGR).Count("list"), 1U);
}

TEST_F(CtlTest, ShellSaysThatTheTableHasChangedAndKeepsItsOwn)
{
    Start(APPMGR);
    Program shell({"shell"});
    shell.Write("query\n");
    ASSERT_TRUE(shell.AwaitOut("DATAMASTER"));

    WriteConfig("apps: {OsType: 0, GroupOwner: 2, SecVfs: elsewhere}\n");
    shell.Write("owners\nreload APPMGR\n");
    ASSERT_TRUE(shell.AwaitErr("has changed; this process keeps what it has loaded"));
    shell.EndInput();
    shell.AwaitEnd();

    EXPECT_EQ(Owner(APPMGR).Count("reload"), 1U);
}

TEST_F(CtlTest, ShellReadsTheTableAnewUntilAVerbHasUsedIt)
{
    RemoveConfig();
    Program shell({"shell"});
    shell.Write("list\n");
    ASSERT_TRUE(shell.AwaitErr("no owner configured"));

    WriteConfig("apps: {OsType: 0, GroupOwner: 2, SecVfs: wrong}\n");
    shell.Write("owners\n");
    ASSERT_TRUE(shell.AwaitOut("wrong"));
    WriteConfig(UsualConfig());
    StartAll();
    shell.Write("list\n");
    shell.EndInput();

    EXPECT_THAT(Plain(shell.AwaitEnd().out), HasSubstr("IAM <IAM> done"));
}

TEST_F(CtlTest, TheTimeOutOfALineDoesNotStayForTheNext)
{
    Start(APPMGR);

    Ctl({"shell"},
        "query a --timeout 200ms\nset-state OFF --timeout 300ms\nquery a\n"
        "reload -t 1s\nstart APPMGR/b\n");

    EXPECT_THAT(Owner(APPMGR).Reports("query"), ElementsAre("query 1 200 a", "query 1 5000 a"));
    EXPECT_THAT(Owner(APPMGR).Reports("state"), ElementsAre("state 0 300"));
    EXPECT_THAT(Owner(APPMGR).Reports("change"), ElementsAre("change 5000 start=b"));
}
