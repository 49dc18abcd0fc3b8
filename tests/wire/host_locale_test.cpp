// A host process may make a locale the global one that groups digits. What travels stays the same.
#include "tests/support/grouping_locale.h"
#include "tests/wire/codec_test.h"

namespace {

using ProcMgr::OwnerlinkRequestMsg;
using ProcMgr::OwnerlinkResponseMsg;

class HostLocale : public PlatformTest {
private:
    GroupingLocale locale_;
};

const std::vector<std::string> manyArgs(1024, "");

TEST_F(HostLocale, IsOneThatGroupsDigits)
{
    std::ostringstream stream;

    stream << 1234;

    EXPECT_EQ(stream.str(), "1.234");
}

TEST_F(HostLocale, ChangesNoSystemState)
{
    OwnerlinkRequestMsg request;
    int state = 0;

    EXPECT_TRUE(Ownerlink::Serialization::PackSetSystemStateRequest(1234567, request));
    EXPECT_TRUE(ProcMgr::SS::UnPackSetSystemStateRequest(&request, state));

    EXPECT_EQ(TextOf(request), "1234567#");
    EXPECT_EQ(state, 1234567);
}

TEST_F(HostLocale, ChangesNoItem)
{
    std::vector<std::pair<unsigned int, std::string>> items;
    const AppInfo app = {DP, DATAMASTER, "a", 4321, manyArgs, {{-1000, {}}, {0, manyArgs}}};

    EXPECT_TRUE(Ownerlink::Serialization::PackChangeAppInfoRequest({app}, items));

    ASSERT_EQ(items.size(), 1U);
    const std::string empty(1024, '#');
    EXPECT_EQ(items[0].second, "a#4321#1024#" + empty + "2#-1000#0#0#1024#" + empty);
}

TEST_F(HostLocale, ChangesNoApplicationThatIsRead)
{
    const auto request = RequestWithText("1#a#4321#0#1#-1000#1#v#");
    std::vector<AppInfo> apps;

    EXPECT_TRUE(ProcMgr::SS::UnPackChangeAppInfoRequestMsg(&request, apps));

    EXPECT_EQ(apps.at(0).optionType, 4321U);
    EXPECT_EQ(apps.at(0).dynamicPara.count(-1000), 1U);
}

TEST_F(HostLocale, TakesNoGroupedNumber)
{
    const auto request = RequestWithText("1.024#");
    int state = 0;

    EXPECT_TRUE(ProcMgr::SS::UnPackSetSystemStateRequest(&request, state));

    EXPECT_EQ(state, 1);
}

TEST_F(HostLocale, ChangesNoCountOfARecord)
{
    std::vector<OwnerlinkRequestMsg> records;

    Ownerlink::Serialization::ProcMgrCombineMsg(1234, "", records);

    EXPECT_EQ(TextOf(records.at(0)), "1234#");
}

TEST_F(HostLocale, ChangesNoAnswer)
{
    OwnerlinkResponseMsg response;
    const auto state = static_cast<AppChangeState>(123456);
    std::map<std::string, AppChangeState> states;
    bool verdict = false;

    EXPECT_TRUE(ProcMgr::SS::PackChangeAppInfoResponse(true, {{"a", state}}, response));
    EXPECT_TRUE(
        Ownerlink::Serialization::UnPackChangeAppInfoResponseMsg(response, verdict, states));

    EXPECT_EQ(TextOf(response), "2#1#a#123456#");
    EXPECT_TRUE(verdict);
    EXPECT_EQ(states, (std::map<std::string, AppChangeState>{{"a", INIT}}));
}

TEST_F(HostLocale, ChangesNoVerifyRecord)
{
    std::vector<OwnerlinkRequestMsg> records;
    std::map<std::string, unsigned int> apps;

    EXPECT_TRUE(Ownerlink::Serialization::PackVerifyRequest({{"a", 123456}}, records));
    EXPECT_TRUE(ProcMgr::SS::UnPackVerifyRequest(records.data(), apps));

    EXPECT_EQ(TextOf(records.at(0)), "1#a#123456#");
    EXPECT_EQ(apps.at("a"), 123456U);
}

}  // namespace
