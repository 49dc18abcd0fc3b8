// What the table of owners makes of the file that it is read from.

#include "tests/process/owners_test.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class Configuration : public OwnersTest {};

TEST_F(Configuration, AMissingFileReachesNobodyUntilItIsThere)
{
    RemoveConfig();
    StartAll();

    EXPECT_EQ(SetState(ProcMgr::WORKING), kOk);  // no owner failed
    const ChangeOutcome lost = Change({App(IAM, "a")});
    WriteConfig(UsualConfig());
    EXPECT_EQ(SetState(ProcMgr::SUSPEND), kOk);

    EXPECT_EQ(lost.code, kChangeFailed);
    EXPECT_THAT(lost.results, ElementsAre("a INIT"));
    EXPECT_GE(LoggedCount(std::string("file=") + kConfigFile + " doesn't exist"), 2U);
    for (const GroupOwner group : kGroups) {
        EXPECT_THAT(Owner(group).Reports(), ElementsAre("state 2 60000"));
    }
}

TEST_F(Configuration, AnEmptyFileAndABrokenOneAreTriedAgain)
{
    StartAll();
    WriteConfig("");
    EXPECT_EQ(SetState(ProcMgr::WORKING), kOk);
    WriteConfig("owner: {OsType: 0, GroupOwner: [");
    EXPECT_EQ(SetState(ProcMgr::WORKING), kOk);
    WriteConfig(UsualConfig());

    EXPECT_EQ(SetState(ProcMgr::SUSPEND), kOk);

    EXPECT_EQ(LoggedCount("failed, init yaml node failed"), 2U);
    EXPECT_THAT(Owner(IAM).Reports(), ElementsAre("state 2 60000"));
}

TEST_F(Configuration, AFileWhoseRootIsASequenceIsReadOnceAndForAll)
{
    StartAll();
    WriteConfig("- OsType: 0\n");
    EXPECT_EQ(SetState(ProcMgr::WORKING), kOk);
    WriteConfig(UsualConfig());

    EXPECT_EQ(SetState(ProcMgr::SUSPEND), kOk);

    EXPECT_THAT(Owner(IAM).Reports(), IsEmpty());
}

TEST_F(Configuration, AChangedFileIsNotSeenByARunningManagerButByTheNext)
{
    StartAll();
    ASSERT_EQ(SetState(ProcMgr::WORKING), kOk);
    WriteConfig(ConfigEntry("iam", "OsType: 0, GroupOwner: 1, SecVfs: \"" + ResourceOf(IAM) + '"'));
    const std::unique_ptr<Peer> next = StartManager();

    EXPECT_EQ(SetState(ProcMgr::SUSPEND), kOk);
    EXPECT_TRUE(next->Tell("set 3 60000"));

    EXPECT_THAT(Owner(IAM).Reports(),
                ElementsAre("state 1 60000", "state 2 60000", "state 3 60000"));
    EXPECT_THAT(Owner(APPMGR).Reports(), ElementsAre("state 1 60000", "state 2 60000"));
}

TEST_F(Configuration, EntriesOfOtherDomainsAndGroupsAreSkipped)
{
    StartAll();
    const std::string served = ", SecVfs: \"" + ResourceOf(DATAMASTER) + '"';
    WriteConfig(ConfigEntry("otherDomain", "OsType: 1, GroupOwner: 0" + served) +
                ConfigEntry("noGroup", "OsType: 0, GroupOwner: 3" + served) +
                ConfigEntry("negative", "OsType: 0, GroupOwner: -1" + served));

    EXPECT_EQ(SetState(ProcMgr::WORKING), kOk);

    EXPECT_THAT(Owner(DATAMASTER).Reports(), IsEmpty());
    EXPECT_EQ(LoggedCount("single:1, osTypeFromYAML:1"), 1U);
    EXPECT_EQ(LoggedCount("GroupOwner=3 is bigger than 2"), 1U);
    EXPECT_EQ(LoggedCount("GroupOwner=4294967295 is bigger than 2"), 1U);
}

TEST_F(Configuration, TheLaterOfTwoEntriesForADomainCounts)
{
    StartAll();
    const std::string iam = "OsType: 0, GroupOwner: 1, SecVfs: \"";
    WriteConfig(ConfigEntry("first", iam + ResourceOf(IAM) + '"') +
                ConfigEntry("second", iam + ResourceOf(APPMGR) + '"'));

    EXPECT_EQ(SetState(ProcMgr::WORKING), kOk);

    EXPECT_THAT(Owner(IAM).Reports(), IsEmpty());
    EXPECT_THAT(Owner(APPMGR).Reports(), ElementsAre("state 1 60000"));
}

TEST_F(Configuration, AnEntryWithoutAResourceIsServedUnderItsGroupsNumber)
{
    WriteConfig(ConfigEntry("incomplete", "OsType: 0, GroupOwner: 2"));
    const std::unique_ptr<Peer> owner = StartOwnerOf("2");

    EXPECT_EQ(SetState(ProcMgr::WORKING), kOk);

    EXPECT_THAT(owner->Reports(), ElementsAre("state 1 60000"));
}

TEST_F(Configuration, AnEntryWithoutADomainOrGroupStandsForDatamaster)
{
    StartAll();
    WriteConfig(ConfigEntry("bare", "SecVfs: \"" + ResourceOf(APPMGR) + '"'));

    const ChangeOutcome outcome = Change({App(DATAMASTER, "a")});

    EXPECT_EQ(outcome.code, kOk);
    EXPECT_THAT(Owner(APPMGR).Reports(), ElementsAre("change 60000 start=a"));
}

TEST_F(Configuration, TwoDomainsWithOneResourceMakeOneRequest)
{
    Start(IAM);
    const std::string served = ", SecVfs: \"" + ResourceOf(IAM) + '"';
    WriteConfig(ConfigEntry("one", "OsType: 0, GroupOwner: 1" + served) +
                ConfigEntry("two", "OsType: 0, GroupOwner: 2" + served));

    EXPECT_EQ(SetState(ProcMgr::WORKING), kOk);

    EXPECT_THAT(Owner(IAM).Reports(), ElementsAre("state 1 60000"));
}

TEST_F(Configuration, AResourceNameOfFourThousandBytesIsServed)
{
    const std::string name = "dp:/" + std::string(3996, 'n');
    WriteConfig(ConfigEntry("long", "OsType: 0, GroupOwner: 0, SecVfs: \"" + name + '"'));
    const std::unique_ptr<Peer> owner = StartOwnerOf(name);

    EXPECT_EQ(SetState(ProcMgr::WORKING), kOk);

    EXPECT_THAT(owner->Reports(), ElementsAre("state 1 60000"));
}

}  // namespace
