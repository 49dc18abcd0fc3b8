// The configured table with each kind of mistake, as `owners` names it.

#include <sys/stat.h>

#include "tests/ctl/ctl_test.h"

using ::testing::HasSubstr;
using ::testing::Not;

namespace {

const char kTable[] = "ownerlinkctl: /etc/tnv/ownerlink_vfs_cfg.yaml";

std::string Good()
{
    return ConfigEntry("apps", "OsType: 0, GroupOwner: 2, SecVfs: \"" + ResourceOf(APPMGR) + '"');
}

struct Mistake {
    std::string entry;
    std::string expected;
    int owners;  // rows that the table has, besides the good one
};

const Mistake kMistakes[] = {
    {"odd: 5", "entry \"odd\": the entry is no mapping", 1},
    {"odd: [1, 2]", "entry \"odd\": the entry is no mapping", 1},
    {"odd: {GroupOwner: 1, SecVfs: x}", "OsType is missing; it is read as 0", 1},
    {"odd: {OsType: DP, GroupOwner: 1, SecVfs: x}", "OsType is \"DP\", not a number", 1},
    {"odd: {OsType: 1, GroupOwner: 1, SecVfs: x}", "OsType 1 is not 0; the entry is skipped", 0},
    {"odd: {OsType: -1, GroupOwner: 1, SecVfs: x}", "OsType -1 is not 0", 0},
    {"odd: {OsType: 0, SecVfs: x}", "GroupOwner is missing; it is read as 0 (DATAMASTER)", 1},
    {"odd: {OsType: 0, GroupOwner: IAM, SecVfs: x}", "GroupOwner is \"IAM\", not a number", 1},
    {"odd: {OsType: 0, GroupOwner: 1x, SecVfs: x}", "\"1x\", not a number; it is read as 1", 1},
    {"odd: {OsType: 0, GroupOwner: 3, SecVfs: x}", "GroupOwner 3 is not 0, 1 or 2", 0},
    {"odd: {OsType: 0, GroupOwner: -1, SecVfs: x}", "GroupOwner -1 is not 0, 1 or 2", 0},
    {"odd: {OsType: 0, GroupOwner: 1}",
     "SecVfs is missing; it is read as the text of GroupOwner, "
     "so \"1\"",
     1},
    {"odd: {OsType: 0, GroupOwner: 1, SecVfs: \"\"}", "SecVfs is empty or no text", 1},
    {"odd: {OsType: 0, GroupOwner: 1, SecVfs: [x]}", "SecVfs is empty or no text", 1},
    {"odd: {OsType: 0, GroupOwner: 1, SecVfs: x, Sec: y}", "nothing reads the key \"Sec\"", 1},
    {"odd: {OsType: 0, GroupOwner: 1, GroupOwner: 0, SecVfs: x}",
     "GroupOwner stands there twice; "
     "the first is read",
     1},
};

size_t RowsOf(const std::string& out)
{
    const auto lines = static_cast<size_t>(std::count(out.begin(), out.end(), '\n'));
    return lines == 0 ? 0 : lines - 1;  // the head
}

}  // namespace

TEST_F(CtlTest, OwnersNamesEachMistakeOfAnEntryAndReadsTheTableAsTheLibraryDoes)
{
    Start(APPMGR);
    for (const Mistake& mistake : kMistakes) {
        WriteConfig(Good() + mistake.entry + '\n');

        const Ended ended = Ctl({"owners"});

        EXPECT_EQ(ended.code, kExitPartly) << mistake.entry;
        EXPECT_THAT(ended.err, HasSubstr(std::string(kTable) + ": entry \"odd\": "));
        EXPECT_THAT(ended.err, HasSubstr(mistake.expected));
        EXPECT_EQ(RowsOf(ended.out), 1U + static_cast<size_t>(mistake.owners)) << mistake.entry;
    }
}

TEST_F(CtlTest, OwnersSaysWhichEntryReplacesWhich)
{
    Start(APPMGR);
    WriteConfig("old: {OsType: 0, GroupOwner: 2, SecVfs: gone}\n" + Good());

    const Ended ended = Ctl({"owners"});

    EXPECT_EQ(ended.code, kExitPartly);
    EXPECT_THAT(Plain(ended.out), HasSubstr("APPMGR <APPMGR> answers"));
    EXPECT_THAT(ended.err,
                HasSubstr("entry \"apps\": it replaces the entry \"old\" of the same owner"));
}

TEST_F(CtlTest, OwnersSaysWhichTwoShareAResource)
{
    Start(APPMGR);
    WriteConfig(Good() + ConfigEntry("iam", "OsType: 0, GroupOwner: 1, SecVfs: \"" +
                                                ResourceOf(APPMGR) + '"'));

    const Ended owners = Ctl({"owners"});
    const Ended state = Ctl({"set-state", "OFF"});

    EXPECT_THAT(owners.err, HasSubstr("the two get one request together"));
    EXPECT_EQ(state.code, kExitDone);
    EXPECT_THAT(Plain(state.out), HasSubstr("IAM+APPMGR <APPMGR> done\n"));
    EXPECT_THAT(Owner(APPMGR).Reports("state").size(), 1U);
}

TEST_F(CtlTest, OwnersTellsWhyTheWholeTableCannotBeRead)
{
    const std::pair<const char*, const char*> tables[] = {
        {"", " is empty or no YAML\n"},
        {"a: [", " is empty or no YAML\n"},
        {"- a\n", " is no mapping; expected one entry for each owner\n"},
        {"text\n", " is no mapping"},
    };
    for (const auto& [text, expected] : tables) {
        WriteConfig(text);

        const Ended ended = Ctl({"owners"});

        EXPECT_EQ(ended.code, kExitNoOwner);
        EXPECT_THAT(ended.err, HasSubstr(kTable + std::string(expected)));
    }
}

TEST_F(CtlTest, AMissingTableIsToldByEveryVerb)
{
    RemoveConfig();

    const Ended ended = Ctl({"set-state", "WORKING"});

    EXPECT_EQ(ended.code, kExitNoOwner);
    EXPECT_THAT(ended.err,
                HasSubstr(std::string(kTable) + " cannot be read: No such file or directory\n"));
}

TEST_F(CtlTest, OtherVerbsDoNotRepeatTheMistakesOfEntries)
{
    Start(APPMGR);
    WriteConfig(Good() + "odd: {OsType: 1}\n");

    const Ended ended = Ctl({"set-state", "WORKING"});

    EXPECT_EQ(ended.code, kExitDone);
    EXPECT_EQ(ended.err, "");
}
