// Queries for the state of applications, whose payloads are binary both ways.
#include <limits>

#include "tests/server/server_test.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr unsigned kQuery = 9;
constexpr size_t kCapacity = 3888;

// A number as it stands in a payload: 4 bytes, the lowest first.
std::string Number(uint32_t number)
{
    std::string bytes(4, '\0');
    for (char& byte : bytes) {
        byte = static_cast<char>(number & 0xFFU);
        number >>= 8U;
    }
    return bytes;
}

std::string Text(const std::string& text)
{
    return Number(static_cast<uint32_t>(text.size())) + text;
}

std::string Entry(const std::string& name, int pid, uint32_t status)
{
    return Text(name) + Number(static_cast<uint32_t>(pid)) + Number(status);
}

// A server whose callback keeps what it is given and answers as told.
class Query : public ServerTest {
protected:
    Query() { SetBootTrace(); }

    void Register()
    {
        server.RegSsQueryAppStateCallBackImpl(
            [this](const std::vector<std::string>& appList, std::vector<AppStatus>& appStatus,
                   int timeOut, int queryType) {
                EXPECT_THAT(appStatus, IsEmpty());
                ++runs;
                names = appList;
                times = {timeOut, queryType};
                appStatus = answers;
                return verdict;
            },
            kResFile);
        platform::ClearHistory();
    }

    int runs = 0;
    std::vector<std::string> names;
    std::vector<int> times;
    std::vector<AppStatus> answers;
    bool verdict = true;
};

TEST_F(Query, PassesNamesTimeOutAndType)
{
    Register();

    Send(kQuery, Number(2) + Text("ab") + Text("c") + Number(7), 70);

    EXPECT_THAT(names, ElementsAre("ab", "c"));
    EXPECT_THAT(times, ElementsAre(70, 7));
}

TEST_F(Query, AnswersWithBinaryEntries)
{
    Register();
    answers = {{"ab", 1234, 3}, {"", -1, 4294967295}};

    const Answer answer = Send(kQuery, Number(1) + Text("ab") + Number(0), 70);

    EXPECT_EQ(answer.Payload(),
              "\1" + Number(2) + Entry("ab", 1234, 3) + Entry("", -1, 4294967295));
    EXPECT_EQ(answer.Size(), 5u + 14u + 12u);
    EXPECT_EQ(answer.result, 39);
    EXPECT_THAT(platform::Records(), ElementsAre(Info(BootTraced("QueryAppState begin")),
                                                 Info("QueryAppState callback end. ret=1"),
                                                 Info(BootTraced("QueryAppState finish"))));
}

TEST_F(Query, RefusalCarriesTheEntriesToo)
{
    Register();
    verdict = false;
    answers = {{"a", 1, 2}, {"b", 3, 4}};

    EXPECT_EQ(Send(kQuery, Number(0) + Number(0)).Payload(),
              std::string(1, '\0') + Number(2) + Entry("a", 1, 2) + Entry("b", 3, 4));

    EXPECT_THAT(platform::Infos(), ::testing::Contains("QueryAppState callback end. ret=0"));
}

TEST_F(Query, WithoutEntriesAnswersFiveBytes)
{
    Register();

    const Answer answer = Send(kQuery, Number(0) + Number(0));

    EXPECT_EQ(answer.Payload(), "\1" + Number(0));
    EXPECT_EQ(answer.result, 13);
}

TEST_F(Query, WithoutACallbackAnswersFiveBytesAndReadsNothing)
{
    const Answer answer = Send(kQuery, "");

    EXPECT_EQ(answer.Payload(), std::string(5, '\0'));
    EXPECT_EQ(answer.result, 13);
    EXPECT_THAT(platform::Records(), ElementsAre(Info(BootTraced("QueryAppState begin")),
                                                 Error("QueryAppState failed, callback is nullptr"),
                                                 Info(BootTraced("QueryAppState finish"))));
}

TEST_F(Query, OfNoNamesStillCalls)
{
    Register();

    Send(kQuery, Number(0) + Number(5));

    EXPECT_EQ(runs, 1);
    EXPECT_THAT(names, IsEmpty());
    EXPECT_THAT(times, ElementsAre(5000, 5));
}

TEST_F(Query, EmptyNameKeepsItsPlace)
{
    Register();

    Send(kQuery, Number(3) + Text("a") + Text("") + Text("b") + Number(0));

    EXPECT_THAT(names, ElementsAre("a", "", "b"));
}

TEST_F(Query, TypeIsPassedAsASignedNumber)
{
    Register();

    Send(kQuery, Number(0) + Number(4294967295), -1);

    EXPECT_THAT(times, ElementsAre(-1, -1));
}

TEST_F(Query, NamesMayHoldAnyByte)
{
    Register();
    const std::string name("a\0#\xff", 4);
    answers = {{name, 0, 0}};

    const Answer answer = Send(kQuery, Number(1) + Text(name) + Number(0));

    EXPECT_THAT(names, ElementsAre(name));
    EXPECT_EQ(answer.Payload(), "\1" + Number(1) + Entry(name, 0, 0));
}

TEST_F(Query, BytesBehindTheTypeAreIgnored)
{
    Register();

    Send(kQuery, Number(0) + Number(5) + "rest");

    EXPECT_THAT(times, ElementsAre(5000, 5));
}

TEST_F(Query, MayFillTheWholePayload)
{
    Register();
    const std::string name(kCapacity - 12, 'n');

    Send(kQuery, Number(1) + Text(name) + Number(9));

    EXPECT_THAT(names, ElementsAre(name));
    EXPECT_THAT(times, ElementsAre(5000, 9));
}

// A request that cannot be read, and the size that it claims.
struct Bad {
    const char* name;
    std::string payload;
    uint64_t size;
};

void PrintTo(const Bad& bad, std::ostream* out)
{
    *out << bad.name;
}

Bad BadOf(const char* name, const std::string& payload)
{
    return {name, payload, payload.size()};
}

class BadQuery : public Query, public ::testing::WithParamInterface<Bad> {};

TEST_P(BadQuery, RunsNoCallbackAndAnswersNothing)
{
    Register();
    answers = {{"a", 1, 2}};
    auto request = RequestOf(GetParam().payload);
    request.size = GetParam().size;

    const Answer answer = Send(kQuery, request);

    EXPECT_EQ(answer.result, 8);
    EXPECT_EQ(answer.Size(), 0u);
    EXPECT_EQ(runs, 0);
    EXPECT_THAT(platform::Records(), ElementsAre(Info(BootTraced("QueryAppState begin")),
                                                 Error("QueryAppState DeserializeMessage failed")));
}

INSTANTIATE_TEST_SUITE_P(
    OfEach, BadQuery,
    ::testing::Values(
        BadOf("Empty", ""), BadOf("CountCutShort", std::string(3, '\0')),
        BadOf("NothingBehindTheCount", Number(0)),
        BadOf("CountAboveTheBytesBehindIt", Number(9) + std::string(8, '\0')),
        BadOf("CountOfAllBits", Number(4294967295) + std::string(8, '\0')),
        BadOf("NameLengthCutShort", Number(1) + "\1"),
        BadOf("NameCutShort", Number(1) + Number(5) + "abcd"),
        BadOf("NameLengthOfAllBits", Number(1) + Number(4294967295) + "abcd"),
        BadOf("NoTypeBehindTheLastName", Number(1) + Text("a")),
        BadOf("TypeCutShort", Number(1) + Text("a") + std::string(3, '\0')),
        BadOf("CountAboveTheNames", Number(3) + Text("a") + Number(0)),
        Bad{"SizeBelowThePayload", Number(1) + Text("a") + Number(0), 12},
        Bad{"NameThatFillsTheRecordUpToTheType", Number(1) + Text(std::string(kCapacity - 8, 'n')),
            kCapacity},
        // A size beyond the record does not make it longer.
        Bad{"NameThatReachesBehindTheRecord",
            Number(1) + Number(kCapacity) + std::string(kCapacity - 8, 'n'), 100000},
        Bad{"TypeBehindTheRecord", Number(1) + Text(std::string(kCapacity - 8, 'n')), 3891},
        Bad{"CountAboveTheRecord", Number(100000), std::numeric_limits<uint64_t>::max()}),
    [](const auto& test) { return test.param.name; });

// The size is taken as it stands up to the record's end: here the type lies in its reserved bytes.
TEST_F(Query, TypeBehindThePayloadIsReadFromTheRecord)
{
    Register();
    auto request = RequestOf(Number(1) + Text(std::string(kCapacity - 8, 'n')));
    request.size = 3892;
    request.reserved = 7;

    Send(kQuery, request);

    EXPECT_THAT(times, ElementsAre(5000, 7));
}

// What the record holds is read whatever size is claimed beyond it.
TEST_F(Query, SizeAboveTheRecordIsTakenForTheRecords)
{
    Register();
    auto request = RequestOf(Number(1) + Text("a") + Number(6));
    request.size = std::numeric_limits<uint64_t>::max();

    Send(kQuery, request);

    EXPECT_THAT(names, ElementsAre("a"));
    EXPECT_THAT(times, ElementsAre(5000, 6));
}

TEST_F(Query, AnswersMayFillTheWholePayload)
{
    Register();
    answers = {{std::string(100, 'a'), 1, 2}, {std::string(kCapacity - 5 - 112 - 12, 'b'), 3, 4}};

    const Answer answer = Send(kQuery, Number(0) + Number(0));

    EXPECT_EQ(answer.result, 3896);
    EXPECT_EQ(answer.Payload(),
              "\1" + Number(2) + Entry(answers[0].appName, 1, 2) + Entry(answers[1].appName, 3, 4));
    EXPECT_THAT(platform::Errors(), IsEmpty());
}

// Each row cuts another field of the last entry.
TEST_F(Query, AnswersOneByteTooLongAreNotSent)
{
    Register();
    for (const unsigned room : {11u, 8u, 7u, 4u, 3u, 1u}) {
        answers = {{std::string(kCapacity - 5 - 12 - room, 'b'), 3, 4}, {"", 5, 6}};
        platform::ClearHistory();

        const Answer answer = Send(kQuery, Number(0) + Number(0));

        EXPECT_EQ(answer.result, 8) << room;
        EXPECT_EQ(answer.Size(), 0u) << room;
        EXPECT_THAT(platform::Records(), ElementsAre(Info(BootTraced("QueryAppState begin")),
                                                     Info("QueryAppState callback end. ret=1"),
                                                     Error("QueryAppState SerializeMessage failed"),
                                                     Info(BootTraced("QueryAppState finish"))));
    }
}

TEST_F(Query, NameTooLongForTheRecordIsNotSent)
{
    Register();
    answers = {{std::string(kCapacity - 5 - 11, 'b'), 3, 4}};
    EXPECT_EQ(Send(kQuery, Number(0) + Number(0)).Size(), 0u);

    answers = {{std::string(kCapacity, 'b'), 3, 4}};
    EXPECT_EQ(Send(kQuery, Number(0) + Number(0)).Size(), 0u);
}

TEST_F(Query, BytesWrittenBeforeAFailureStayBehindTheSize)
{
    Register();
    answers = {{"ab", 1, 2}, {std::string(kCapacity, 'b'), 3, 4}};

    const auto response = Handle(kQuery, RequestOf(Number(0) + Number(0)));

    EXPECT_EQ(response.size, 0u);
    const std::string written = "\1" + Number(2) + Entry("ab", 1, 2) + Number(kCapacity);
    EXPECT_EQ(std::string(response.data, written.size()), written);
}

TEST_F(Query, FailedCopyOfANameIsAFailure)
{
    Register();
    answers = {{"ab", 1, 2}};
    platform::SetNext("memcpy_s", {platform::Fails(ERANGE)});

    EXPECT_EQ(Send(kQuery, Number(0) + Number(0)).Size(), 0u);

    EXPECT_EQ(platform::Calls("memcpy_s").front(), "memcpy_s(2,2)=34 ERANGE");
    EXPECT_THAT(platform::Errors(), ElementsAre("QueryAppState SerializeMessage failed"));
}

TEST_F(Query, IsLoggedToSyslogInTheSameWords)
{
    Register();
    server.EnableSyslog();
    Send(kQuery, "");
    Send(kQuery, Number(0) + Number(0));
    answers = {{std::string(kCapacity, 'b'), 3, 4}};
    Send(kQuery, Number(0) + Number(0));
    server.RegSsQueryAppStateCallBackImpl({}, kResFile);
    Send(kQuery, "");

    const auto begin = SyslogRecord(LOG_INFO, BootTraced("QueryAppState begin"));
    const auto end = SyslogRecord(LOG_INFO, "QueryAppState callback end. ret=1");
    const auto finish = SyslogRecord(LOG_INFO, BootTraced("QueryAppState finish"));
    EXPECT_THAT(
        platform::Records(),
        ElementsAre(begin, SyslogRecord(LOG_ERR, "QueryAppState DeserializeMessage failed"), begin,
                    end, finish, begin, end,
                    SyslogRecord(LOG_ERR, "QueryAppState SerializeMessage failed"), finish, begin,
                    SyslogRecord(LOG_ERR, "QueryAppState failed, callback is nullptr"), finish));
    EXPECT_THAT(platform::LevelQueries(), IsEmpty());
}

}  // namespace
