// The names of the owners' applications.
#include <cerrno>

#include "tests/client/client_test.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Pair;
using Names = std::vector<std::string>;

struct ListAnswer {
    std::string name;
    std::string payload;
    bool result;
    Names names;
};

void PrintTo(const ListAnswer& answer, std::ostream* out)
{
    *out << answer.name;
}

class AppList : public ClientTest {
protected:
    std::map<unsigned, std::map<unsigned, Names>> lists;
};

class AppListAnswer : public AppList, public ::testing::WithParamInterface<ListAnswer> {};

TEST_P(AppListAnswer, GivesTheNamesBehindTheVerdict)
{
    platform::AnswerAll(Replies(GetParam().payload));
    Names names{"kept"};

    EXPECT_EQ(client.QueryGrpAppList(DP, DATAMASTER, names), GetParam().result);

    Names expected{"kept"};
    expected.insert(expected.end(), GetParam().names.begin(), GetParam().names.end());
    EXPECT_EQ(names, expected);
    EXPECT_THAT(platform::Errors(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Payloads, AppListAnswer,
    ::testing::Values(
        ListAnswer{"Empty", "1#", true, {}}, ListAnswer{"EmptyWithoutSeparator", "1", true, {}},
        ListAnswer{"Names", "1#a#b#", true, {"a", "b"}},
        ListAnswer{"EmptyTokens", "1#a##b#", true, {"a", "b"}},
        ListAnswer{"TokenOfBlanksAlone", "1# #", true, {" "}},
        ListAnswer{"NoLastSeparator", "1#a", true, {"a"}}, ListAnswer{"Refused", "0#", false, {}},
        ListAnswer{"RefusedWithNames", "0#a#", false, {"a"}},
        ListAnswer{"WhiteSpaceAlone", "  ", true, {}}, ListAnswer{"NoNumber", "x#a#", false, {}},
        ListAnswer{"AnotherNumber", "7#a#", true, {}},
        ListAnswer{"Full", "1#" + std::string(3885, 'n') + "#", true, {std::string(3885, 'n')}}),
    [](const auto& test) { return test.param.name; });

TEST_F(AppList, IsAskedForWithAnEmptyRecord)
{
    platform::AnswerAll(Replies("1#a#b#"));
    Names names;

    EXPECT_TRUE(client.QueryGrpAppList(DP, IAM, names));

    ASSERT_THAT(Commands(), ElementsAre("dp:/res/iam 6"));
    EXPECT_EQ(platform::Exchanges()[0].request, RecordBytes("", 5000));
    EXPECT_THAT(ClientRecords(HasSubstr("Query app list")),
                ElementsAre(Info("Query app list, SendRequestToOwnerByVfs success. "
                                 "groupOwner=1(IAM)"),
                            Info("Query app list, groupOwner=1(IAM) app=a"),
                            Info("Query app list, groupOwner=1(IAM) app=b")));
}

TEST_F(AppList, FailsWithoutAnOwner)
{
    Names names;

    EXPECT_FALSE(client.QueryGrpAppList(SD, IAM, names));

    EXPECT_THAT(platform::Errors(), ElementsAre(HasSubstr("GetResFileName failed"),
                                                "Query app list, but iam file is invalid."));
    EXPECT_THAT(ClientRecords(HasSubstr("invalid")),
                ElementsAre(Error("Query app list, but iam file is invalid.")));
    EXPECT_THAT(ExchangeCalls(), IsEmpty());
}

TEST_F(AppList, FailsWithItsExchange)
{
    platform::AnswerAll(FailsWith(ETIMEDOUT));
    Names names;

    EXPECT_FALSE(client.QueryGrpAppList(DP, IAM, names));

    const std::string record =
        "QueryGrpAppList SendRequestToOwnerByVfs failed. "
        "resFileName=dp:/res/iam";
    EXPECT_THAT(platform::Errors(), ElementsAre(HasSubstr("ioctl failed"), record));
    EXPECT_THAT(ClientRecords(record), ElementsAre(Error(record)));
}

TEST_F(AppList, RefusesAnEmptyAnswerThoughItsExchangeWentWell)
{
    platform::AnswerAll(Replies(""));
    Names names;

    EXPECT_FALSE(client.QueryGrpAppList(DP, IAM, names));

    EXPECT_THAT(ClientRecords(HasSubstr("resp size")),
                ElementsAre(Error("Query app list, but resp is nullptr, resp size=0 bytes")));
}

TEST_F(AppList, RefusesAnAnswerBeyondTheRecord)
{
    Names names;
    for (const uint64_t size : {3889u, 3892u, 100000u}) {
        platform::AnswerAll(RepliesWithSize(size, "1#a#"));
        EXPECT_FALSE(client.QueryGrpAppList(DP, IAM, names));
    }

    EXPECT_THAT(names, IsEmpty());
}

TEST_F(AppList, OfAllOwnersAsksIamToo)
{
    platform::Answer(kDataMaster, Replies("1#a#b#"));
    platform::Answer(kIam, Replies("1#c#"));
    platform::Answer(kAppMgr, Replies("1#d#"));

    EXPECT_EQ(client.QueryAppList(lists), 0u);

    EXPECT_THAT(Commands(), ElementsAre("dp:/res/dm 6", "dp:/res/iam 6", "dp:/res/app 6"));
    EXPECT_THAT(lists,
                ElementsAre(Pair(0u, ElementsAre(Pair(0u, Names{"a", "b"}), Pair(1u, Names{"c"}),
                                                 Pair(2u, Names{"d"})))));
    EXPECT_THAT(platform::Calls("std::thread"), IsEmpty());
    EXPECT_THAT(platform::Calls("DlogFlush"), IsEmpty());
}

TEST_F(AppList, OfAFailedOwnerIsDroppedWhileTheOthersStay)
{
    platform::Answer(kDataMaster, Replies("1#a#"));
    platform::Answer(kIam, Replies("0#lost#"));
    platform::Answer(kAppMgr, Replies("1#d#"));

    EXPECT_EQ(client.QueryAppList(lists), 0xF10305u);

    EXPECT_THAT(lists,
                ElementsAre(Pair(0u, ElementsAre(Pair(0u, Names{"a"}), Pair(2u, Names{"d"})))));
}

TEST_F(AppList, FailsAlsoWhenTheFirstOwnerFails)
{
    platform::AnswerAll(Replies("1#a#"));
    platform::Answer(kDataMaster, FailsWith(EPIPE));

    EXPECT_EQ(client.QueryAppList(lists), 0xF10305u);

    EXPECT_EQ(Commands().size(), 3u);
}

TEST_F(AppList, EmptyListsMakeNoEntry)
{
    platform::AnswerAll(Replies("1#"));

    EXPECT_EQ(client.QueryAppList(lists), 0u);

    EXPECT_THAT(lists, IsEmpty());
}

TEST_F(AppList, SecondCallGivesEveryNameTwice)
{
    platform::SetConfig(ConfigOf({{0, 1, kIam}}));
    platform::AnswerAll(Replies("1#a#b#"));

    client.QueryAppList(lists);
    client.QueryAppList(lists);

    EXPECT_THAT(lists[0][1], ElementsAre("a", "b", "a", "b"));
}

TEST_F(AppList, WithoutOwnersIsASuccess)
{
    platform::RemoveConfig();

    EXPECT_EQ(client.QueryAppList(lists), 0u);

    EXPECT_THAT(lists, IsEmpty());
}

}  // namespace
