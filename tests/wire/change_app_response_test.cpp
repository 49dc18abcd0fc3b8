// The answer to a change, on both sides.
#include "tests/wire/codec_test.h"

namespace {

using namespace Ownerlink::Serialization;
using namespace ProcMgr::SS;
using ProcMgr::OwnerlinkResponseMsg;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;
using ::testing::SizeIs;

using States = std::map<std::string, AppChangeState>;

const std::string pieceHead =
    "ChangeAppState owner pack response app#(SU-0,TERM_F,START_F,RESTART_F,INIT)#: ";

RecordMatcher ServerInfo(const std::string& text)
{
    return FromUnit("ownerlink_serialization", InfoRecord(27, text));
}

class ChangeAnswerWriter : public PlatformTest {
protected:
    OwnerlinkResponseMsg response_;
};

TEST_F(ChangeAnswerWriter, CountsTheVerdictAsAPiece)
{
    EXPECT_TRUE(PackChangeAppInfoResponse(true, {{"a", SUCCESS}, {"b", START_FAILED}}, response_));

    const auto expected = ResponseWithText("3#1#a#0#b#2#");
    EXPECT_EQ(std::memcmp(&response_, &expected, sizeof(expected)), 0);
    EXPECT_THAT(platform::Records(),
                ElementsAre(ServerInfo(pieceHead + "a#0#"), ServerInfo(pieceHead + "b#2#"),
                            ServerMilestone(BootTraced(
                                "SS_SERVER", "ChangeAppState owner pack response:3#1#a#0#b#2#"))));
    EXPECT_THAT(platform::Calls("memcpy_s"), ElementsAre("memcpy_s(3888,12)=0"));
}

TEST_F(ChangeAnswerWriter, IsSmallestWithoutApplications)
{
    EXPECT_TRUE(PackChangeAppInfoResponse(false, {}, response_));

    EXPECT_EQ(TextOf(response_), "1#0#");
    EXPECT_EQ(response_.size, 4U);
}

TEST_F(ChangeAnswerWriter, KeepsTheOrderAndRepeatsOfTheList)
{
    EXPECT_TRUE(PackChangeAppInfoResponse(
        true, {{"b", INIT}, {"a", START_FAILED_BY_EIO}, {"b", PROCESSING}, {"", SUCCESS}},
        response_));

    EXPECT_EQ(TextOf(response_), "5#1#b#4#a#6#b#5##0#");
}

TEST_F(ChangeAnswerWriter, WritesAnyState)
{
    const auto unknown = static_cast<AppChangeState>(UINT32_MAX);

    EXPECT_TRUE(PackChangeAppInfoResponse(true, {{"a", unknown}}, response_));

    EXPECT_EQ(TextOf(response_), "2#1#a#4294967295#");
}

TEST_F(ChangeAnswerWriter, HasNoLimitOnTheNumberOfApplications)
{
    EXPECT_TRUE(PackChangeAppInfoResponse(
        true, std::vector<AppChangeInfo>(960, AppChangeInfo("a", SUCCESS)), response_));

    EXPECT_EQ(response_.size, 3846U);
    EXPECT_EQ(TextOf(response_).substr(0, 10), "961#1#a#0#");
}

TEST_F(ChangeAnswerWriter, FillsTheRecordToItsLastByte)
{
    const std::string name(3881, 'n');

    EXPECT_TRUE(PackChangeAppInfoResponse(true, {{name, SUCCESS}}, response_));

    EXPECT_EQ(response_.size, 3888U);
    EXPECT_EQ(TextOf(response_), "2#1#" + name + "#0#");
}

TEST_F(ChangeAnswerWriter, FailsByTheCopyBeyondThatAndLeavesTheSize)
{
    const std::string name(3882, 'n');

    EXPECT_FALSE(PackChangeAppInfoResponse(true, {{name, SUCCESS}}, response_));

    EXPECT_EQ(response_.size, 3889U);
    EXPECT_THAT(response_.data, Each('\0'));
    EXPECT_THAT(platform::Records(),
                ElementsAre(ServerInfo(pieceHead + name + "#0#"),
                            ServerError("memcpy_s failed, copy respStr=2#1#" + name +
                                        "#0# respStrSize=3889 failed")));
}

TEST_F(ChangeAnswerWriter, RefusesAPieceBeyondAnyRecordAndLeavesTheRecord)
{
    const std::string name(3885, 'n');

    EXPECT_FALSE(PackChangeAppInfoResponse(true, {{"a", SUCCESS}, {name, SUCCESS}}, response_));

    const OwnerlinkResponseMsg untouched;
    EXPECT_EQ(std::memcmp(&response_, &untouched, sizeof(untouched)), 0);
    EXPECT_THAT(platform::Records(),
                ElementsAre(ServerInfo(pieceHead + "a#0#"),
                            ServerError("ChangeAppState owner pack response failed "
                                        "size=3888 beyond 3888!!")));
    EXPECT_THAT(platform::Calls("memcpy_s"), IsEmpty());
}

TEST_F(ChangeAnswerWriter, TakesAPieceOf3887BytesAndFailsByTheCopy)
{
    EXPECT_FALSE(PackChangeAppInfoResponse(true, {{std::string(3884, 'n'), SUCCESS}}, response_));

    EXPECT_EQ(response_.size, 3891U);
}

struct AnswerRow {
    const char* name;
    std::string payload;
    bool before;
    bool verdict;
    States states;
};

void PrintTo(const AnswerRow& row, std::ostream* out)
{
    *out << row.name;
}

constexpr auto rowName = [](const auto& row) {
    return row.param.name;
};

class ChangeAnswers : public PlatformTest, public ::testing::WithParamInterface<AnswerRow> {};

TEST_P(ChangeAnswers, AreReadAsThisVerdictAndTheseStates)
{
    const AnswerRow& row = GetParam();
    bool verdict = row.before;
    States states;

    EXPECT_TRUE(UnPackChangeAppInfoResponseMsg(ResponseWithText(row.payload), verdict, states));

    EXPECT_EQ(verdict, row.verdict);
    EXPECT_EQ(states, row.states);
    EXPECT_THAT(platform::Records(),
                ElementsAre(ClientMilestone(
                    BootTraced("SS_AGENT", "ChangeAppState unpack response: " + row.payload))));
}

INSTANTIATE_TEST_SUITE_P(
    Whole, ChangeAnswers,
    ::testing::Values(
        AnswerRow{"Two", "3#1#a#0#b#2#", false, true, {{"a", SUCCESS}, {"b", START_FAILED}}},
        AnswerRow{"Good", "1#1#", false, true, {}}, AnswerRow{"Bad", "1#0#", true, false, {}},
        AnswerRow{"OneTwice", "3#1#a#0#a#1#", false, true, {{"a", TERM_FAILED}}},
        AnswerRow{"EmptyName", "2#1##3#", false, true, {{"", RESTART_FAILED}}},
        AnswerRow{"LastState", "2#1#a#6#", false, true, {{"a", START_FAILED_BY_EIO}}},
        AnswerRow{"StateAboveTheLast", "2#1#a#7#", false, true, {{"a", INIT}}},
        AnswerRow{"LargestState", "2#1#a#4294967295#", false, true, {{"a", INIT}}},
        AnswerRow{"NegativeState", "2#1#a#-1#", false, true, {{"a", INIT}}},
        AnswerRow{"BytesBehind", "2#1#a#0#b#0#", false, true, {{"a", SUCCESS}}},
        AnswerRow{"NoLastSeparator", "2#1#a#1", false, true, {{"a", TERM_FAILED}}},
        AnswerRow{"OtherSeparators", "2;1;a#1;", false, true, {{"a", TERM_FAILED}}}),
    rowName);

// An end that comes early, or a field that is no number, is not seen: what is missing is stored
// under the empty name.
INSTANTIATE_TEST_SUITE_P(
    CutShort, ChangeAnswers,
    ::testing::Values(
        AnswerRow{"CountAlone", "1", true, true, {}},
        AnswerRow{
            "SecondApplication", "3#1#a#2#", false, true, {{"a", START_FAILED}, {"", SUCCESS}}},
        AnswerRow{"AllApplications", "3#0#", true, false, {{"", SUCCESS}}},
        AnswerRow{"BehindAName", "2#1#a", false, true, {{"a", SUCCESS}}},
        AnswerRow{"VerdictIsNoDigit", "2#x#a#0#", true, false, {{"", SUCCESS}}},
        AnswerRow{"VerdictIsAnotherNumber", "2#7#a#2#", false, true, {{"", SUCCESS}}},
        AnswerRow{"StateIsNoNumber", "3#1#a#x#b#2#", false, true, {{"a", SUCCESS}, {"", SUCCESS}}},
        AnswerRow{"StateBeyondItsRange",
                  "3#1#a#4294967296#b#2#",
                  false,
                  true,
                  {{"a", INIT}, {"", SUCCESS}}}),
    rowName);

struct RefusalRow {
    const char* name;
    std::string payload;
    bool before;
    bool verdict;
    const char* count;
};

void PrintTo(const RefusalRow& row, std::ostream* out)
{
    *out << row.name;
}

class ChangeAnswerCounts : public PlatformTest, public ::testing::WithParamInterface<RefusalRow> {};

TEST_P(ChangeAnswerCounts, AreRefusedBehindTheVerdict)
{
    const RefusalRow& row = GetParam();
    bool verdict = row.before;
    States states;

    EXPECT_FALSE(UnPackChangeAppInfoResponseMsg(ResponseWithText(row.payload), verdict, states));

    EXPECT_EQ(verdict, row.verdict);
    EXPECT_THAT(states, IsEmpty());
    EXPECT_THAT(platform::Records(),
                ElementsAre(ClientMilestone(::testing::_),
                            ClientError("ChangeAppState unpack response appSize=" +
                                        std::string(row.count) + ", should at [1, 1024]")));
}

INSTANTIATE_TEST_SUITE_P(
    Counts, ChangeAnswerCounts,
    ::testing::Values(RefusalRow{"NoneAndGood", "0#1#", false, true, "0"},
                      RefusalRow{"NoneAndBad", "0#0#", true, false, "0"},
                      RefusalRow{"TooMany", "1025#1#", false, true, "1025"},
                      RefusalRow{"Negative", "-1#1#", false, true, "4294967295"},
                      RefusalRow{"BeyondItsRange", "4294967296#1#", false, false, "4294967295"},
                      RefusalRow{"NoNumber", "x#1#", false, false, "0"}),
    rowName);

class ChangeAnswerReader : public PlatformTest {
protected:
    bool verdict_ = false;
    States states_;
};

TEST_F(ChangeAnswerReader, Takes1024Pieces)
{
    EXPECT_TRUE(UnPackChangeAppInfoResponseMsg(ResponseWithText("1024#1#a#1#"), verdict_, states_));

    EXPECT_THAT(states_, ElementsAre(Pair("", SUCCESS), Pair("a", TERM_FAILED)));
}

TEST_F(ChangeAnswerReader, TakesAFullRecord)
{
    const std::string name(3881, 'n');

    EXPECT_TRUE(
        UnPackChangeAppInfoResponseMsg(ResponseWithText("2#1#" + name + "#2#"), verdict_, states_));

    EXPECT_THAT(states_, ElementsAre(Pair(name, START_FAILED)));
}

TEST_F(ChangeAnswerReader, ReadsNoFurtherThanTheSize)
{
    EXPECT_TRUE(UnPackChangeAppInfoResponseMsg(RecordOfSize<OwnerlinkResponseMsg>(5, "2#1#abc#2#"),
                                               verdict_, states_));

    EXPECT_THAT(states_, ElementsAre(Pair("a", SUCCESS)));
}

TEST_F(ChangeAnswerReader, OverwritesOnlyTheNamesOfTheAnswer)
{
    states_ = {{"a", INIT}, {"kept", INIT}};

    EXPECT_TRUE(
        UnPackChangeAppInfoResponseMsg(ResponseWithText("3#1#a#0#new#1#"), verdict_, states_));

    EXPECT_THAT(states_,
                ElementsAre(Pair("a", SUCCESS), Pair("kept", INIT), Pair("new", TERM_FAILED)));
}

TEST_F(ChangeAnswerReader, RefusesNoneAndTooManyBytes)
{
    for (const uint64_t size : {0U, 3889U}) {
        EXPECT_FALSE(UnPackChangeAppInfoResponseMsg(
            RecordOfSize<OwnerlinkResponseMsg>(size, "2#1#a#0#"), verdict_, states_));

        EXPECT_FALSE(verdict_);
        EXPECT_THAT(states_, SizeIs(0));
        EXPECT_THAT(platform::Records(),
                    ElementsAre(ClientError("response size=" + std::to_string(size) +
                                            " bytes is invalid")));
        platform::ClearHistory();
    }
}

TEST_F(ChangeAnswerReader, ReadsWhatTheOwnerWrites)
{
    OwnerlinkResponseMsg response;
    ASSERT_TRUE(PackChangeAppInfoResponse(true, {{"b", PROCESSING}, {"a", SUCCESS}}, response));

    EXPECT_TRUE(UnPackChangeAppInfoResponseMsg(response, verdict_, states_));

    EXPECT_TRUE(verdict_);
    EXPECT_THAT(states_, ElementsAre(Pair("a", SUCCESS), Pair("b", PROCESSING)));
}

}  // namespace
