// At a terminal and without one: colour, progress, the prompt, signals, readers that go.

#include <fcntl.h>
#include <unistd.h>

#include <csignal>

#include "tests/ctl/ctl_test.h"
#include "tests/ctl/example_owner.h"

using ::testing::HasSubstr;
using ::testing::Not;

namespace {

const char kGreen[] = "\x1b[32mdone\x1b[0m";
const char kEscape[] = "\x1b";

}  // namespace

TEST_F(CtlTest, ColourIsForTerminals)
{
    StartAll();
    const Environment terminal("TERM", "xterm");
    const Environment noColour("NO_COLOR", nullptr);

    EXPECT_THAT(CtlAtTerminal({"set-state", "OFF"}).out, HasSubstr(kGreen));
    EXPECT_THAT(Ctl({"set-state", "OFF"}).out, Not(HasSubstr(kEscape)));
}

TEST_F(CtlTest, NoColourAndDumbTerminalsAreRespected)
{
    StartAll();
    const Environment terminal("TERM", "xterm");
    {
        const Environment noColour("NO_COLOR", "1");
        EXPECT_THAT(CtlAtTerminal({"list"}).out, Not(HasSubstr(kEscape)));
    }
    {
        const Environment empty("NO_COLOR", "");
        EXPECT_THAT(CtlAtTerminal({"list"}).out, HasSubstr(kGreen));
    }
    const Environment dumb("TERM", "dumb");
    EXPECT_THAT(CtlAtTerminal({"list"}).out, Not(HasSubstr(kEscape)));
}

TEST_F(CtlTest, JsonIsNeverColoured)
{
    StartAll();
    const Environment terminal("TERM", "xterm");

    EXPECT_THAT(CtlAtTerminal({"list", "--json"}).out, Not(HasSubstr(kEscape)));
}

TEST_F(CtlTest, ProgressNamesTheOwnersThatAreStillAwaited)
{
    StartAll();
    Owner(IAM).Tell("always state block");
    Program program({"set-state", "OFF"}, Program::Terminal::kAll);

    ASSERT_TRUE(program.AwaitOut("waiting for IAM ("));
    Owner(IAM).Tell("release state accept");

    const Ended ended = program.AwaitEnd();
    EXPECT_EQ(ended.code, kExitDone);
    EXPECT_THAT(ended.out, HasSubstr("\r\x1b[K"));
}

TEST_F(CtlTest, WithoutATerminalThereIsNoProgress)
{
    StartAll();
    Owner(IAM).Tell("always state block");

    const Ended ended = Ctl({"set-state", "OFF", "-t", "1s"});

    EXPECT_THAT(ended.out + ended.err, Not(HasSubstr("waiting for")));
    Owner(IAM).Tell("release state accept");
}

TEST_F(CtlTest, APipeClosedEarlyIsNoError)
{
    StartAll();
    for (const std::string verb : {"list", "owners", "--help"}) {
        Program program({verb});
        program.CloseOutput();

        const Ended ended = program.AwaitEnd();

        EXPECT_EQ(ended.code, kExitDone) << verb;
        EXPECT_EQ(ended.err, "") << verb;
    }
}

TEST_F(CtlTest, AFullDiskIsAnError)
{
    StartAll();

    const Ended ended = CtlInto("/dev/full", {"list"});

    EXPECT_EQ(ended.code, kExitFailed);
    EXPECT_EQ(ended.err,
              "ownerlinkctl: standard output cannot be written: No space left on device\n");
}

TEST_F(CtlTest, ASignalEndsAFanOutAtOnce)
{
    StartAll();
    Owner(IAM).Tell("always state block");
    for (const int signal : {SIGINT, SIGTERM}) {
        Program program({"set-state", "OFF", "-t", "60s"});
        ASSERT_TRUE(Owner(IAM).AwaitAny("state"));
        program.Signal(signal);

        EXPECT_EQ(program.AwaitEnd().code, 128 + signal);
        Owner(IAM).Tell("release state accept");
        Owner(IAM).Forget();
    }
}

TEST_F(CtlTest, ASignalEndsAWait)
{
    Start(APPMGR);
    Program wait({"wait", "APPMGR/nav", "--for", "running"});
    ASSERT_TRUE(Owner(APPMGR).AwaitAny("query"));

    wait.Signal(SIGINT);

    EXPECT_EQ(wait.AwaitEnd().code, 128 + SIGINT);
}

TEST_F(CtlTest, AShellAtATerminalPromptsAndEndsWithControlD)
{
    StartAll();
    Program shell({"shell"}, Program::Terminal::kAll);
    ASSERT_TRUE(shell.AwaitOut("ownerlink> "));

    shell.Write("list\n");
    ASSERT_TRUE(shell.AwaitOut("OUTCOME"));
    shell.Write("\x04");

    EXPECT_EQ(shell.AwaitEnd().code, kExitDone);
}

TEST_F(CtlTest, ControlCEndsTheLineOrTheWaitAndNotTheShell)
{
    Start(APPMGR);
    Program shell({"shell"}, Program::Terminal::kAll);
    ASSERT_TRUE(shell.AwaitOut("ownerlink> "));

    shell.Write("start APPMGR/never\x03");
    ASSERT_TRUE(shell.AwaitOut("\r\nownerlink> "));
    shell.Write("wait APPMGR/nav --for running\n");
    ASSERT_TRUE(Owner(APPMGR).AwaitAny("query"));
    shell.Write("\x03");
    ASSERT_TRUE(shell.AwaitOut("(stopped)"));
    shell.Write("exit\n");

    EXPECT_EQ(shell.AwaitEnd().code, kExitFailed);
    EXPECT_TRUE(Owner(APPMGR).Reports("change").empty());
}

TEST_F(CtlTest, ControlCTwiceEndsAShellWhoseFanOutHangs)
{
    Start(APPMGR);
    Owner(APPMGR).Tell("always state block");
    Program shell({"shell"}, Program::Terminal::kAll);
    shell.Write("set-state OFF -t 60s\n");
    ASSERT_TRUE(Owner(APPMGR).AwaitAny("state"));

    shell.Signal(SIGINT);
    ASSERT_TRUE(shell.AwaitOut("waiting for APPMGR; Ctrl-C again gives up"));
    shell.Signal(SIGINT);
    const int code = shell.AwaitEnd().code;
    Owner(APPMGR).Tell("release state accept");

    EXPECT_EQ(code, 128 + SIGINT);
}

TEST_F(CtlTest, AShellWhoseReaderGoesEnds)
{
    StartAll();
    Program shell({"shell"});
    shell.CloseOutput();
    shell.Write("list\nlist\n");

    EXPECT_EQ(shell.AwaitEnd().code, kExitDone);
}
