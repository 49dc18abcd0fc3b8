// The limits of a query's record, and every way in which an owner's answer can be short.
#include <cerrno>

#include "tests/client/query_app_test.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr char kSendFailed[] = "QueryAppState failed. because send to dp:/res/dm failed.";

class QueryRecord : public QueryAppTest {
protected:
    QueryRecord()
    {
        KeepOneOwner();
        platform::AnswerAll(Replies(AnswerBytes(1, 0)));
    }
};

// 4 bytes of count, 4 of length, the name and 4 of query type.
TEST_F(QueryRecord, TakesANameThatFillsIt)
{
    EXPECT_EQ(Query({std::string(3876, 'n')}), 0u);

    ASSERT_EQ(platform::Exchanges().size(), 1u);
    EXPECT_EQ(platform::Exchanges()[0].request,
              RecordBytes(Bytes(1u) + NameBytes(std::string(3876, 'n')) + Bytes(1u), 100));
}

struct TooMuch {
    std::string name;
    std::size_t firstLength;
    std::size_t others;
    std::string other;
};

void PrintTo(const TooMuch& list, std::ostream* out)
{
    *out << list.name;
}

class QueryTooLong : public QueryRecord, public ::testing::WithParamInterface<TooMuch> {};

TEST_P(QueryTooLong, IsNotSent)
{
    std::vector<std::string> names(1 + GetParam().others, GetParam().other);
    names.front() = std::string(GetParam().firstLength, 'n');

    EXPECT_EQ(Query(names), kQueryFailed);

    const std::string record =
        "QueryGrpAppState SerializeMessage failed. resFileName=dp:/res/dm, applistSize=" +
        std::to_string(names.size());
    EXPECT_THAT(platform::Errors(), ElementsAre(record, kSendFailed));
    EXPECT_THAT(ClientRecords(record), ElementsAre(Error(record)));
    EXPECT_THAT(ExchangeCalls(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Lists, QueryTooLong,
                         ::testing::Values(TooMuch{"NoRoomForTheType", 3880, 0, ""},
                                           TooMuch{"OneByteTooFewForTheType", 3877, 0, ""},
                                           TooMuch{"NoRoomForTheName", 3881, 0, ""},
                                           TooMuch{"NoRoomForTheNextLength", 3877, 1, "a"},
                                           TooMuch{"TooManyNames", 0, 999, ""}),
                         [](const auto& test) { return test.param.name; });

TEST_F(QueryRecord, NameThatCannotBeCopiedIsNotSent)
{
    platform::FailCopies([](std::size_t count) { return count == 5; }, ERANGE);

    EXPECT_EQ(Query({"abcde"}), kQueryFailed);

    EXPECT_THAT(platform::Errors(),
                ElementsAre(HasSubstr("QueryGrpAppState SerializeMessage failed."), kSendFailed));
    EXPECT_THAT(ExchangeCalls(), IsEmpty());
}

struct ShortAnswer {
    std::string name;
    std::string payload;
    std::vector<std::tuple<std::string, int32_t, uint32_t>> entries;
};

void PrintTo(const ShortAnswer& answer, std::ostream* out)
{
    *out << answer.name;
}

class QueryShortAnswer : public QueryRecord, public ::testing::WithParamInterface<ShortAnswer> {};

TEST_P(QueryShortAnswer, FailsAtTheFirstFieldThatIsCutOff)
{
    platform::AnswerAll(Replies(GetParam().payload));

    EXPECT_EQ(Query({"a"}), kQueryFailed);

    EXPECT_EQ(Answers(), GetParam().entries);
    const std::string record = "QueryGrpAppState DeserializeMessage failed, (file=dp:/res/dm)";
    EXPECT_THAT(platform::Errors(), ElementsAre(record, kSendFailed));
    EXPECT_THAT(ClientRecords(record), ElementsAre(Error(record)));
    EXPECT_THAT(platform::Infos(), ::testing::Not(Contains(HasSubstr("receive response"))));
}

const std::string kTwo = EntryBytes("a", 1, 2) + EntryBytes("bc", 3, 4);

INSTANTIATE_TEST_SUITE_P(
    Payloads, QueryShortAnswer,
    ::testing::Values(
        ShortAnswer{"InTheCount", AnswerBytes(1, 0).substr(0, 4), {}},
        ShortAnswer{"BehindTheVerdict", AnswerBytes(1, 0).substr(0, 1), {}},
        ShortAnswer{"CountAboveTheBytesBehindIt", AnswerBytes(1, 3, "ab"), {}},
        ShortAnswer{"HugeCount", AnswerBytes(1, 0xFFFFFFFF, kTwo), {}},
        ShortAnswer{"InALength", AnswerBytes(1, 2, kTwo.substr(0, 16)), {{"a", 1, 2}, {"", 0, 0}}},
        ShortAnswer{"InAName", AnswerBytes(1, 2, kTwo.substr(0, 18)), {{"a", 1, 2}, {"", 0, 0}}},
        ShortAnswer{"InAPid", AnswerBytes(1, 2, kTwo.substr(0, 22)), {{"a", 1, 2}, {"bc", 0, 0}}},
        ShortAnswer{
            "InAStatus", AnswerBytes(1, 2, kTwo.substr(0, 26)), {{"a", 1, 2}, {"bc", 3, 0}}},
        ShortAnswer{
            "LengthThatWraps", AnswerBytes(1, 1, Bytes(0xFFFFFFFFu) + "abc"), {{"", 0, 0}}}),
    [](const auto& test) { return test.param.name; });

TEST_F(QueryRecord, EmptyAnswerIsAFailure)
{
    platform::AnswerAll(Replies(""));

    EXPECT_EQ(Query({"a"}), kQueryFailed);

    const std::string record =
        "QueryGrpAppState, Query app list, but resp is nullptr, resp size=0 bytes";
    EXPECT_THAT(platform::Errors(), ElementsAre(record, kSendFailed));
    EXPECT_THAT(ClientRecords(record), ElementsAre(Error(record)));
}

// The exchange refuses it, before the answer is looked at.
TEST_F(QueryRecord, AnswerBeyondTheRecordIsAFailure)
{
    platform::AnswerAll(RepliesWithSize(3889, AnswerBytes(1, 0)));

    EXPECT_EQ(Query({"a"}), kQueryFailed);

    EXPECT_THAT(platform::Errors(), ElementsAre("QueryGrpAppState SendRequestToOwnerByVfs failed. "
                                                "resFileName=dp:/res/dm",
                                                kSendFailed));
}

TEST_F(QueryRecord, AnswerWithoutEntriesIsASuccess)
{
    EXPECT_EQ(Query({"a"}), 0u);

    EXPECT_THAT(answers, IsEmpty());
    EXPECT_THAT(platform::Errors(), IsEmpty());
}

TEST_F(QueryRecord, RefusalStillDeliversItsEntries)
{
    platform::AnswerAll(Replies(AnswerBytes(0, 2, kTwo)));

    EXPECT_EQ(Query({"a"}), kQueryFailed);

    EXPECT_THAT(Answers(), ElementsAre(Entry{"a", 1, 2}, Entry{"bc", 3, 4}));
    EXPECT_THAT(platform::Errors(),
                ElementsAre("QueryGrpAppState failed. resFileName=dp:/res/dm", kSendFailed));
}

TEST_F(QueryRecord, EntryMayHaveAnEmptyName)
{
    platform::AnswerAll(Replies(AnswerBytes(1, 1, EntryBytes("", -7, 0xFFFFFFFF))));

    EXPECT_EQ(Query({""}), 0u);

    EXPECT_THAT(Answers(), ElementsAre(Entry{"", -7, 0xFFFFFFFF}));
    EXPECT_THAT(platform::Infos(),
                Contains("QueryGrpAppState receive response(from:dp:/res/dm): app=, "
                         "(1-suc,0-fail)=1, pid=-7, status=4294967295"));
}

TEST_F(QueryRecord, AnyVerdictBut0IsASuccess)
{
    platform::AnswerAll(Replies(AnswerBytes(2, 1, EntryBytes("a", 1, 2))));

    EXPECT_EQ(Query({"a"}), 0u);

    EXPECT_THAT(platform::Infos(), Contains(HasSubstr("(1-suc,0-fail)=2")));
}

TEST_F(QueryRecord, BytesBehindTheLastEntryAreIgnored)
{
    platform::AnswerAll(Replies(AnswerBytes(1, 1, kTwo)));

    EXPECT_EQ(Query({"a"}), 0u);

    EXPECT_THAT(Answers(), ElementsAre(Entry{"a", 1, 2}));
}

TEST_F(QueryRecord, ResultDoesNotDependOnTheLog)
{
    platform::SetLogLevels(0);
    platform::AnswerAll(Replies(AnswerBytes(0, 2, kTwo)));

    EXPECT_EQ(Query({"a"}), kQueryFailed);

    EXPECT_EQ(answers.size(), 2u);
    EXPECT_THAT(platform::Records(), IsEmpty());
    EXPECT_THAT(platform::Calls("DlogFlush"), ElementsAre("DlogFlush()=0"));
}

}  // namespace
