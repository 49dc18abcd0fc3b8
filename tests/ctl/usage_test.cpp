// What is typed wrongly is said, and nothing is sent.

#include "tests/ctl/ctl_test.h"

using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;

namespace {

struct Mistake {
    Words words;
    std::string expected;
};

const Mistake kMistakes[] = {
    {{}, "no verb; known are set-state, start"},
    {{"--json"}, "no verb; known are set-state, start"},
    {{"frobnicate"}, "no verb \"frobnicate\"; known are set-state, start"},
    {{"set-state"}, "STATE is required"},
    {{"set-state", ""}, "must not be empty"},
    {{"set-state", "SLEEPING"}, "no system state \"SLEEPING\"; known are OFF, WORKING"},
    {{"set-state", "99999999999"}, "no system state"},
    {{"set-state", "1 "}, "no system state"},
    {{"set-state", "1", "2"}, "not expected"},
    {{"start"}, "OWNER/APP is required"},
    {{"start", "nav"}, "\"nav\" is no OWNER/APP; owners are DATAMASTER, IAM, APPMGR"},
    {{"start", "APPMGR/"}, "is no OWNER/APP"},
    {{"start", "SHELL/nav"}, "is no OWNER/APP"},
    {{"start", "APPMGR/a#b"}, "contains '#'"},
    {{"start", "APPMGR/a", "--", "x#"}, "contains '#'"},
    {{"start", "APPMGR/a", "--param", "v"}, "is no INDEX=VALUE"},
    {{"start", "APPMGR/a", "--param", "x=v"}, "is no INDEX=VALUE"},
    {{"start", "APPMGR/a", "--param", "=v"}, "is no INDEX=VALUE"},
    {{"query", "--timeout", "99ms"}, "is not within 100ms and 60s"},
    {{"query", "--timeout", "60.1s"}, "is not within 100ms and 60s"},
    {{"query", "--timeout", "5h"}, "is no duration"},
    {{"query", "--timeout", "-5s"}, "is no duration"},
    {{"query", "--timeout", "nan"}, "is no duration"},
    {{"query", "--timeout"}, "--timeout"},
    {{"query", "--type", "x"}, "--type"},
    {{"query", "--dry-run"}, "not expected"},
    {{"stop-all", "NOBODY"}, "no owner \"NOBODY\"; known are DATAMASTER"},
    {{"stop-all", "IAM", "APPMGR"}, "not expected"},
    {{"list", "x"}, "not expected"},
};

}  // namespace

TEST_F(CtlTest, EveryMistakeIsNamedAndNothingIsSent)
{
    StartAll();
    for (const Mistake& mistake : kMistakes) {
        const Ended ended = Ctl(mistake.words);

        EXPECT_EQ(ended.code, kExitUsage) << mistake.expected;
        EXPECT_EQ(ended.out, "");
        EXPECT_THAT(ended.err, StartsWith("ownerlinkctl: "));
        EXPECT_THAT(ended.err, HasSubstr(mistake.expected));
        EXPECT_THAT(ended.err, HasSubstr("--help"));
    }
    for (const GroupOwner group : kGroups) {
        EXPECT_THAT(Owner(group).Reports(), IsEmpty());
    }
}

TEST_F(CtlTest, HelpGoesToStandardOutput)
{
    for (const Words& words : {Words{"--help"}, Words{"--help-all"}, Words{"start", "--help"}}) {
        const Ended ended = Ctl(words);

        EXPECT_EQ(ended.code, kExitDone);
        EXPECT_THAT(ended.out, HasSubstr("Usage: ownerlinkctl"));
        EXPECT_EQ(ended.err, "");
    }
}

TEST_F(CtlTest, VersionIsOneLine)
{
    const Ended ended = Ctl({"--version"});

    EXPECT_EQ(ended.code, kExitDone);
    EXPECT_EQ(ended.out, "ownerlinkctl " OWNERLINK_VERSION "\n");
}
