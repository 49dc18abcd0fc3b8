// The request to start, terminate and restart applications.
#include <stdexcept>

#include "tests/server/server_test.h"

namespace {

using ::testing::AllOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::Field;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::Pair;

constexpr unsigned kChangeApp = 0;

using Apps = std::vector<AppInfoForServer>;

// A server whose callbacks keep what they are given and answer as told.
class ChangeApp : public ServerTest {
protected:
    ChangeApp() { SetBootTrace(); }

    void RegisterPlain()
    {
        server.RegSsChangeAppCallBackImpl(
            [this](const Apps& term, const Apps& start, const Apps& restart,
                   std::vector<AppChangeInfo>& results) {
                EXPECT_THAT(results, IsEmpty());
                Keep("plain", term, start, restart);
                results = answers;
                return verdict;
            },
            kResFile);
        platform::ClearHistory();
    }

    void RegisterTimed()
    {
        server.RegSsChangeAppTimeoutCallBackImpl(
            [this](const Apps& term, const Apps& start, const Apps& restart,
                   std::vector<AppChangeInfo>& results, int timeOut) {
                EXPECT_THAT(results, IsEmpty());
                Keep("timed " + std::to_string(timeOut), term, start, restart);
                results = answers;
                return verdict;
            },
            kResFile);
        platform::ClearHistory();
    }

    void Keep(const std::string& name, const Apps& term, const Apps& start, const Apps& restart)
    {
        ran.push_back(name);
        terminated = term;
        started = start;
        restarted = restart;
    }

    std::vector<std::string> ran;
    Apps terminated;
    Apps started;
    Apps restarted;
    std::vector<AppChangeInfo> answers;
    bool verdict = true;
};

auto IsApp(const std::string& name)
{
    return Field("appName", &AppInfoForServer::appName, name);
}

TEST_F(ChangeApp, SortsEntriesIntoThreeLists)
{
    RegisterPlain();

    Send(kChangeApp, "3#r#2#1#x#0#t#1#0#0#s#0#2#y#z#0#");

    EXPECT_THAT(ran, ElementsAre("plain"));
    ASSERT_THAT(terminated, ElementsAre(IsApp("t")));
    ASSERT_THAT(started, ElementsAre(IsApp("s")));
    ASSERT_THAT(restarted, ElementsAre(IsApp("r")));
    EXPECT_THAT(terminated[0].args, IsEmpty());
    EXPECT_THAT(started[0].args, ElementsAre("y", "z"));
    EXPECT_THAT(restarted[0].args, ElementsAre("x"));
}

TEST_F(ChangeApp, KeepsTheRequestsOrderWithinEachList)
{
    RegisterPlain();

    Send(kChangeApp, "6#b#0#0#0#z#1#0#0#a#0#0#0#y#1#0#0#d#2#0#0#c#2#0#0#");

    EXPECT_THAT(terminated, ElementsAre(IsApp("z"), IsApp("y")));
    EXPECT_THAT(started, ElementsAre(IsApp("b"), IsApp("a")));
    EXPECT_THAT(restarted, ElementsAre(IsApp("d"), IsApp("c")));
}

TEST_F(ChangeApp, TakesDynamicParametersFromATerminationAlone)
{
    RegisterPlain();
    const std::string parameters = "1#arg#2#0#1#v#2#2#w#x#";

    Send(kChangeApp, "3#t#1#" + parameters + "s#0#" + parameters + "r#2#" + parameters);

    ASSERT_THAT(terminated, ElementsAre(IsApp("t")));
    EXPECT_THAT(terminated[0].args, ElementsAre("arg"));
    EXPECT_THAT(terminated[0].dynamicPara, IsEmpty());
    const auto whole =
        AllOf(Field("args", &AppInfoForServer::args, ElementsAre("arg")),
              Field("dynamicPara", &AppInfoForServer::dynamicPara,
                    ElementsAre(Pair(0, ElementsAre("v")), Pair(2, ElementsAre("w", "x")))));
    EXPECT_THAT(started, ElementsAre(AllOf(IsApp("s"), whole)));
    EXPECT_THAT(restarted, ElementsAre(AllOf(IsApp("r"), whole)));
}

TEST_F(ChangeApp, DropsAnUnknownOptionInSilence)
{
    RegisterPlain();

    const Answer answer = Send(kChangeApp, "3#a#3#0#0#b#0#0#0#c#4294967295#0#0#");

    EXPECT_THAT(terminated, IsEmpty());
    EXPECT_THAT(started, ElementsAre(IsApp("b")));
    EXPECT_THAT(restarted, IsEmpty());
    EXPECT_EQ(answer.Payload(), "1#1#");
    EXPECT_THAT(ServerRecords(),
                ElementsAre(Warning("ChangeAppState callback end. ret=1(success)")));
}

TEST_F(ChangeApp, AnswersVerdictAndStates)
{
    RegisterPlain();
    answers = {{"a", SUCCESS}, {"other", START_FAILED_BY_EIO}};

    const Answer answer = Send(kChangeApp, "1#a#0#0#0#", 70);

    EXPECT_EQ(answer.Payload(), "3#1#a#0#other#6#");
    EXPECT_EQ(answer.result, 24);
    const std::string piece =
        "ChangeAppState owner pack response app#(SU-0,TERM_F,START_F,RESTART_F,INIT)#: ";
    EXPECT_THAT(platform::Records(),
                ElementsAre(CodecMilestone(BootTraced("ChangeAppState owner unpack request:"
                                                      "1#a#0#0#0# timeout=70 ms")),
                            Warning("ChangeAppState callback end. ret=1(success)"),
                            CodecInfo(piece + "a#0#"), CodecInfo(piece + "other#6#"),
                            CodecMilestone(BootTraced("ChangeAppState owner pack response:"
                                                      "3#1#a#0#other#6#"))));
}

TEST_F(ChangeApp, RefusalCarriesTheStatesToo)
{
    RegisterPlain();
    verdict = false;
    answers = {{"a", START_FAILED}};

    EXPECT_EQ(Send(kChangeApp, "1#a#0#0#0#").Payload(), "2#0#a#2#");

    EXPECT_THAT(ServerRecords(), ElementsAre(Warning("ChangeAppState callback end. ret=0(fail)")));
}

TEST_F(ChangeApp, TimedCallbackGetsTheTimeOut)
{
    RegisterTimed();

    Send(kChangeApp, "1#a#0#0#0#", -1);
    verdict = false;
    Send(kChangeApp, "1#a#0#0#0#", 60000);

    EXPECT_THAT(ran, ElementsAre("timed -1", "timed 60000"));
    EXPECT_THAT(started, ElementsAre(IsApp("a")));
    EXPECT_THAT(ServerRecords(),
                ElementsAre(Warning("ChangeAppState with timeout callback end. ret=1(success)"),
                            Warning("ChangeAppState with timeout callback end. ret=0(fail)")));
}

TEST_F(ChangeApp, TimedCallbackWinsWhicheverCameLast)
{
    RegisterTimed();
    RegisterPlain();

    Send(kChangeApp, "1#a#0#0#0#", 70);

    EXPECT_THAT(ran, ElementsAre("timed 70"));
}

TEST_F(ChangeApp, WithoutACallbackIsARefusalWithoutStates)
{
    const Answer answer = Send(kChangeApp, "1#a#0#0#0#", 70);

    EXPECT_EQ(answer.Payload(), "1#0#");
    EXPECT_EQ(answer.result, 12);
    EXPECT_THAT(platform::Records(),
                ElementsAre(CodecMilestone(BootTraced("ChangeAppState owner unpack request:"
                                                      "1#a#0#0#0# timeout=70 ms")),
                            Error("ChangeAppState failed, callback is nullptr"),
                            CodecMilestone(BootTraced("ChangeAppState owner pack response:1#0#"))));
}

TEST_F(ChangeApp, OversizedRequestStillCallsWithEmptyLists)
{
    RegisterPlain();
    auto request = RequestOf("1#a#0#0#0#");
    request.size = 3889;

    EXPECT_EQ(Send(kChangeApp, request).Payload(), "1#1#");

    EXPECT_THAT(ran, ElementsAre("plain"));
    EXPECT_THAT(started, IsEmpty());
    EXPECT_THAT(platform::Errors(),
                ElementsAre("request size=3889 bytes is invalid",
                            "UnPackChangeAppInfoRequestMsg failed, appChangeList size=0"));
}

// The list has its full length from the start: entries behind the failure are empty starts.
TEST_F(ChangeApp, RequestThatFailsHalfWayIsCarriedOutAsFarAsRead)
{
    RegisterPlain();

    Send(kChangeApp, "3#a#1#0#0#b#2#0#4#c#1#0#0#");

    EXPECT_THAT(terminated, ElementsAre(IsApp("a")));
    EXPECT_THAT(restarted, ElementsAre(IsApp("b")));
    EXPECT_THAT(started, ElementsAre(IsApp("")));
    EXPECT_THAT(ServerRecords(),
                ElementsAre(Error("UnPackChangeAppInfoRequestMsg failed, appChangeList size=3"),
                            Warning("ChangeAppState callback end. ret=1(success)")));
}

TEST_F(ChangeApp, EmptyRequestCallsWithEmptyLists)
{
    RegisterPlain();

    EXPECT_EQ(Send(kChangeApp, "").Payload(), "1#1#");

    EXPECT_THAT(ran, ElementsAre("plain"));
    EXPECT_THAT(platform::Errors(), IsEmpty());
}

TEST_F(ChangeApp, PieceTooLongLeavesTheResponseEmpty)
{
    RegisterPlain();
    answers = {{std::string(3886, 'n'), SUCCESS}};

    const Answer answer = Send(kChangeApp, "1#a#0#0#0#");

    EXPECT_EQ(answer.result, 8);
    EXPECT_EQ(answer.Size(), 0u);
    EXPECT_THAT(platform::Errors(),
                ElementsAre("ChangeAppState owner pack response failed size=3889 beyond 3888!!",
                            "PackChangeAppInfoResponse failed, ret=1"));
}

TEST_F(ChangeApp, ResponseTooLongForTheRecordFailsTheExchange)
{
    RegisterPlain();
    verdict = false;
    answers = {{std::string(2000, 'n'), SUCCESS}, {std::string(2000, 'm'), SUCCESS}};

    const Answer answer = Send(kChangeApp, "1#a#0#0#0#");

    EXPECT_EQ(answer.result, kCopyFailed);
    EXPECT_EQ(answer.Size(), 4010u);
    EXPECT_THAT(platform::Errors(), ElementsAre(HasSubstr("respStrSize=4010 failed"),
                                                "PackChangeAppInfoResponse failed, ret=0",
                                                HasSubstr("(size:3892 bytes,4010 bytes)")));
}

TEST_F(ChangeApp, ExceptionLeavesTheHook)
{
    server.RegSsChangeAppTimeoutCallBackImpl(
        [](auto&&...) -> bool { throw std::runtime_error("callback"); }, kResFile);

    EXPECT_THROW(Send(kChangeApp, "1#a#0#0#0#"), std::runtime_error);

    EXPECT_THAT(platform::Warnings(), Not(Contains(HasSubstr("callback end"))));
}

TEST_F(ChangeApp, IsLoggedToSyslogInTheSameWords)
{
    RegisterPlain();
    server.EnableSyslog();
    answers = {{std::string(3886, 'n'), SUCCESS}};

    Send(kChangeApp, "1#a#0#0#4#", 70);
    server.RegSsChangeAppCallBackImpl({}, kResFile);
    Send(kChangeApp, "0#", 70);

    EXPECT_THAT(
        platform::Records(),
        ElementsAre(
            SyslogRecord(LOG_NOTICE, BootTraced("ChangeAppState owner unpack request:"
                                                "1#a#0#0#4# timeout=70 ms")),
            SyslogRecord(LOG_ERR,
                         "ChangeAppState unpack request failed, a dynamicParaSize=4 invalid"),
            SyslogRecord(LOG_ERR, "UnPackChangeAppInfoRequestMsg failed, appChangeList size=1"),
            SyslogRecord(LOG_WARNING, "ChangeAppState callback end. ret=1(success)"),
            SyslogRecord(LOG_ERR,
                         "ChangeAppState owner pack response failed size=3889 beyond 3888!!"),
            SyslogRecord(LOG_ERR, "PackChangeAppInfoResponse failed, ret=1"),
            SyslogRecord(LOG_NOTICE, BootTraced("ChangeAppState owner unpack request:"
                                                "0# timeout=70 ms")),
            SyslogRecord(LOG_ERR, "ChangeAppState failed, callback is nullptr"),
            SyslogRecord(LOG_NOTICE, BootTraced("ChangeAppState owner pack response:1#0#"))));
    EXPECT_THAT(platform::LevelQueries(), IsEmpty());
}

}  // namespace
