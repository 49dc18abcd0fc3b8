#include <gmock/gmock.h>
#include <ownerlink/records.h>

#include <type_traits>

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

using Parameters = std::map<int, std::vector<std::string>>;

TEST(ApplicationRecords, HaveTheirFieldsInOrder)
{
    const AppInfo info{SD, APPMGR, "app", 2, {"x"}, {{1, {"v"}}}};
    const QueryAppStatusMsg query{{"app"}, 3};
    const AppStatus status{"app", -4, 5};
    const SysEvent event{258};

    EXPECT_EQ(info.os, SD);
    EXPECT_EQ(info.groupOwner, APPMGR);
    EXPECT_EQ(info.appName, "app");
    EXPECT_EQ(info.optionType, 2U);
    EXPECT_THAT(info.args, ElementsAre("x"));
    EXPECT_EQ(info.dynamicPara, (Parameters{{1, {"v"}}}));
    EXPECT_THAT(query.appList, ElementsAre("app"));
    EXPECT_EQ(query.queryType, 3U);
    EXPECT_EQ(status.appName, "app");
    EXPECT_EQ(status.pid, -4);
    EXPECT_EQ(status.status, 5U);
    EXPECT_EQ(event.state, 258U);
}

TEST(ApplicationRecords, StartEmpty)
{
    const AppInfo info;
    const AppStatus status;

    EXPECT_EQ(info.os, DP);
    EXPECT_EQ(info.groupOwner, DATAMASTER);
    EXPECT_EQ(info.optionType, 0U);
    EXPECT_EQ(AppChangeInfo().state, SUCCESS);
    EXPECT_EQ(status.pid, 0);
    EXPECT_EQ(status.status, 0U);
    EXPECT_EQ(QueryAppStatusMsg().queryType, 0U);
    EXPECT_EQ(SysEvent().state, 0U);
}

TEST(ApplicationRecords, ForAnOwnerMayBeBuiltWithoutParameters)
{
    const AppInfoForServer plain("app", {"x", "y"});
    const AppInfoForServer full("app", {"x"}, {{0, {"v"}}});

    EXPECT_EQ(plain.appName, "app");
    EXPECT_THAT(plain.args, ElementsAre("x", "y"));
    EXPECT_THAT(plain.dynamicPara, IsEmpty());
    EXPECT_EQ(full.dynamicPara, (Parameters{{0, {"v"}}}));
}

TEST(ApplicationRecords, OfAResultAreBuiltFromNameAndState)
{
    const AppChangeInfo info("app", TERM_FAILED);

    EXPECT_EQ(info.appName, "app");
    EXPECT_EQ(info.state, TERM_FAILED);
}

TEST(ApplicationRecords, AreValues)
{
    AppInfo info;
    info.args = {"x"};
    info.dynamicPara[1] = {"v"};

    AppInfo copy = info;
    copy.args[0] = "changed";
    copy.dynamicPara[1].clear();

    EXPECT_THAT(info.args, ElementsAre("x"));
    EXPECT_EQ(info.dynamicPara, (Parameters{{1, {"v"}}}));
}

TEST(ApplicationRecords, HaveEnumerationsOf32Bits)
{
    EXPECT_TRUE((std::is_same_v<std::underlying_type_t<SsOperSysType>, uint32_t>));
    EXPECT_TRUE((std::is_same_v<std::underlying_type_t<GroupOwner>, uint32_t>));
    EXPECT_TRUE((std::is_same_v<std::underlying_type_t<AppChangeState>, uint32_t>));
    EXPECT_TRUE((std::is_same_v<std::underlying_type_t<ChangeAppResult>, uint32_t>));
    EXPECT_TRUE((std::is_same_v<decltype(AppInfo::optionType), uint32_t>));
    EXPECT_TRUE((std::is_same_v<decltype(AppStatus::pid), int32_t>));
    EXPECT_TRUE((std::is_same_v<decltype(AppStatus::status), uint32_t>));
}

TEST(ApplicationRecords, HaveTheNumbersOfTheTables)
{
    EXPECT_THAT((std::vector<uint32_t>{DP, SD}), ElementsAre(0U, 1U));
    EXPECT_THAT((std::vector<uint32_t>{DATAMASTER, IAM, APPMGR}), ElementsAre(0U, 1U, 2U));
    EXPECT_THAT((std::vector<uint32_t>{SUCCESS, TERM_FAILED, START_FAILED, RESTART_FAILED, INIT,
                                       PROCESSING, START_FAILED_BY_EIO}),
                ElementsAre(0U, 1U, 2U, 3U, 4U, 5U, 6U));
    EXPECT_THAT((std::vector<uint32_t>{CHANGE_APP_SUCCEEDED, CHANGE_APP_FAILED}),
                ElementsAre(0U, 1U));
}

}  // namespace
