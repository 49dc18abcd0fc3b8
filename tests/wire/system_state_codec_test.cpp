#include <climits>

#include "tests/wire/codec_test.h"

namespace {

using namespace Ownerlink::Serialization;
using namespace ProcMgr::SS;
using ProcMgr::OwnerlinkRequestMsg;
using ProcMgr::OwnerlinkResponseMsg;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

struct StateRow {
    const char* name;
    int state;
    const char* payload;
    const char* text;
};

void PrintTo(const StateRow& row, std::ostream* out)
{
    *out << row.name;
}

class SystemStates : public PlatformTest, public ::testing::WithParamInterface<StateRow> {};

TEST_P(SystemStates, ArePackedAsANumberAndASeparator)
{
    const StateRow& row = GetParam();
    OwnerlinkRequestMsg request;

    EXPECT_TRUE(PackSetSystemStateRequest(row.state, request));

    const auto expected = RequestWithText(row.payload);
    EXPECT_EQ(std::memcmp(&request, &expected, sizeof(expected)), 0);
    const std::string number = std::to_string(row.state);
    EXPECT_THAT(
        platform::Records(),
        ElementsAre(FromUnit("OwnerlinkSerialization",
                             InfoRecord(54, "PackSetSystemStateRequest state=" + number + "(" +
                                                row.text + ") begin")),
                    ClientMilestone(std::string("PackSetSystemStateRequest str=") + row.payload)));
    EXPECT_THAT(platform::LevelQueries(),
                ElementsAre(platform::LevelQuery{54, 1}, platform::LevelQuery{16777270, 1}));
}

TEST_P(SystemStates, AreUnpackedBehindARecordOfTheFormerState)
{
    const StateRow& row = GetParam();
    const auto request = RequestWithText(row.payload);
    int state = 2;

    EXPECT_TRUE(UnPackSetSystemStateRequest(&request, state));

    EXPECT_EQ(state, row.state);
    EXPECT_THAT(platform::Records(),
                ElementsAre(FromUnit("ownerlink_serialization",
                                     InfoRecord(27, std::string("UnPackSetSystemStateRequest "
                                                                "ssMsgStr=") +
                                                        row.payload + ", state=2(SUSPEND)"))));
}

INSTANTIATE_TEST_SUITE_P(States, SystemStates,
                         ::testing::Values(StateRow{"Off", 0, "0#", "OFF"},
                                           StateRow{"Working", 1, "1#", "WORKING"},
                                           StateRow{"Suspend", 2, "2#", "SUSPEND"},
                                           StateRow{"Upgrade", 3, "3#", "UPGRADE"},
                                           StateRow{"Calibration", 4, "4#", "CALIBRATION"},
                                           StateRow{"AdsExit", 257, "257#", "HIGH_LEVEL_ADS_EXIT"},
                                           StateRow{"SuspendPre", 0x102, "258#", "SUSPEND_PRE"},
                                           StateRow{"Unknown", 5, "5#", ""},
                                           StateRow{"Negative", -1, "-1#", ""},
                                           StateRow{"Most", INT_MAX, "2147483647#", ""},
                                           StateRow{"Least", INT_MIN, "-2147483648#", ""}),
                         [](const auto& row) { return row.param.name; });

class StateWriter : public PlatformTest {};

TEST_F(StateWriter, LeavesTheTimeoutToItsCaller)
{
    OwnerlinkRequestMsg request;
    request.timeout = -1;

    EXPECT_TRUE(PackSetSystemStateRequest(1, request));

    EXPECT_EQ(request.timeout, -1);
    EXPECT_THAT(platform::Calls("memcpy_s"), ElementsAre("memcpy_s(3888,2)=0"));
}

TEST_F(StateWriter, KeepsTheSizeWhenTheCopyFails)
{
    OwnerlinkRequestMsg request;
    platform::SetNext("memcpy_s", {platform::Fails(ERANGE)});

    EXPECT_FALSE(PackSetSystemStateRequest(258, request));

    EXPECT_EQ(request.size, 4U);
    EXPECT_THAT(request.data, Each('\0'));
    EXPECT_THAT(platform::Errors(),
                ElementsAre("PackSetSystemStateRequest memcpy_s failed, err=34"));
    EXPECT_THAT(platform::Milestones(), IsEmpty());
}

struct TextRow {
    const char* name;
    std::string text;
    int state;
};

void PrintTo(const TextRow& row, std::ostream* out)
{
    *out << row.name;
}

// The caller's variable holds 77 before.
class StateTexts : public PlatformTest, public ::testing::WithParamInterface<TextRow> {};

TEST_P(StateTexts, AreTakenWhateverTheExtractionDoes)
{
    const auto request = RequestWithText(GetParam().text);
    int state = 77;

    EXPECT_TRUE(UnPackSetSystemStateRequest(&request, state));

    EXPECT_EQ(state, GetParam().state);
    EXPECT_THAT(platform::Errors(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Texts, StateTexts,
    ::testing::Values(TextRow{"NoSeparator", "2", 2}, TextRow{"OtherSeparator", "2;9", 2},
                      TextRow{"Empty", "", 77}, TextRow{"BlankAlone", " \t\n", 77},
                      TextRow{"BlankInFront", "  2#", 2}, TextRow{"Letters", "abc", 0},
                      TextRow{"SeparatorAlone", "#", 0}, TextRow{"SignAlone", "-#", 0},
                      TextRow{"Plus", "+3#", 3},
                      TextRow{"ZeroByteInFront", std::string(1, '\0'), 0},
                      TextRow{"BeyondMost", "2147483648#", INT_MAX},
                      TextRow{"BeyondLeast", "-2147483649#", INT_MIN}),
    [](const auto& row) { return row.param.name; });

class StateReader : public PlatformTest {};

TEST_F(StateReader, TakesAFullRecord)
{
    const auto request = RequestWithText("3#" + std::string(3886, '7'));
    int state = 0;

    EXPECT_TRUE(UnPackSetSystemStateRequest(&request, state));

    EXPECT_EQ(request.size, 3888U);
    EXPECT_EQ(state, 3);
}

TEST_F(StateReader, ReadsNoFurtherThanTheSize)
{
    const auto request = RecordOfSize<OwnerlinkRequestMsg>(1, "12#");
    int state = 0;

    EXPECT_TRUE(UnPackSetSystemStateRequest(&request, state));

    EXPECT_EQ(state, 1);
}

TEST_F(StateReader, RefusesASizeBeyondTheRecord)
{
    for (const uint64_t size : {uint64_t{3889}, UINT64_MAX}) {
        const auto request = RecordOfSize<OwnerlinkRequestMsg>(size, "2#");
        int state = 77;

        EXPECT_FALSE(UnPackSetSystemStateRequest(&request, state));

        EXPECT_EQ(state, 77);
        EXPECT_THAT(
            platform::Records(),
            ElementsAre(ServerError("request size=" + std::to_string(size) + " bytes is invalid")));
        platform::ClearHistory();
    }
}

class VerdictWriter : public PlatformTest {};

TEST_F(VerdictWriter, WritesADigitAndASeparator)
{
    for (const bool verdict : {true, false}) {
        OwnerlinkResponseMsg response;

        EXPECT_TRUE(PackSetSystemStateResponse(verdict, response));

        const auto expected = ResponseWithText(verdict ? "1#" : "0#");
        EXPECT_EQ(std::memcmp(&response, &expected, sizeof(expected)), 0);
    }
    EXPECT_THAT(platform::Records(), IsEmpty());
    EXPECT_THAT(platform::Calls("memcpy_s"),
                ElementsAre("memcpy_s(3888,2)=0", "memcpy_s(3888,2)=0"));
}

TEST_F(VerdictWriter, TakesTheSizeBackWhenTheCopyFails)
{
    OwnerlinkResponseMsg response;
    platform::SetNext("memcpy_s", {platform::Fails(EINVAL)});

    EXPECT_FALSE(PackSetSystemStateResponse(true, response));

    EXPECT_EQ(response.size, 0U);
    EXPECT_THAT(platform::Records(),
                ElementsAre(ServerError("PackSetSystemStateResponse failed respStr=1# "
                                        "respStrSize=2")));
}

struct VerdictRow {
    const char* name;
    std::string text;
    bool before;
    bool verdict;
};

void PrintTo(const VerdictRow& row, std::ostream* out)
{
    *out << row.name;
}

class VerdictTexts : public PlatformTest, public ::testing::WithParamInterface<VerdictRow> {};

TEST_P(VerdictTexts, AreTakenWhateverTheExtractionDoes)
{
    const VerdictRow& row = GetParam();
    bool verdict = row.before;

    EXPECT_TRUE(UnPackSetSystemStateResponse(ResponseWithText(row.text), verdict));

    EXPECT_EQ(verdict, row.verdict);
    EXPECT_THAT(
        platform::Records(),
        ElementsAre(ClientMilestone("UnPackSetSystemStateResponse ssRespMsgStr=" + row.text +
                                    (row.verdict ? " ret=1(SUCCESS)" : " ret=0(FAILED)"))));
}

INSTANTIATE_TEST_SUITE_P(Texts, VerdictTexts,
                         ::testing::Values(VerdictRow{"Good", "1#", false, true},
                                           VerdictRow{"Bad", "0#", true, false},
                                           VerdictRow{"NoSeparator", "1", false, true},
                                           VerdictRow{"OtherNumber", "7#", false, true},
                                           VerdictRow{"Negative", "-1#", false, true},
                                           VerdictRow{"Letters", "x#", true, false},
                                           VerdictRow{"Word", "true#", true, false},
                                           VerdictRow{"SeparatorAlone", "#", true, false},
                                           VerdictRow{"BlankInFront", " 1#", false, true},
                                           VerdictRow{"BlankAlone", " ", true, true}),
                         [](const auto& row) { return row.param.name; });

class VerdictReader : public PlatformTest {};

TEST_F(VerdictReader, TakesAFullRecord)
{
    bool verdict = false;

    EXPECT_TRUE(
        UnPackSetSystemStateResponse(RecordOfSize<OwnerlinkResponseMsg>(3888, "1#"), verdict));

    EXPECT_TRUE(verdict);
}

TEST_F(VerdictReader, RefusesNoneAndTooManyBytes)
{
    for (const uint64_t size : {0U, 3889U}) {
        for (const bool before : {true, false}) {
            bool verdict = before;

            EXPECT_FALSE(UnPackSetSystemStateResponse(
                RecordOfSize<OwnerlinkResponseMsg>(size, before ? "0#" : "1#"), verdict));

            EXPECT_EQ(verdict, before);
            EXPECT_THAT(platform::Records(),
                        ElementsAre(ClientError("UnPackSetSystemStateResponse failed resp size=" +
                                                std::to_string(size) + " bytes")));
            platform::ClearHistory();
        }
    }
}

}  // namespace
