// wait: met, not yet, never; and how often it asks.

#include "tests/ctl/ctl_test.h"
#include "tests/ctl/example_owner.h"

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::SizeIs;

TEST_F(CtlTest, WaitEndsAtOnceWhenTheStateIsThere)
{
    Start(APPMGR);

    const Ended ended = Ctl({"wait", "APPMGR/a", "APPMGR/b", "--for", "terminated"});

    EXPECT_EQ(ended.code, kExitDone) << ended.err;
    EXPECT_THAT(Owner(APPMGR).Reports("query"), ElementsAre("query 1 5000 a b"));
}

TEST_F(CtlTest, WaitSeesAnApplicationOfTheExampleOwnerStart)
{
    ExampleOwner owner(APPMGR);
    ASSERT_EQ(Ctl({"stop", "APPMGR/nav"}).code, kExitDone);
    Program wait({"wait", "APPMGR/nav", "--for", "running"});
    ASSERT_TRUE(AwaitLogged("QueryAppState cmd type=1, finish", 2, wait.Process()));

    ASSERT_EQ(Ctl({"start", "APPMGR/nav"}).code, kExitDone);

    const Ended ended = wait.AwaitEnd();
    EXPECT_EQ(ended.code, kExitDone) << ended.err;
    EXPECT_THAT(Plain(ended.out), HasSubstr("APPMGR nav 0 RUNNING\n"));
}

TEST_F(CtlTest, WaitForAnyEndsWithTheFirst)
{
    ExampleOwner owner(APPMGR);
    Ctl({"start", "APPMGR/one"});
    Ctl({"stop", "APPMGR/other"});

    Words both = {"wait", "APPMGR/one", "APPMGR/other", "--for", "running"};
    Words any = both;
    any.push_back("--any");
    both.insert(both.end(), {"--within", "0.1s"});

    EXPECT_EQ(Ctl(both).code, kExitTimedOut);
    EXPECT_EQ(Ctl(any).code, kExitDone);
}

TEST_F(CtlTest, WaitTimesOutWithACodeOfItsOwnAndTheLastState)
{
    Start(APPMGR);

    const Words words = {"wait", "APPMGR/nav", "--for", "running", "--within", "300ms"};
    Ended ended = Ctl(words);
    while (ended.err.find("no answer within") !=
           std::string::npos) {  // the last question has 0.1 s
        ended = Ctl(words);
    }

    EXPECT_EQ(ended.code, kExitTimedOut);
    EXPECT_EQ(ended.err, "ownerlinkctl: APPMGR/nav: it is TERMINATED after 300 ms\n");
}

TEST_F(CtlTest, WaitAsksEverMoreRarely)
{
    Start(APPMGR);

    Ctl({"wait", "APPMGR/nav", "--for", "running", "--within", "1.5s"});

    // At 0, 50, 150, 350 and 750 ms and at the end; a slow machine asks less often.
    EXPECT_LE(Owner(APPMGR).Reports("query").size(), 6U);
    EXPECT_GE(Owner(APPMGR).Reports("query").size(), 2U);
}

TEST_F(CtlTest, WaitForAnApplicationThatItsOwnerDoesNotKnowIsHopeless)
{
    ExampleOwner owner(APPMGR);

    const Ended ended = Ctl({"wait", "APPMGR/nav", "--for", "running"});

    EXPECT_EQ(ended.code, kExitHopeless);
    EXPECT_THAT(ended.err, HasSubstr("APPMGR/nav: its owner does not know it"));
}

TEST_F(CtlTest, WaitForAnyGivesUpOnlyWhenAllAreHopeless)
{
    ExampleOwner owner(APPMGR);
    Ctl({"stop", "APPMGR/there"});
    const Words words = {"wait", "APPMGR/there", "APPMGR/not", "--for", "running"};
    Words any = words;
    any.insert(any.end(), {"--any", "--within", "100ms"});

    EXPECT_EQ(Ctl(words).code, kExitHopeless);
    EXPECT_EQ(Ctl(any).code, kExitTimedOut);
}

TEST_F(CtlTest, WaitWithoutAConfiguredOwnerSaysSo)
{
    WriteConfig(
        ConfigEntry("apps", "OsType: 0, GroupOwner: 2, SecVfs: \"" + ResourceOf(APPMGR) + '"'));
    Start(APPMGR);

    const Ended none = Ctl({"wait", "IAM/auth", "--for", "running"});
    const Ended some = Ctl({"wait", "IAM/auth", "APPMGR/nav", "--for", "terminated"});

    EXPECT_EQ(none.code, kExitNoOwner);
    EXPECT_EQ(some.code, kExitHopeless);
    EXPECT_THAT(some.err, HasSubstr("IAM/auth: no owner configured"));
}

TEST_F(CtlTest, WaitOutlastsAnOwnerThatIsNotThereYet)
{
    Program wait({"wait", "APPMGR/nav", "--for", "terminated"});
    ASSERT_TRUE(AwaitLogged("QueryAppState cmd type=1, finish", 1, wait.Process()));

    Start(APPMGR);

    EXPECT_EQ(wait.AwaitEnd().code, kExitDone);
}

TEST_F(CtlTest, WaitDoesNotTakeAnotherOwnersApplicationOfTheSameName)
{
    Start(APPMGR);
    ExampleOwner iam(IAM);

    const Ended ended = Ctl({"wait", "IAM/nav", "--for", "terminated"});

    EXPECT_EQ(ended.code, kExitHopeless);
}

TEST_F(CtlTest, WaitNeedsAStateToWaitFor)
{
    EXPECT_EQ(Ctl({"wait", "APPMGR/nav"}).code, kExitUsage);
    EXPECT_EQ(Ctl({"wait", "APPMGR/nav", "--for", "sleeping"}).code, kExitUsage);
    EXPECT_EQ(Ctl({"wait", "APPMGR/nav", "--for", "running", "--within", "soon"}).code, kExitUsage);
    EXPECT_EQ(Ctl({"wait", "--for", "running"}).code, kExitUsage);
}
