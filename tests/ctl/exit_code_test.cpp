// Owners that refuse, are slow, die or are missing: exit codes, and errors that name the owner.

#include "tests/ctl/ctl_test.h"

using ::testing::HasSubstr;
using ::testing::Not;

TEST_F(CtlTest, OneOwnerThatRefusesMakesAPartialFailure)
{
    StartAll();
    Owner(IAM).Tell("always state refuse");

    const Ended ended = Ctl({"set-state", "WORKING"});

    EXPECT_EQ(ended.code, kExitPartly);
    EXPECT_THAT(Plain(ended.out), HasSubstr("IAM <IAM> refused the owner said no\n"));
    EXPECT_EQ(Plain(ended.err),
              "ownerlinkctl: IAM (<IAM>): the owner said no; the owner's log says why\n");
}

TEST_F(CtlTest, OwnersThatAllRefuseMakeAFailure)
{
    StartAll();
    for (const GroupOwner group : kGroups) {
        Owner(group).Tell("always state refuse");
    }

    EXPECT_EQ(Ctl({"set-state", "WORKING"}).code, kExitFailed);
}

TEST_F(CtlTest, EveryVerbTellsRefusedFromDone)
{
    StartAll();
    for (const std::string kind : {"query", "list", "reload", "dump", "stop-all"}) {
        Owner(APPMGR).Tell("apps nav");
        Owner(DATAMASTER).Tell("apps log");
        Owner(IAM).Tell("apps auth");
        Owner(APPMGR).Tell("always " + kind + " refuse");

        const Ended ended = Ctl({kind});

        EXPECT_EQ(ended.code, kExitPartly) << kind;
        EXPECT_THAT(Plain(ended.out), HasSubstr("APPMGR <APPMGR> refused")) << kind;
        EXPECT_THAT(Plain(ended.out), HasSubstr("DATAMASTER <DATAMASTER> done")) << kind;
    }
}

TEST_F(CtlTest, ARefusedListOfOneAmongSeveralWithoutNamesIsNotGuessed)
{
    StartAll();
    Owner(APPMGR).Tell("always list refuse");

    const Ended ended = Ctl({"list"});

    EXPECT_EQ(ended.code, kExitFailed);
    EXPECT_THAT(Plain(ended.out), HasSubstr("IAM <IAM> not known"));
    EXPECT_THAT(Plain(ended.out), HasSubstr("APPMGR <APPMGR> not known"));
}

TEST_F(CtlTest, OneRefusedApplicationAmongTwoMakesAPartialFailure)
{
    Start(APPMGR);
    Owner(APPMGR).Tell("fail bad 2");

    const Ended ended = Ctl({"start", "APPMGR/bad", "APPMGR/good"});

    EXPECT_EQ(ended.code, kExitPartly);
    EXPECT_THAT(Plain(ended.out), HasSubstr("APPMGR bad START_FAILED\nAPPMGR good SUCCESS\n"));
    EXPECT_EQ(ended.err, "ownerlinkctl: APPMGR/bad: START_FAILED; the owner's log says why\n");
}

TEST_F(CtlTest, AllApplicationsRefusedMakeAFailure)
{
    Start(APPMGR);
    Owner(APPMGR).Tell("fail bad 6");

    const Ended ended = Ctl({"start", "APPMGR/bad"});

    EXPECT_EQ(ended.code, kExitFailed);
    EXPECT_THAT(Plain(ended.out), HasSubstr("bad START_FAILED_BY_EIO"));
}

TEST_F(CtlTest, AVerdictAgainstGoodStatesIsStillAFailure)
{
    Start(APPMGR);
    Owner(APPMGR).Tell("always change refuse");

    const Ended ended = Ctl({"start", "APPMGR/nav"});

    EXPECT_EQ(ended.code, kExitPartly);
    EXPECT_THAT(Plain(ended.out), HasSubstr("APPMGR <APPMGR> refused"));
    EXPECT_THAT(Plain(ended.out), HasSubstr("APPMGR nav SUCCESS"));
}

TEST_F(CtlTest, ASlowOwnerIsNamedWithTheLimitThatItPassed)
{
    StartAll();
    Owner(APPMGR).Tell("always state block");

    const Ended ended = Ctl({"set-state", "WORKING", "--timeout", "2s"});

    EXPECT_EQ(ended.code, kExitPartly);
    EXPECT_THAT(Plain(ended.out),
                HasSubstr("APPMGR <APPMGR> no answer no answer within 2000 ms\n"));
    EXPECT_THAT(ended.err, HasSubstr("allow more with --timeout"));
    Owner(APPMGR).Tell("release state accept");
}

TEST_F(CtlTest, TheTimeOutHoldsForControlCommandsAndLists)
{
    Start(APPMGR);
    for (const std::string verb : {"reload", "dump", "stop-all", "list"}) {
        Owner(APPMGR).Tell("always " + verb + " block");

        const Ended ended = Ctl({verb, "-t", "0.1s"});

        EXPECT_THAT(Plain(ended.out), HasSubstr("no answer within 100 ms")) << verb;
        Owner(APPMGR).Tell("release " + verb + " accept");
    }
}

TEST_F(CtlTest, AnOwnerThatDiesInTheMiddleIsNamed)
{
    StartAll();
    Owner(DATAMASTER).Tell("always change die");

    const Ended ended = Ctl({"start", "DATAMASTER/log", "APPMGR/nav"});

    EXPECT_EQ(ended.code, kExitPartly);
    EXPECT_THAT(Plain(ended.out),
                HasSubstr("DATAMASTER <DATAMASTER> no answer it died during the exchange\n"));
    EXPECT_THAT(Plain(ended.out), HasSubstr("DATAMASTER log INIT\n"));
    EXPECT_THAT(Plain(ended.out), HasSubstr("APPMGR nav SUCCESS\n"));
}

TEST_F(CtlTest, NobodyThereIsAFailureWithEveryOwnerNamed)
{
    const Ended ended = Ctl({"set-state", "WORKING"});

    EXPECT_EQ(ended.code, kExitFailed);
    for (const std::string owner : {"APPMGR", "IAM", "DATAMASTER"}) {
        EXPECT_THAT(Plain(ended.err), HasSubstr(owner + " (<" + owner + ">): not running"));
    }
}

TEST_F(CtlTest, AnApplicationWithoutAnOwnerKeepsTheLibrarysAnswer)
{
    WriteConfig(
        ConfigEntry("apps", "OsType: 0, GroupOwner: 2, SecVfs: \"" + ResourceOf(APPMGR) + '"'));
    Start(APPMGR);

    const Ended some = Ctl({"start", "IAM/auth", "APPMGR/nav", "7/x"});
    const Ended none = Ctl({"start", "IAM/auth"});

    EXPECT_EQ(some.code, kExitPartly);
    EXPECT_THAT(Plain(some.out), HasSubstr("IAM auth INIT\n7 x INIT\nAPPMGR nav SUCCESS\n"));
    EXPECT_THAT(some.err, HasSubstr("IAM/auth: no owner configured"));
    EXPECT_EQ(none.code, kExitNoOwner);
}

TEST_F(CtlTest, ATableWithoutOwnersIsToldFromOneThatFails)
{
    for (const std::string text : {"{}", "[]", ""}) {
        WriteConfig(text);
        for (const Words& words :
             {Words{"set-state", "WORKING"}, Words{"start", "IAM/x"}, Words{"query"}, Words{"list"},
              Words{"reload"}, Words{"dump"}, Words{"stop-all"}, Words{"stop-all", "IAM"},
              Words{"owners"}, Words{"set-state", "OFF", "-n"}, Words{"stop", "IAM/x", "-n"}}) {
            const Ended ended = Ctl(words);
            EXPECT_EQ(ended.code, kExitNoOwner) << words.front() << " with " << text;
            EXPECT_THAT(ended.err, HasSubstr("no owner configured")) << words.front();
        }
    }
}

TEST_F(CtlTest, ATableWithoutOwnersIsShownWhatAnEntryLooksLike)
{
    WriteConfig("{}");

    const Ended ended = Ctl({"owners"});

    EXPECT_THAT(ended.err, HasSubstr("is, for example, apps: {OsType: 0, GroupOwner: 2, "
                                     "SecVfs: \"dp:/res/pm/appmgr\"}\n"));
}

TEST_F(CtlTest, OnlyIamIsNoOwnerForAControlCommandToAll)
{
    WriteConfig(ConfigEntry("iam", "OsType: 0, GroupOwner: 1, SecVfs: \"" + ResourceOf(IAM) + '"'));
    Start(IAM);

    const Ended ended = Ctl({"stop-all"});

    EXPECT_EQ(ended.code, kExitNoOwner);
    EXPECT_THAT(ended.err, HasSubstr("no owner configured besides IAM"));
    EXPECT_EQ(Owner(IAM).Count("stop-all"), 0U);
}

TEST_F(CtlTest, OwnersAreNamedWhateverTheUsersOwnLogIs)
{
    for (const char* log : {static_cast<const char*>(nullptr), "off", "  ", "warn,stderr"}) {
        const Environment environment("OWNERLINK_LOG", log);

        const Ended ended = Ctl({"set-state", "WORKING"});

        EXPECT_THAT(Plain(ended.err), HasSubstr("IAM (<IAM>): not running"));
        EXPECT_THAT(Plain(ended.err), Not(HasSubstr("OWNERLINK_LOG")));
    }
}
