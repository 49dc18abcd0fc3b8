// The senders of a change: records of a share, time-outs, threads, and calls one after the other.
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <system_error>
#include <thread>

#include "tests/client/change_app_test.h"

namespace {

using platform::Fails;
using platform::Usual;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Pair;

class ChangeSenders : public ChangeAppTest {
protected:
    // Three records, since no two of these items fit in one.
    std::vector<AppInfo> ThreeRecords() const
    {
        return {StartOfLength("c", 2002), StartOfLength("b", 2001), StartOfLength("a", 2000)};
    }
};

TEST_F(ChangeSenders, RecordsOfAShareGoOutByLength)
{
    platform::AnswerAll(InTurn({Replies("2#1#a#0#"), Replies("2#1#b#0#"), Replies("2#1#c#0#")}));

    EXPECT_EQ(Change(ThreeRecords()), 0u);

    EXPECT_THAT(Payloads(kDataMaster), ElementsAre(HasSubstr("1#a#0#1#x"), HasSubstr("1#b#0#1#x"),
                                                   HasSubstr("1#c#0#1#x")));
    EXPECT_THAT(platform::Calls("open"),
                ElementsAre("open(dp:/res/dm,O_RDWR)=10", "open(dp:/res/dm,O_RDWR)=10",
                            "open(dp:/res/dm,O_RDWR)=10"));
    EXPECT_THAT(Results(), ElementsAre(Pair("a", SUCCESS), Pair("b", SUCCESS), Pair("c", SUCCESS)));
}

TEST_F(ChangeSenders, RefusedRecordLetsTheRestGoOn)
{
    platform::AnswerAll(InTurn({Replies("2#1#a#0#"), Replies("2#0#b#2#"), Replies("2#1#c#0#")}));

    EXPECT_EQ(Change(ThreeRecords()), kChangeFailed);

    EXPECT_EQ(platform::Exchanges().size(), 3u);
    EXPECT_THAT(Results(),
                ElementsAre(Pair("a", SUCCESS), Pair("b", START_FAILED), Pair("c", SUCCESS)));
    EXPECT_THAT(
        platform::Errors(),
        ElementsAre("ChangeAppState HandleResponse failed. resFileName=dp:/res/dm",
                    "ChangeAppState send message to dp:/res/dm failed", "ChangeAppState failed"));
}

TEST_F(ChangeSenders, FailedRecordEndsTheShare)
{
    platform::AnswerAll(InTurn({Replies("2#1#a#0#"), FailsWith(EPIPE), Replies("2#1#c#0#")}));

    EXPECT_EQ(Change(ThreeRecords()), kChangeFailed);

    EXPECT_EQ(platform::Exchanges().size(), 2u);
    EXPECT_THAT(Results(), ElementsAre(Pair("a", SUCCESS), Pair("b", INIT), Pair("c", INIT)));
    EXPECT_THAT(platform::Errors(), ElementsAre(HasSubstr("ioctl failed"),
                                                "ChangeAppState send message to dp:/res/dm failed",
                                                "ChangeAppState failed"));
}

TEST_F(ChangeSenders, EachRecordTakesTheTimeOutOfItsMoment)
{
    platform::AnswerAll([this](const std::string& resource, unsigned command, IAMIoctlArg& arg) {
        client.SetTimedOut(300);
        return Replies("1#1#")(resource, command, arg);
    });

    Change(ThreeRecords(), 200);

    ASSERT_EQ(platform::Exchanges().size(), 3u);
    EXPECT_EQ(TimeoutOf(platform::Exchanges()[0]), 200);
    EXPECT_EQ(TimeoutOf(platform::Exchanges()[1]), 300);
    EXPECT_EQ(TimeoutOf(platform::Exchanges()[2]), 300);
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

class ChangeTimeOut : public ChangeAppTest, public ::testing::WithParamInterface<TimeOut> {};

TEST_P(ChangeTimeOut, IsTakenInItsRangeAndElseReplaced)
{
    platform::AnswerAll(Replies("1#1#"));

    EXPECT_EQ(Change({StartOf("a")}, GetParam().given), 0u);

    EXPECT_EQ(TimeoutOf(platform::Exchanges().at(0)), GetParam().taken);
    EXPECT_EQ(platform::Exchanges().at(0).timeoutMs, GetParam().taken);
    if (GetParam().isLogged) {
        EXPECT_THAT(ClientRecords(HasSubstr("should be")),
                    ElementsAre(Error("ChangeAppState timeOut(" + std::to_string(GetParam().given) +
                                      "ms) should be -1 or at 100ms~60s, "
                                      "set default value:5000ms")));
    } else {
        EXPECT_THAT(platform::Errors(), IsEmpty());
    }
}

INSTANTIATE_TEST_SUITE_P(Values, ChangeTimeOut,
                         ::testing::Values(TimeOut{"JustTooShort", 99, 5000, true},
                                           TimeOut{"Shortest", 100, 100, false},
                                           TimeOut{"Longest", 60000, 60000, false},
                                           TimeOut{"JustTooLong", 60001, 5000, true},
                                           TimeOut{"Zero", 0, 5000, true},
                                           TimeOut{"TheServicesOwn", -1, -1, false},
                                           TimeOut{"BelowTheServicesOwn", -2, 5000, true}),
                         [](const auto& test) { return test.param.name; });

TEST_F(ChangeSenders, AllSharesGoOutAtOnce)
{
    platform::AnswerAll(Replies("1#1#"));
    platform::Hold("ioctl");
    auto code = InBackground([this] {
        return Change({StartOf("a"), StartOf("b", IAM), StartOf("c", APPMGR)});
    });

    EXPECT_TRUE(platform::WaitForHeld("ioctl", 3));

    platform::StopHolding("ioctl");
    EXPECT_EQ(code.get(), 0u);
    EXPECT_THAT(platform::Calls("prctl"),
                ElementsAre("prctl(PR_SET_NAME,CHANGE_APP)=0", "prctl(PR_SET_NAME,CHANGE_APP)=0",
                            "prctl(PR_SET_NAME,CHANGE_APP)=0"));
}

// Whether a record about `application` comes within a time that is long for a call that may run.
bool ComesToTheLog(const std::string& application)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(300);
    while (std::chrono::steady_clock::now() < deadline) {
        if (!ClientRecords(HasSubstr("appName=" + application)).empty()) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return false;
}

// The mutex is the class's, and is held across the whole call. The second one writes its first
// record behind it.
TEST_F(ChangeSenders, CallsOfBothInstancesGoOneAfterTheOther)
{
    platform::AnswerAll(Replies("1#1#"));
    platform::Hold("ioctl");
    auto first = InBackground([this] { return Change({StartOf("first")}); });
    ASSERT_TRUE(platform::WaitForHeld("ioctl", 1));
    Ownerlink::OwnerlinkClientImpl other;
    std::vector<AppChangeInfo> otherResult;
    std::promise<void> begun;
    auto second = InBackground([&] {
        begun.set_value();
        return other.ChangeAppState({StartOf("second")}, otherResult, 200);
    });
    begun.get_future().wait();
    EXPECT_FALSE(ComesToTheLog("second"));
    platform::StopHolding("ioctl");
    EXPECT_EQ(first.get(), 0u);
    EXPECT_EQ(second.get(), 0u);

    const auto calls = platform::Calls({"ioctl", "DlogFlush"});
    EXPECT_THAT(calls,
                ElementsAre("ioctl(10,0)=0", "DlogFlush()=0", "ioctl(10,0)=0", "DlogFlush()=0"));
}

TEST_F(ChangeSenders, FailedStartBesideASenderThatRunsEndsTheProcess)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");  // the threads start in a process of its own
    const auto change = [this] {
        platform::AnswerAll(Replies("2#1#c#0#"));
        platform::SetNext("std::thread", {Usual(), Fails(EAGAIN)});
        try {
            Change({StartOf("a"), StartOf("c", APPMGR)});
        } catch (const std::system_error&) {
            ::_exit(1);
        }
        ::_exit(2);
    };

    EXPECT_EXIT(change(), ::testing::KilledBySignal(SIGABRT), "terminate called");
}

TEST_F(ChangeSenders, FailedFirstStartReachesTheCaller)
{
    platform::SetNext("std::thread", {Fails(EAGAIN)});

    EXPECT_THROW(Change({StartOf("a"), StartOf("c", APPMGR)}), std::system_error);

    EXPECT_EQ(platform::Calls("std::thread").size(), 1u);
    EXPECT_THAT(Commands(), IsEmpty());
    EXPECT_THAT(Results(), IsEmpty());
    EXPECT_THAT(platform::Milestones(), ::testing::Not(Contains(HasSubstr("add to record"))));
    EXPECT_THAT(platform::Calls("DlogFlush"), IsEmpty());
}

TEST_F(ChangeSenders, FailedStartLeavesTheMutexFree)
{
    platform::AnswerAll(Replies("2#1#a#0#"));
    platform::SetNext("std::thread", {Fails(EAGAIN)});
    EXPECT_THROW(Change({StartOf("a")}), std::system_error);

    EXPECT_EQ(Change({StartOf("a")}), 0u);
}

TEST_F(ChangeSenders, ResultDoesNotDependOnTheLog)
{
    platform::SetLogLevels(0);
    platform::AnswerAll(Replies("2#0#a#2#"));

    EXPECT_EQ(Change({StartOf("a"), StartOf("b", static_cast<GroupOwner>(3))}), kChangeFailed);

    EXPECT_THAT(Results(), ElementsAre(Pair("b", INIT), Pair("a", START_FAILED)));
    EXPECT_THAT(platform::Records(), IsEmpty());
    EXPECT_THAT(platform::Calls("DlogFlush"), ElementsAre("DlogFlush()=0"));
}

TEST_F(ChangeSenders, StateChangeRunsBesideAChange)
{
    platform::AnswerAll(Replies("1#1#"));
    platform::Hold("ioctl", kDataMaster);
    auto code = InBackground([this] { return Change({StartOf("a")}); });
    ASSERT_TRUE(platform::WaitForHeld("ioctl", 1));
    auto state = InBackground([this] { return client.SetSystemState(2, 100); });

    EXPECT_TRUE(platform::WaitForHeld("ioctl", 2));

    platform::StopHolding("ioctl");
    EXPECT_EQ(code.get(), 0u);
    EXPECT_EQ(state.get(), 0u);
}

}  // namespace
