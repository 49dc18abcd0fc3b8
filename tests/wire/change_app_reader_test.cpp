// Changes on the owner's side: from a record to applications.
#include <sstream>

#include "tests/wire/codec_test.h"

namespace {

using namespace ProcMgr::SS;
using ProcMgr::OwnerlinkRequestMsg;
using ::testing::AllOf;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;
using ::testing::SizeIs;

std::string Joined(const std::vector<std::string>& texts)
{
    std::string joined;
    for (const std::string& text : texts) {
        joined += (joined.empty() ? "'" : ",'") + text + "'";
    }
    return joined;
}

// Such as "a 0 ['x','y'] {1:['v']}".
std::string Described(const AppInfo& app)
{
    std::string text =
        app.appName + " " + std::to_string(app.optionType) + " [" + Joined(app.args) + "] {";
    for (const auto& [index, values] : app.dynamicPara) {
        text += std::to_string(index) + ":[" + Joined(values) + "]";
    }
    return text + "}";
}

std::vector<std::string> Described(const std::vector<AppInfo>& apps)
{
    std::vector<std::string> texts;
    for (const AppInfo& app : apps) {
        texts.push_back(Described(app));
    }
    return texts;
}

struct PayloadRow {
    const char* name;
    std::string payload;
    std::vector<std::string> apps;
};

void PrintTo(const PayloadRow& row, std::ostream* out)
{
    *out << row.name;
}

constexpr auto rowName = [](const auto& row) {
    return row.param.name;
};

class ChangePayloads : public PlatformTest, public ::testing::WithParamInterface<PayloadRow> {};

TEST_P(ChangePayloads, AreReadAsTheseApplications)
{
    const PayloadRow& row = GetParam();
    auto request = RequestWithText(row.payload);
    request.timeout = -1;
    std::vector<AppInfo> apps;

    EXPECT_TRUE(UnPackChangeAppInfoRequestMsg(&request, apps));

    EXPECT_THAT(Described(apps), ElementsAreArray(row.apps));
    EXPECT_THAT(platform::Records(),
                ElementsAre(ServerMilestone(BootTraced(
                    "SS_SERVER", "ChangeAppState owner unpack request:" +
                                     std::string(row.payload.c_str()) + " timeout=-1 ms"))));
}

INSTANTIATE_TEST_SUITE_P(
    Whole, ChangePayloads,
    ::testing::Values(PayloadRow{"Full", "1#a#0#2#x#y#1#1#1#v#", {"a 0 ['x','y'] {1:['v']}"}},
                      PayloadRow{"Plain", "1#a#1#0#0#", {"a 1 [] {}"}},
                      PayloadRow{"Two", "2#a#0#0#0#b#2#1#x#0#", {"a 0 [] {}", "b 2 ['x'] {}"}},
                      PayloadRow{"None", "0#", {}},
                      PayloadRow{"BytesBehind", "1#a#0#0#0#b#0#0#0#", {"a 0 [] {}"}},
                      PayloadRow{"EmptyTexts", "1##0#1##1#0#1##", {" 0 [''] {0:['']}"}},
                      PayloadRow{"UnknownOption", "1#a#9#0#0#", {"a 9 [] {}"}},
                      PayloadRow{"SignedOption", "1#a#-1#0#0#", {"a 4294967295 [] {}"}},
                      PayloadRow{"SignedCount", "+1#a#0#0#0#", {"a 0 [] {}"}},
                      PayloadRow{"OtherSeparators", "1;a#2;1;x#1;0;1;v#", {"a 2 ['x'] {0:['v']}"}},
                      PayloadRow{"BlanksBesideNumbers", " 1 # a # 2 # 1 #x#0#", {" a  2 ['x'] {}"}},
                      PayloadRow{"ZeroByteInAName",
                                 std::string("1#a\0b#0#0#0#", 12),
                                 {std::string("a\0b 0 [] {}", 11)}}),
    rowName);

INSTANTIATE_TEST_SUITE_P(
    Parameters, ChangePayloads,
    ::testing::Values(
        PayloadRow{"LastIndex", "1#a#0#0#1#2#1#v#", {"a 0 [] {2:['v']}"}},
        PayloadRow{"NegativeIndex", "1#a#0#0#1#-1#1#v#", {"a 0 [] {-1:['v']}"}},
        PayloadRow{"LeastIndex", "1#a#0#0#1#-2147483648#1#v#", {"a 0 [] {-2147483648:['v']}"}},
        PayloadRow{"Three", "1#a#0#0#3#0#1#x#1#1#y#2#1#z#", {"a 0 [] {0:['x']1:['y']2:['z']}"}},
        PayloadRow{"NoValuesLeaveNoEntry", "1#a#0#0#1#1#0#", {"a 0 [] {}"}},
        PayloadRow{
            "OneIndexTwiceIsMerged", "1#a#0#0#2#1#1#x#1#2#y#z#", {"a 0 [] {1:['x','y','z']}"}},
        PayloadRow{"OfEachApplicationAlone",
                   "2#a#0#0#1#1#1#v#b#0#0#0#",
                   {"a 0 [] {1:['v']}", "b 0 [] {}"}}),
    rowName);

// An end that comes early is not seen: what is missing reads as 0 and as empty.
INSTANTIATE_TEST_SUITE_P(
    CutShort, ChangePayloads,
    ::testing::Values(PayloadRow{"Empty", "", {}},
                      PayloadRow{"CountAlone", "2", {" 0 [] {}", " 0 [] {}"}},
                      PayloadRow{"NoNumber", "abc", {}},
                      PayloadRow{"SecondApplication", "2#a#0#0#0#", {"a 0 [] {}", " 0 [] {}"}},
                      PayloadRow{"InAName", "1#ab", {"ab 0 [] {}"}},
                      PayloadRow{"BehindAName", "2#a#", {"a 0 [] {}", " 0 [] {}"}},
                      PayloadRow{"InTheArguments", "1#a#0#2#x#", {"a 0 ['x',''] {}"}},
                      PayloadRow{"InAnArgument", "1#a#0#2#x#y", {"a 0 ['x','y'] {}"}},
                      PayloadRow{"InTheValues", "1#a#0#0#1#1#2#v#", {"a 0 [] {1:['v','']}"}},
                      PayloadRow{"InTheParameters", "1#a#0#0#3#1#1#v#", {"a 0 [] {1:['v']}"}}),
    rowName);

// The first field that is no number ends all reading of the record.
INSTANTIATE_TEST_SUITE_P(
    Misaligned, ChangePayloads,
    ::testing::Values(
        PayloadRow{"SeparatorInAName", "2#a#b#0#1#x#0#c#0#0#0#", {"a 0 [] {}", " 0 [] {}"}},
        PayloadRow{"SeparatorInAnArgument", "1#a#0#1#x#y#0#", {"a 0 ['x'] {}"}},
        PayloadRow{"OptionBeyondItsRange", "1#a#4294967296#1#x#0#", {"a 4294967295 [] {}"}},
        PayloadRow{"IndexBelowItsRange", "1#a#0#0#1#-2147483649#1#v#", {"a 0 [] {}"}}),
    rowName);

struct RefusalRow {
    const char* name;
    std::string payload;
    uint32_t level;
    const char* message;
    std::vector<std::string> apps;
};

void PrintTo(const RefusalRow& row, std::ostream* out)
{
    *out << row.name;
}

class ChangeRefusals : public PlatformTest, public ::testing::WithParamInterface<RefusalRow> {};

TEST_P(ChangeRefusals, NameTheBoundAndKeepWhatWasRead)
{
    const RefusalRow& row = GetParam();
    const auto request = RequestWithText(row.payload);
    std::vector<AppInfo> apps;

    EXPECT_FALSE(UnPackChangeAppInfoRequestMsg(&request, apps));

    EXPECT_THAT(Described(apps), ElementsAreArray(row.apps));
    EXPECT_THAT(
        platform::Records(),
        ElementsAre(ServerMilestone(::testing::_),
                    FromUnit("ownerlink_serialization",
                             RecordOf(platform::LogRoute::kDlog, 27, row.level, row.message))));
}

INSTANTIATE_TEST_SUITE_P(
    Counts, ChangeRefusals,
    ::testing::Values(
        RefusalRow{"Applications",
                   "1025#a#0#0#0#",
                   3,
                   "ChangeAppState owner unpack request appSize=1025 > 1024",
                   {}},
        RefusalRow{"NegativeApplications",
                   "-1#",
                   3,
                   "ChangeAppState owner unpack request appSize=18446744073709551615 > 1024",
                   {}},
        RefusalRow{"ApplicationsBeyondTheirRange",
                   "18446744073709551616#",
                   3,
                   "ChangeAppState owner unpack request appSize=18446744073709551615 > 1024",
                   {}},
        RefusalRow{"Arguments",
                   "2#a#1#1025#x#",
                   2,
                   "ChangeAppState owner unpack request argvSize=1025 > 1024",
                   {"a 1 [] {}", " 0 [] {}"}},
        RefusalRow{"NegativeArguments",
                   "1#a#0#-1#",
                   2,
                   "ChangeAppState owner unpack request argvSize=18446744073709551615 > 1024",
                   {"a 0 [] {}"}},
        RefusalRow{"Parameters",
                   "1#a#0#1#x#4#",
                   3,
                   "ChangeAppState unpack request failed, a dynamicParaSize=4 invalid",
                   {"a 0 ['x'] {}"}},
        RefusalRow{"NegativeParameters",
                   "1#a#0#0#-1#",
                   3,
                   "ChangeAppState unpack request failed, a "
                   "dynamicParaSize=18446744073709551615 invalid",
                   {"a 0 [] {}"}},
        RefusalRow{"Index",
                   "1#a#0#0#2#1#1#v#3#1#w#",
                   3,
                   "ChangeAppState unpack request failed, a dynamicPara index=3 invalid",
                   {"a 0 [] {1:['v']}"}},
        RefusalRow{"IndexBeyondItsRange",
                   "1#a#0#0#1#2147483648#1#v#",
                   3,
                   "ChangeAppState unpack request failed, a dynamicPara index=2147483647 invalid",
                   {"a 0 [] {}"}},
        RefusalRow{"Values",
                   "1#a#0#0#1#2#1025#v#",
                   3,
                   "ChangeAppState unpack dynamicPara fail, a index=2 valueNum=1025 invalid",
                   {"a 0 [] {}"}},
        RefusalRow{"NegativeValues",
                   "1#a#0#0#1#-7#-1#v#",
                   3,
                   "ChangeAppState unpack dynamicPara fail, a index=-7 "
                   "valueNum=18446744073709551615 invalid",
                   {"a 0 [] {}"}},
        RefusalRow{"OfTheSecondApplication",
                   "2#a#0#0#0#b#0#0#4#",
                   3,
                   "ChangeAppState unpack request failed, b dynamicParaSize=4 invalid",
                   {"a 0 [] {}", "b 0 [] {}"}}),
    rowName);

class ChangeReader : public PlatformTest {
protected:
    bool UnPack(const std::string& payload)
    {
        const auto request = RequestWithText(payload);
        return UnPackChangeAppInfoRequestMsg(&request, apps_);
    }

    std::vector<AppInfo> apps_;
};

TEST_F(ChangeReader, Takes1024Applications)
{
    EXPECT_TRUE(UnPack("1024#a#0#0#0#"));

    ASSERT_THAT(apps_, SizeIs(1024));
    EXPECT_EQ(apps_.front().appName, "a");
    EXPECT_EQ(Described(apps_.back()), " 0 [] {}");
}

TEST_F(ChangeReader, Takes1024Arguments)
{
    EXPECT_TRUE(UnPack("1#a#0#1024#" + std::string(1024, '#') + "1#0#1#v#"));

    ASSERT_THAT(apps_, SizeIs(1));
    EXPECT_THAT(apps_[0].args, AllOf(SizeIs(1024), Each("")));
    EXPECT_THAT(apps_[0].dynamicPara[0], ElementsAre("v"));
}

TEST_F(ChangeReader, Takes1024Values)
{
    EXPECT_TRUE(UnPack("2#a#0#0#1#0#1024#" + std::string(1024, '#') + "b#0#0#0#"));

    ASSERT_THAT(apps_, SizeIs(2));
    EXPECT_THAT(apps_[0].dynamicPara[0], AllOf(SizeIs(1024), Each("")));
    EXPECT_EQ(apps_[1].appName, "b");
}

TEST_F(ChangeReader, TakesAFullRecord)
{
    const std::string name(3879, 'n');

    EXPECT_TRUE(UnPack("1#" + name + "#0#0#0#"));

    ASSERT_THAT(apps_, SizeIs(1));
    EXPECT_EQ(apps_[0].appName, name);
}

TEST_F(ChangeReader, ReadsNoFurtherThanTheSize)
{
    const auto request = RecordOfSize<OwnerlinkRequestMsg>(3, "1#abc#1#0#0#");

    EXPECT_TRUE(UnPackChangeAppInfoRequestMsg(&request, apps_));

    EXPECT_THAT(Described(apps_), ElementsAre("a 0 [] {}"));
}

TEST_F(ChangeReader, RefusesASizeBeyondTheRecord)
{
    for (const uint64_t size : {uint64_t{3889}, UINT64_MAX}) {
        const auto request = RecordOfSize<OwnerlinkRequestMsg>(size, "1#a#0#0#0#");

        EXPECT_FALSE(UnPackChangeAppInfoRequestMsg(&request, apps_));

        EXPECT_THAT(apps_, IsEmpty());
        EXPECT_THAT(
            platform::Records(),
            ElementsAre(ServerError("request size=" + std::to_string(size) + " bytes is invalid")));
        platform::ClearHistory();
    }
}

TEST_F(ChangeReader, ReplacesTheParametersOfAnApplication)
{
    AppInfo app;
    app.dynamicPara[2] = {"old"};
    std::istringstream stream("1#1#1#v#behind");

    EXPECT_TRUE(UnPackDynamicPara(stream, app));

    EXPECT_EQ(Described(app), " 0 [] {1:['v']}");
    EXPECT_EQ(stream.str().substr(static_cast<std::size_t>(stream.tellg())), "behind");
}

TEST_F(ChangeReader, LeavesTheParametersOfAnApplicationWithABadCount)
{
    AppInfo app;
    app.dynamicPara[2] = {"old"};
    std::istringstream stream("4#");

    EXPECT_FALSE(UnPackDynamicPara(stream, app));

    EXPECT_EQ(Described(app), " 0 [] {2:['old']}");
}

TEST_F(ChangeReader, ReadsWhatTheManagerWrites)
{
    const std::vector<AppInfo> sent = {
        {SD, APPMGR, "app", 2, {"x", ""}, {{-1, {"m"}}, {0, {"u", "v"}}, {2, {"w"}}}}};
    std::vector<std::pair<unsigned int, std::string>> items;
    std::vector<OwnerlinkRequestMsg> records;
    ASSERT_TRUE(Ownerlink::Serialization::PackChangeAppInfoRequest(sent, items));
    ASSERT_TRUE(Ownerlink::Serialization::ProcMgrCombinePiecesMsg(items, records));

    EXPECT_TRUE(UnPackChangeAppInfoRequestMsg(records.data(), apps_));

    EXPECT_EQ(Described(apps_), Described(sent));
    EXPECT_EQ(apps_.at(0).os, DP);  // which do not travel
    EXPECT_EQ(apps_.at(0).groupOwner, DATAMASTER);
}

}  // namespace
