// --dry-run: what would go to which owner in how many records, and nothing is sent.

#include "tests/ctl/ctl_test.h"

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

namespace {

// An application whose item, "NAME#0#0#0#", has `length` bytes.
std::string AppOfItem(size_t length, char letter)
{
    return "APPMGR/" + std::string(length - 7, letter);
}

size_t RecordsIn(const std::string& out)
{
    size_t records = 0;
    for (size_t at = 0; (at = out.find(" CHANGE_APP ", at)) != std::string::npos; ++at) {
        ++records;
    }
    return records;
}

}  // namespace

TEST_F(CtlTest, DryRunOfAStateNamesOwnersCommandAndBytes)
{
    StartAll();

    const Ended ended = Ctl({"set-state", "SUSPEND_PRE", "--dry-run"});

    EXPECT_EQ(ended.code, kExitDone);
    EXPECT_EQ(Plain(ended.out),
              "OWNER RESOURCE COMMAND BYTES\n"
              "APPMGR <APPMGR> SET_SYSTEM_STATE 4\n"
              "DATAMASTER <DATAMASTER> SET_SYSTEM_STATE 4\n"
              "IAM <IAM> SET_SYSTEM_STATE 4\n"
              "nothing was sent\n");
    EXPECT_THAT(Owner(APPMGR).Reports(), IsEmpty());
}

TEST_F(CtlTest, DryRunOfChangesSendsNothingAndNeedsNoOwnerToRun)
{
    Start(APPMGR);
    for (const std::string verb : {"start", "stop", "restart"}) {
        const Ended ended = Ctl({verb, "APPMGR/nav", "IAM/auth", "-n", "--", "x"});

        EXPECT_EQ(ended.code, kExitDone);
        EXPECT_THAT(Plain(ended.out), HasSubstr("APPMGR <APPMGR> CHANGE_APP 14 nav\n"
                                                "IAM <IAM> CHANGE_APP 15 auth\n"));
    }
    EXPECT_EQ(Ctl({"stop-all", "IAM", "-n"}).code, kExitDone);
    EXPECT_EQ(Ctl({"dump", "-n"}).code, kExitDone);
    EXPECT_THAT(Owner(APPMGR).Reports(), IsEmpty());
}

TEST_F(CtlTest, DryRunCutsRecordsAsTheLibraryDoes)
{
    Start(APPMGR);
    const Words apps = {AppOfItem(3000, 'a'), AppOfItem(2000, 'b'), AppOfItem(2000, 'c')};

    const Ended plan = Ctl({"start", apps[0], apps[1], apps[2], "-n"});
    const Ended done = Ctl({"start", apps[0], apps[1], apps[2]});

    EXPECT_EQ(plan.code, kExitDone);
    EXPECT_EQ(done.code, kExitDone);
    EXPECT_EQ(RecordsIn(Plain(plan.out)), 3U);
    EXPECT_EQ(Owner(APPMGR).Reports("change").size(), 3U);
}

TEST_F(CtlTest, DryRunNamesARecordThatItsCountMakesTooLong)
{
    const Ended ended = Ctl({"start", AppOfItem(3887, 'a'), AppOfItem(100, 'b'), "-n"});

    EXPECT_EQ(ended.code, kExitPartly);
    EXPECT_THAT(Plain(ended.out), HasSubstr(" CHANGE_APP 3889 "));
    EXPECT_THAT(ended.out, HasSubstr("exceeds 3888 bytes; the owner refuses it"));
}

TEST_F(CtlTest, DryRunNamesAShareThatIsNotSentAtAll)
{
    const Ended tooLong = Ctl({"start", AppOfItem(3888, 'a'), "-n"});
    const Ended badIndex = Ctl({"start", "APPMGR/a", "--param", "3=v", "-n"});

    for (const Ended& ended : {tooLong, badIndex}) {
        EXPECT_EQ(ended.code, kExitFailed);
        EXPECT_THAT(ended.out, HasSubstr("not sent: an item exceeds 3887 bytes, or a parameter"));
    }
}

TEST_F(CtlTest, WhatThePlanCallsNotSentIsNotSent)
{
    Start(APPMGR);

    const Ended ended = Ctl({"start", "APPMGR/a", "--param", "3=v"});

    EXPECT_EQ(ended.code, kExitFailed);
    EXPECT_THAT(Plain(ended.out), HasSubstr("APPMGR <APPMGR> not sent the request does not fit"));
    EXPECT_THAT(Owner(APPMGR).Reports(), IsEmpty());
}

TEST_F(CtlTest, DryRunOfTheExitOfHighLevelFunctionsPlansNothing)
{
    const Ended ended = Ctl({"set-state", "HIGH_LEVEL_ADS_EXIT", "-n"});

    EXPECT_EQ(ended.code, kExitDone);
    EXPECT_EQ(ended.out, "nothing was sent\n");
}
