// Each verb with owners that do as they are asked.

#include "tests/ctl/ctl_test.h"

using ::testing::ContainsRegex;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;

namespace {

const char kAllDone[] =
    "OWNER RESOURCE OUTCOME\n"
    "APPMGR <APPMGR> done\n"
    "DATAMASTER <DATAMASTER> done\n"
    "IAM <IAM> done\n";

}  // namespace

TEST_F(CtlTest, SetStateReachesEveryOwnerAndShowsARowForEach)
{
    StartAll();

    const Ended ended = Ctl({"set-state", "SUSPEND"});

    EXPECT_EQ(ended.code, kExitDone) << ended.err;
    EXPECT_EQ(Plain(ended.out), kAllDone);
    EXPECT_EQ(ended.err, "");
    for (const GroupOwner group : kGroups) {
        EXPECT_THAT(Owner(group).Reports("state"), ElementsAre("state 2 5000"));
    }
}

TEST_F(CtlTest, SetStateTakesTextsInAnyCaseAndNumbers)
{
    StartAll();

    EXPECT_EQ(Ctl({"set-state", "suspend_pre"}).code, kExitDone);
    EXPECT_EQ(Ctl({"set-state", "0x102"}).code, kExitDone);
    EXPECT_EQ(Ctl({"set-state", "77"}).code, kExitDone);
    EXPECT_EQ(Ctl({"set-state", "-1"}).code, kExitDone);

    EXPECT_THAT(Owner(IAM).Reports("state"),
                ElementsAre("state 258 5000", "state 258 5000", "state 77 5000", "state -1 5000"));
}

TEST_F(CtlTest, SetStateToTheExitOfHighLevelFunctionsReachesNobody)
{
    StartAll();

    const Ended ended = Ctl({"set-state", "HIGH_LEVEL_ADS_EXIT"});

    EXPECT_EQ(ended.code, kExitDone);
    EXPECT_EQ(ended.out, "");
    EXPECT_THAT(Owner(APPMGR).Reports("state"), ElementsAre());
}

TEST_F(CtlTest, StartCarriesArgumentsAndParametersAndShowsOwnersAndApplications)
{
    StartAll();

    const Ended ended = Ctl({"start", "APPMGR/nav", "iam/auth", "--param", "1=v", "--param", "1=w",
                             "--timeout", "2s", "--", "--fast", "-x"});

    EXPECT_EQ(ended.code, kExitDone) << ended.err;
    EXPECT_EQ(Plain(ended.out),
              "OWNER RESOURCE OUTCOME\n"
              "APPMGR <APPMGR> done\n"
              "IAM <IAM> done\n"
              "\n"
              "OWNER APP STATE\n"
              "APPMGR nav SUCCESS\n"
              "IAM auth SUCCESS\n");
    EXPECT_THAT(Owner(APPMGR).Reports("change"),
                ElementsAre("change 2000 start=nav:--fast:-x@1:v@1:w"));
    EXPECT_THAT(Owner(IAM).Reports("change"),
                ElementsAre("change 2000 start=auth:--fast:-x@1:v@1:w"));
}

TEST_F(CtlTest, StopAndRestartSendTheirOwnOption)
{
    Start(APPMGR);

    EXPECT_EQ(Ctl({"stop", "APPMGR/nav"}).code, kExitDone);
    EXPECT_EQ(Ctl({"restart", "2/nav", "--", "again"}).code, kExitDone);

    EXPECT_THAT(Owner(APPMGR).Reports("change"),
                ElementsAre("change 5000 stop=nav", "change 5000 restart=nav:again"));
}

TEST_F(CtlTest, OneNameWithTwoOwnersGetsARowForEach)
{
    StartAll();
    Owner(IAM).Tell("fail nav 5");

    const Ended ended = Ctl({"start", "IAM/nav", "APPMGR/nav"});

    EXPECT_EQ(ended.code, kExitDone);
    EXPECT_THAT(Plain(ended.out), HasSubstr("APPMGR nav SUCCESS\nIAM nav PROCESSING\n"));
}

TEST_F(CtlTest, QueryShowsWhoAnsweredWithWhat)
{
    StartAll();

    const Ended ended = Ctl({"query", "nav", "--type", "7", "--timeout", "owner"});

    EXPECT_EQ(ended.code, kExitDone) << ended.err;
    EXPECT_THAT(Plain(ended.out), StartsWith(kAllDone));
    const std::string pid = std::to_string(Owner(IAM).Process());
    EXPECT_THAT(Plain(ended.out), HasSubstr("IAM nav " + pid + " TERMINATED\n"));
    EXPECT_THAT(Owner(IAM).Reports("query"), ElementsAre("query 7 -1 nav"));
}

TEST_F(CtlTest, QueryOfTypeZeroAsksDatamasterAlone)
{
    StartAll();

    const Ended ended = Ctl({"query", "nav", "--type", "0"});

    EXPECT_EQ(ended.code, kExitDone);
    EXPECT_THAT(Plain(ended.out), StartsWith("OWNER RESOURCE OUTCOME\n"
                                             "DATAMASTER <DATAMASTER> done\n\n"));
    EXPECT_THAT(Owner(IAM).Reports("query"), ElementsAre());
}

TEST_F(CtlTest, QueryNamesWhatNobodyKnows)
{
    StartAll();
    for (const GroupOwner group : kGroups) {
        Owner(group).Tell("always query throw");
    }

    const Ended ended = Ctl({"query", "nav"});

    EXPECT_EQ(ended.code, kExitFailed);
    EXPECT_THAT(ended.err, HasSubstr("ownerlinkctl: nav: no owner has told its state"));
    EXPECT_THAT(ended.err, HasSubstr("an exception left its callback"));
}

TEST_F(CtlTest, ListShowsTheApplicationsOfEveryOwner)
{
    StartAll();
    Owner(IAM).Tell("apps auth keys");
    Owner(APPMGR).Tell("apps nav");

    const Ended ended = Ctl({"list"});

    EXPECT_EQ(ended.code, kExitDone) << ended.err;
    EXPECT_EQ(Plain(ended.out),
              std::string(kAllDone) + "\nOWNER APP\nIAM auth\nIAM keys\nAPPMGR nav\n");
}

TEST_F(CtlTest, ReloadDumpAndStopAllLeaveIamOutAndSaySo)
{
    StartAll();
    for (const std::string verb : {"reload", "dump", "stop-all"}) {
        const Ended ended = Ctl({verb});

        EXPECT_EQ(ended.code, kExitDone) << ended.err;
        EXPECT_EQ(Plain(ended.out),
                  "OWNER RESOURCE OUTCOME REASON\n"
                  "DATAMASTER <DATAMASTER> done\n"
                  "IAM <IAM> skipped a walk over all owners leaves it out\n"
                  "APPMGR <APPMGR> done\n");
        EXPECT_EQ(Owner(DATAMASTER).Count(verb), 1U);
        EXPECT_EQ(Owner(IAM).Count(verb), 0U);
    }
}

TEST_F(CtlTest, ReloadDumpAndStopAllReachTheOneOwnerThatIsNamed)
{
    StartAll();
    for (const std::string verb : {"reload", "dump", "stop-all"}) {
        const Ended ended = Ctl({verb, "IAM"});

        EXPECT_EQ(ended.code, kExitDone) << ended.err;
        EXPECT_EQ(Plain(ended.out), "OWNER RESOURCE OUTCOME\nIAM <IAM> done\n");
        EXPECT_EQ(Owner(DATAMASTER).Count(verb), 0U);
        EXPECT_EQ(Owner(IAM).Count(verb), 1U);
    }
}

TEST_F(CtlTest, OwnersShowsWhichAnswerAndHowFast)
{
    Start(APPMGR);
    Start(IAM);
    Owner(IAM).Stop();

    const Ended ended = Ctl({"owners"});

    EXPECT_EQ(ended.code, kExitPartly);
    EXPECT_THAT(Plain(ended.out), HasSubstr("DATAMASTER <DATAMASTER> not reached not running\n"));
    EXPECT_THAT(Plain(ended.out), HasSubstr("IAM <IAM> no answer it does not answer\n"));
    EXPECT_THAT(Plain(ended.out), ContainsRegex("APPMGR <APPMGR> answers [0-9.]+ ms\n"));
    Owner(IAM).Continue();
}

TEST_F(CtlTest, OwnersEndsWellWhenAllAnswer)
{
    StartAll();

    const Ended ended = Ctl({"owners"});

    EXPECT_EQ(ended.code, kExitDone);
    EXPECT_EQ(ended.err, "");
}

TEST_F(CtlTest, QuietPrintsErrorsOnly)
{
    Start(APPMGR);

    const Ended good = Ctl({"start", "APPMGR/nav", "-q"});
    const Ended bad = Ctl({"--quiet", "set-state", "WORKING"});

    EXPECT_EQ(good.out + good.err, "");
    EXPECT_EQ(bad.out, "");
    EXPECT_THAT(Plain(bad.err),
                HasSubstr("IAM (<IAM>): not running; start the owner; it needs the same "
                          "OWNERLINK_RUNTIME_DIR as this command\n"));
}
