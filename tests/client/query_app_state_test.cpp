// A query over several owners: who is asked, what goes out, and how answers are merged.
#include <cerrno>
#include <set>
#include <system_error>

#include "tests/client/query_app_test.h"

namespace {

using platform::Fails;
using platform::Usual;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

class QueryApp : public QueryAppTest {
protected:
    QueryApp() { platform::AnswerAll(Replies(AnswerBytes(1, 0))); }
};

TEST_F(QueryApp, TakesTheseStepsInThisOrder)
{
    KeepOneOwner();
    platform::AnswerAll(Replies(AnswerBytes(1, 1, EntryBytes("a", 7, 2))));

    EXPECT_EQ(Query({"a", "b"}, 3), 0u);

    EXPECT_THAT(
        platform::Timeline(),
        ElementsAre(
            "log(54,1) " + BootTraced("QueryAppState app size=2, queryType=3"),
            "log(54,2) Secvfs has been read before !!!", "prctl(PR_SET_NAME,QUERY_APP_STATE)=0",
            "open(dp:/res/dm,O_RDWR)=7",
            "log(54,1) SendRequestToOwnerByVfs, open succeed. (fd=7,resFileName=dp:/res/dm)",
            "IAMResetFileConfig(7,100)=0",
            "log(54,1) SendRequestToOwnerByVfs, ioctl begins. (fd=7,resFileName=dp:/res/dm)",
            "ioctl(7,9)=0",
            "log(54,1) SendRequestToOwnerByVfs, ioctl success. "
            "(fd=7,resFileName=dp:/res/dm,ret=0,timeout=100)",
            "log(54,1) SendRequestToOwnerByVfs success. "
            "(fd=7,resFileName=dp:/res/dm,size=18 bytes,timeout=100)",
            "close(7)=0",
            "log(54,1) QueryGrpAppState receive response(from:dp:/res/dm): app=a, "
            "(1-suc,0-fail)=1, pid=7, status=2",
            "log(54,1) QueryGrpAppState @. resFileName=dp:/res/dm",
            "log(54,1) QueryAppState(cmd=3): secvfs=dp:/res/dm appName=a status=2",
            "log(54,1) " + BootTraced("QueryAppState cmd type=3, finish, ret=0x0"),
            "DlogFlush()=0"));
}

TEST_F(QueryApp, WritesPlainRecordsUnderItsOwnName)
{
    KeepOneOwner();
    platform::AnswerAll(Replies(AnswerBytes(0, 1, EntryBytes("a", 7, 2))));

    Query({"a"});

    EXPECT_THAT(ClientRecords(HasSubstr("Query")),
                ElementsAre(Info(BootTraced("QueryAppState app size=1, queryType=1")),
                            Info(HasSubstr("(1-suc,0-fail)=0")),
                            Error("QueryGrpAppState failed. resFileName=dp:/res/dm"),
                            Info("QueryAppState(cmd=1): secvfs=dp:/res/dm appName=a status=2"),
                            Error("QueryAppState failed. because send to dp:/res/dm failed."),
                            Info(BootTraced("QueryAppState cmd type=1, finish, ret=0xF1030D"))));
    EXPECT_THAT(platform::Milestones(), IsEmpty());
}

TEST_F(QueryApp, SendsTheRecordByteForByte)
{
    KeepOneOwner();

    Query({"ab", "", "c"}, 5, -1);

    ASSERT_EQ(platform::Exchanges().size(), 1u);
    EXPECT_EQ(platform::Exchanges()[0].command, 9u);
    EXPECT_EQ(
        platform::Exchanges()[0].request,
        RecordBytes(Bytes(3u) + NameBytes("ab") + NameBytes("") + NameBytes("c") + Bytes(5u), -1));
}

TEST_F(QueryApp, EmptyListIsSentAllTheSame)
{
    KeepOneOwner();

    EXPECT_EQ(Query({}, 1), 0u);

    ASSERT_EQ(platform::Exchanges().size(), 1u);
    EXPECT_EQ(platform::Exchanges()[0].request, RecordBytes(Bytes(0u) + Bytes(1u), 100));
}

TEST_F(QueryApp, SendsTheQueryTypeAsItStands)
{
    KeepOneOwner();

    Query({}, -1);

    EXPECT_THAT(Payloads(kDataMaster), ElementsAre(Bytes(0u) + Bytes(0xFFFFFFFFu)));
    EXPECT_THAT(platform::Infos(), Contains(BootTraced("QueryAppState app size=0, queryType=-1")));
}

TEST_F(QueryApp, OfType0AsksTheFirstDomainAlone)
{
    EXPECT_EQ(Query({"a"}, 0), 0u);

    EXPECT_THAT(Commands(), ElementsAre("dp:/res/dm 9"));
}

TEST_F(QueryApp, OfType0WithoutThatDomainAsksNobody)
{
    platform::SetConfig(ConfigOf({{0, 1, kIam}, {0, 2, kAppMgr}}));

    EXPECT_EQ(Query({"a"}, 0), 0u);

    EXPECT_THAT(answers, IsEmpty());
    EXPECT_THAT(platform::Calls("std::thread"), IsEmpty());
    EXPECT_THAT(platform::Calls("DlogFlush"), ElementsAre("DlogFlush()=0"));
}

TEST_F(QueryApp, OfAnyOtherTypeAsksEachOwnerOnce)
{
    for (const int type : {1, 2, -1}) {
        platform::ClearHistory();
        EXPECT_EQ(Query({"a"}, type), 0u);
        EXPECT_THAT(Commands(),
                    UnorderedElementsAre("dp:/res/app 9", "dp:/res/dm 9", "dp:/res/iam 9"));
    }
}

TEST_F(QueryApp, TwoDomainsWithOneFileAreOneExchange)
{
    platform::SetConfig(ConfigOf({{0, 0, "shared"}, {0, 1, "shared"}, {0, 2, kAppMgr}}));

    EXPECT_EQ(Query({"a"}, 1), 0u);

    EXPECT_THAT(Commands(), UnorderedElementsAre("dp:/res/app 9", "shared 9"));
}

TEST_F(QueryApp, WithoutOwnersIsASuccess)
{
    platform::RemoveConfig();

    EXPECT_EQ(Query({"a"}), 0u);

    EXPECT_THAT(platform::Calls("std::thread"), IsEmpty());
}

TEST_F(QueryApp, MergesAnswersByFileBehindThoseThatStand)
{
    platform::Answer(kDataMaster,
                     Replies(AnswerBytes(1, 2, EntryBytes("z", -1, 0) + EntryBytes("a", 2, 3))));
    platform::Answer(kIam, Replies(AnswerBytes(1, 1, EntryBytes("m", 4, 5))));
    answers.push_back({"kept", 1, 1});

    EXPECT_EQ(Query({"a"}), 0u);

    EXPECT_THAT(Answers(), ElementsAre(Entry{"kept", 1, 1}, Entry{"z", -1, 0}, Entry{"a", 2, 3},
                                       Entry{"m", 4, 5}));
}

// As many moves as growth by doubling takes.
TEST_F(QueryApp, VectorThatIsKeptOverManyCallsMovesSeldom)
{
    KeepOneOwner();
    platform::AnswerAll(Replies(AnswerBytes(1, 1, EntryBytes("a", 7, 2))));
    std::set<std::size_t> capacities;

    while (answers.size() < 64) {
        ASSERT_EQ(Query({"a"}), 0u);
        capacities.insert(answers.capacity());
    }

    EXPECT_LE(capacities.size(), 7u);
}

TEST_F(QueryApp, FailedOwnersAnswersAreMergedToo)
{
    platform::Answer(kAppMgr, FailsWith(EPIPE));
    platform::Answer(kDataMaster, Replies(AnswerBytes(0, 1, EntryBytes("a", 2, 3))));
    platform::Answer(kIam, Replies(AnswerBytes(1, 1, EntryBytes("m", 4, 5))));

    EXPECT_EQ(Query({"a"}), kQueryFailed);

    EXPECT_THAT(Answers(), ElementsAre(Entry{"a", 2, 3}, Entry{"m", 4, 5}));
    EXPECT_THAT(ClientRecords(HasSubstr("because")),
                ElementsAre(Error("QueryAppState failed. because send to dp:/res/app failed.")));
    EXPECT_THAT(
        platform::Errors(),
        Contains("QueryGrpAppState SendRequestToOwnerByVfs failed. resFileName=dp:/res/app"));
    EXPECT_THAT(platform::Calls("DlogFlush"), ElementsAre("DlogFlush()=0"));
}

struct TimeOut {
    std::string name;
    int given;
    int taken;
    bool isLogged;
};

void PrintTo(const TimeOut& timeOut, std::ostream* out)
{
    *out << timeOut.name;
}

class QueryTimeOut : public QueryApp, public ::testing::WithParamInterface<TimeOut> {};

TEST_P(QueryTimeOut, IsTakenInItsRangeAndElseReplaced)
{
    KeepOneOwner();

    EXPECT_EQ(Query({}, 1, GetParam().given), 0u);

    EXPECT_EQ(TimeoutOf(platform::Exchanges().at(0)), GetParam().taken);
    EXPECT_EQ(platform::Exchanges().at(0).timeoutMs, GetParam().taken);
    if (GetParam().isLogged) {
        EXPECT_THAT(ClientRecords(HasSubstr("should be")),
                    ElementsAre(Error("QueryAppState timeOut(" + std::to_string(GetParam().given) +
                                      "ms) should be -1 or at 100ms~60s, "
                                      "set default value:5000ms")));
    } else {
        EXPECT_THAT(platform::Errors(), IsEmpty());
    }
}

INSTANTIATE_TEST_SUITE_P(Values, QueryTimeOut,
                         ::testing::Values(TimeOut{"JustTooShort", 99, 5000, true},
                                           TimeOut{"Shortest", 100, 100, false},
                                           TimeOut{"Longest", 60000, 60000, false},
                                           TimeOut{"JustTooLong", 60001, 5000, true},
                                           TimeOut{"Zero", 0, 5000, true},
                                           TimeOut{"TheServicesOwn", -1, -1, false},
                                           TimeOut{"BelowTheServicesOwn", -2, 5000, true}),
                         [](const auto& test) { return test.param.name; });

TEST_F(QueryApp, AsksAllOwnersAtOnce)
{
    platform::Hold("ioctl");
    auto code = InBackground([this] { return Query({"a"}); });

    EXPECT_TRUE(platform::WaitForHeld("ioctl", 3));

    platform::StopHolding("ioctl");
    EXPECT_EQ(code.get(), 0u);
}

// The first record comes ahead of the mutex.
TEST_F(QueryApp, CallsOfBothInstancesGoOneAfterTheOther)
{
    KeepOneOwner();
    platform::Hold("ioctl");
    auto first = InBackground([this] { return Query({"first"}); });
    ASSERT_TRUE(platform::WaitForHeld("ioctl", 1));
    Ownerlink::OwnerlinkClientImpl other;
    std::vector<AppStatus> otherAnswers;
    auto second = InBackground([&] { return other.QueryAppState({}, otherAnswers, 100, 4); });
    ASSERT_TRUE(
        platform::WaitUntil([] { return !ClientRecords(HasSubstr("queryType=4")).empty(); }));
    EXPECT_EQ(platform::Calls("ioctl").size(), 1u);
    platform::StopHolding("ioctl");

    EXPECT_EQ(first.get(), 0u);
    EXPECT_EQ(second.get(), 0u);

    EXPECT_THAT(platform::Calls({"ioctl", "DlogFlush"}),
                ElementsAre("ioctl(7,9)=0", "DlogFlush()=0", "ioctl(7,9)=0", "DlogFlush()=0"));
}

// The start is logged and the rest goes on; the broken promise then reaches the caller.
TEST_F(QueryApp, FailedStartIsLoggedAndBreaksThePromise)
{
    platform::SetNext("std::thread", {Usual(), Fails(EAGAIN), Usual()});

    try {
        Query({"a"});
        FAIL() << "no exception";
    } catch (const std::future_error& error) {
        EXPECT_EQ(error.code(), std::future_errc::broken_promise);
        EXPECT_THAT(error.what(), HasSubstr("std::future_error: "));
    }

    EXPECT_THAT(Commands(), UnorderedElementsAre("dp:/res/app 9", "dp:/res/iam 9"));
    EXPECT_THAT(ClientRecords(HasSubstr("StartQueryAppStateThread")),
                ElementsAre(Error("StartQueryAppStateThread failed, exception = " +
                                  std::generic_category().message(EAGAIN) + ".\n")));
    EXPECT_THAT(platform::OpenDescriptors(), IsEmpty());
    EXPECT_THAT(platform::Calls("DlogFlush"), IsEmpty());
}

TEST_F(QueryApp, FailedStartJoinsTheOthersAndLeavesTheMutexFree)
{
    platform::SetNext("std::thread", {Fails(EAGAIN)});
    platform::Hold("ioctl");
    auto code = InBackground([this] { return Query({"a"}); });
    ASSERT_TRUE(platform::WaitForHeld("ioctl", 2));
    EXPECT_EQ(code.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
    platform::StopHolding("ioctl");
    EXPECT_THROW(code.get(), std::future_error);

    EXPECT_EQ(platform::Calls("close").size(), 2u);
    EXPECT_EQ(Query({"a"}), 0u);
}

}  // namespace
