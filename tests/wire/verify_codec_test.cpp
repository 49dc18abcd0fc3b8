#include "tests/wire/codec_test.h"

namespace {

using namespace Ownerlink::Serialization;
using namespace ProcMgr::SS;
using ProcMgr::OwnerlinkRequestMsg;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;
using ::testing::SizeIs;

using Apps = std::map<std::string, unsigned int>;

// A name whose pair with a number of one digit has `length` bytes.
std::string NameForPairOf(std::size_t length, char first = 'n')
{
    return first + std::string(length - 4, 'n');
}

class VerifyWriter : public PlatformTest {
protected:
    bool Pack(const Apps& apps) { return PackVerifyRequest(apps, records_); }

    std::vector<OwnerlinkRequestMsg> records_;
};

RecordMatcher BeginRecord()
{
    return FromUnit("OwnerlinkSerialization", InfoRecord(54, "PackVerifyRequest begin."));
}

TEST_F(VerifyWriter, MakesNoRecordOfAnEmptyMap)
{
    EXPECT_TRUE(Pack({}));

    EXPECT_THAT(records_, IsEmpty());
    EXPECT_THAT(platform::Records(), ElementsAre(BeginRecord()));
}

TEST_F(VerifyWriter, WritesThePairsInTheOrderOfTheirNames)
{
    EXPECT_TRUE(Pack({{"b", 2}, {"a", 0}, {"\xff", 1}, {"", UINT32_MAX}}));

    ASSERT_THAT(records_, SizeIs(1));
    EXPECT_EQ(TextOf(records_[0]), "4##4294967295#a#0#b#2#\xff#1#");
}

TEST_F(VerifyWriter, FillsANewRecordAndTellsItsText)
{
    EXPECT_TRUE(Pack({{"a", 0}, {"b", 2}}));

    ASSERT_THAT(records_, SizeIs(1));
    const auto expected = RequestWithText("2#a#0#b#2#");
    EXPECT_EQ(std::memcmp(records_.data(), &expected, sizeof(expected)), 0);
    EXPECT_THAT(
        platform::Records(),
        ElementsAre(BeginRecord(), ClientMilestone("ConstructVerifyRequest str=<2#a#0#b#2#,10>")));
    EXPECT_THAT(platform::Calls("memcpy_s"), ElementsAre("memcpy_s(3887,10)=0"));
}

TEST_F(VerifyWriter, AppendsToWhatIsThere)
{
    records_.push_back(RequestWithText("old"));

    EXPECT_TRUE(Pack({{"a", 0}}));

    ASSERT_THAT(records_, SizeIs(2));
    EXPECT_EQ(TextOf(records_[0]), "old");
}

TEST_F(VerifyWriter, KeepsPairsOf3872BytesInOneRecord)
{
    const std::string longName = NameForPairOf(3868);

    EXPECT_TRUE(Pack({{"a", 1}, {longName, 2}}));

    ASSERT_THAT(records_, SizeIs(1));
    EXPECT_EQ(TextOf(records_[0]), "2#a#1#" + longName + "#2#");
    EXPECT_EQ(records_[0].size, 3874U);
}

TEST_F(VerifyWriter, OpensASecondRecordOneByteLater)
{
    const std::string longName = NameForPairOf(3869);

    EXPECT_TRUE(Pack({{"a", 1}, {longName, 2}}));

    ASSERT_THAT(records_, SizeIs(2));
    EXPECT_EQ(TextOf(records_[0]), "1#a#1#");
    EXPECT_EQ(TextOf(records_[1]), "1#" + longName + "#2#");
}

TEST_F(VerifyWriter, KeepsTheOrderAcrossRecordsAndLooksAtNoLength)
{
    EXPECT_TRUE(Pack({{NameForPairOf(3000, 'a'), 0}, {NameForPairOf(2000, 'b'), 1}, {"c", 2}}));

    ASSERT_THAT(records_, SizeIs(2));
    EXPECT_EQ(TextOf(records_[0]), "1#" + NameForPairOf(3000, 'a') + "#0#");
    EXPECT_EQ(TextOf(records_[1]), "2#" + NameForPairOf(2000, 'b') + "#1#c#2#");
}

TEST_F(VerifyWriter, MakesOneRecordOfASinglePairOf3872Bytes)
{
    EXPECT_TRUE(Pack({{NameForPairOf(3872), 0}}));

    EXPECT_THAT(records_, SizeIs(1));
}

// The flush ahead of an oversized pair does not look whether there is anything to flush.
TEST_F(VerifyWriter, SendsAnEmptyRecordAheadOfAnOversizedFirstPair)
{
    const std::string name = NameForPairOf(3873);

    EXPECT_TRUE(Pack({{name, 0}}));

    ASSERT_THAT(records_, SizeIs(2));
    EXPECT_EQ(TextOf(records_[0]), "0#");
    EXPECT_EQ(TextOf(records_[1]), "1#" + name + "#0#");
}

TEST_F(VerifyWriter, TakesAPairOf3885Bytes)
{
    EXPECT_TRUE(Pack({{NameForPairOf(3885), 0}}));

    ASSERT_THAT(records_, SizeIs(2));
    EXPECT_EQ(records_[1].size, 3887U);
    EXPECT_THAT(platform::Errors(), IsEmpty());
}

TEST_F(VerifyWriter, FailsWithAPairOf3886BytesAndLeavesTheEmptyRecord)
{
    EXPECT_FALSE(Pack({{NameForPairOf(3886), 0}}));

    ASSERT_THAT(records_, SizeIs(1));
    EXPECT_EQ(TextOf(records_[0]), "0#");
    EXPECT_THAT(platform::Records(),
                ElementsAre(BeginRecord(), ClientMilestone("ConstructVerifyRequest str=<0#,2>"),
                            ClientError("ConstructVerifyRequest memcpy_s failed, err=" +
                                        std::to_string(ERANGE))));
}

TEST_F(VerifyWriter, EndsAtTheFirstRecordThatFails)
{
    EXPECT_FALSE(Pack({{"a", 0}, {NameForPairOf(3886, 'b'), 0}, {"c", 0}}));

    ASSERT_THAT(records_, SizeIs(1));
    EXPECT_EQ(TextOf(records_[0]), "1#a#0#");
}

TEST_F(VerifyWriter, EndsWhereTheFlushFails)
{
    platform::SetNext("memcpy_s", {platform::Fails(EINVAL)});

    EXPECT_FALSE(Pack({{NameForPairOf(3873), 0}}));

    EXPECT_THAT(records_, IsEmpty());
    EXPECT_THAT(platform::Errors(), ElementsAre("ConstructVerifyRequest memcpy_s failed, err=22"));
    EXPECT_THAT(platform::Calls("memcpy_s"), SizeIs(1));
}

struct PairsRow {
    const char* name;
    std::string payload;
    Apps apps;
    const char* count;
};

void PrintTo(const PairsRow& row, std::ostream* out)
{
    *out << row.name;
}

class VerifyPayloads : public PlatformTest, public ::testing::WithParamInterface<PairsRow> {};

TEST_P(VerifyPayloads, AreReadAsThesePairs)
{
    const PairsRow& row = GetParam();
    const auto request = RequestWithText(row.payload);
    Apps apps;

    EXPECT_TRUE(UnPackVerifyRequest(&request, apps));

    EXPECT_EQ(apps, row.apps);
    const auto info = [](const std::string& text) {
        return FromUnit("ownerlink_serialization", InfoRecord(27, text));
    };
    EXPECT_THAT(platform::Records(),
                ElementsAre(info("UnPackVerifyRequest ssMsgStr=<" + row.payload + "," +
                                 std::to_string(row.payload.size()) + ">"),
                            info(std::string("UnPackVerifyRequest appInfo size=") + row.count)));
}

INSTANTIATE_TEST_SUITE_P(
    Payloads, VerifyPayloads,
    ::testing::Values(
        PairsRow{"Two", "2#a#0#b#2#", {{"a", 0}, {"b", 2}}, "2"}, PairsRow{"None", "0#", {}, "0"},
        PairsRow{"Empty", "", {}, "0"}, PairsRow{"NoNumber", "x#a#0#", {}, "0"},
        PairsRow{"OneTwice", "2#a#0#a#2#", {{"a", 2}}, "2"},
        PairsRow{"EmptyName", "1##1#", {{"", 1}}, "1"},
        PairsRow{"AnyOption", "1#a#77#", {{"a", 77}}, "1"},
        PairsRow{"SignedOption", "1#a#-1#", {{"a", UINT32_MAX}}, "1"},
        PairsRow{"BytesBehind", "1#a#0#b#0#", {{"a", 0}}, "1"},
        PairsRow{"OtherSeparators", "1;a#2;", {{"a", 2}}, "1"},
        PairsRow{"NoLastSeparator", "1#a#2", {{"a", 2}}, "1"},
        PairsRow{"CutBeforeTheSecond", "2#a#1#", {{"a", 1}, {"", 0}}, "2"},
        PairsRow{"CutBehindAName", "1#a", {{"a", 0}}, "1"},
        PairsRow{"CountAlone", "3", {{"", 0}}, "3"},
        PairsRow{"OptionIsNoNumber", "2#a#x#b#2#", {{"a", 0}, {"", 0}}, "2"},
        PairsRow{"OptionBeyondItsRange", "2#a#4294967296#b#2#", {{"a", UINT32_MAX}, {"", 0}}, "2"}),
    [](const auto& row) { return row.param.name; });

class VerifyReader : public PlatformTest {
protected:
    bool UnPack(const OwnerlinkRequestMsg& request) { return UnPackVerifyRequest(&request, apps_); }

    Apps apps_;
};

TEST_F(VerifyReader, AddsToWhatIsThere)
{
    apps_ = {{"a", 0}, {"kept", 1}};

    EXPECT_TRUE(UnPack(RequestWithText("2#a#2#b#1#")));

    EXPECT_THAT(apps_, ElementsAre(Pair("a", 2), Pair("b", 1), Pair("kept", 1)));
}

TEST_F(VerifyReader, Takes1024Pairs)
{
    EXPECT_TRUE(UnPack(RequestWithText("1024#a#1#")));

    EXPECT_THAT(apps_, ElementsAre(Pair("", 0), Pair("a", 1)));
}

TEST_F(VerifyReader, RefusesMoreThan1024Pairs)
{
    for (const std::string count : {"1025", "18446744073709551615"}) {
        EXPECT_FALSE(UnPack(RequestWithText(count + "#a#1#")));

        EXPECT_THAT(apps_, IsEmpty());
        EXPECT_THAT(platform::Errors(),
                    ElementsAre("UnPackVerifyRequest appInfo size=" + count + " > 1024"));
        platform::ClearHistory();
    }
}

TEST_F(VerifyReader, TakesANegativeCountForALargeOne)
{
    EXPECT_FALSE(UnPack(RequestWithText("-1#a#1#")));

    EXPECT_THAT(platform::Errors(),
                ElementsAre("UnPackVerifyRequest appInfo size=18446744073709551615 > 1024"));
}

TEST_F(VerifyReader, TakesAFullRecord)
{
    const std::string name(3883, 'n');

    EXPECT_TRUE(UnPack(RequestWithText("1#" + name + "#2#")));

    EXPECT_THAT(apps_, ElementsAre(Pair(name, 2)));
}

TEST_F(VerifyReader, RefusesASizeBeyondTheRecord)
{
    EXPECT_FALSE(UnPack(RecordOfSize<OwnerlinkRequestMsg>(3889, "1#a#1#")));

    EXPECT_THAT(apps_, IsEmpty());
    EXPECT_THAT(platform::Records(),
                ElementsAre(ServerError("request size=3889 bytes is invalid")));
}

TEST_F(VerifyReader, GathersTheRecordsThatTheManagerWrites)
{
    Apps sent;
    for (unsigned int i = 0; i < 1000; ++i) {
        sent["application_" + std::to_string(i)] = i % 3;
    }
    std::vector<OwnerlinkRequestMsg> records;
    ASSERT_TRUE(PackVerifyRequest(sent, records));

    for (const OwnerlinkRequestMsg& record : records) {
        EXPECT_TRUE(UnPack(record));
    }

    EXPECT_EQ(apps_, sent);
    EXPECT_THAT(records, SizeIs(5));
}

}  // namespace
