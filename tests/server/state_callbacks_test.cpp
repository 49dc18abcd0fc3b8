// How the callbacks for a system state and for its cancellation are chosen, called and answered.
#include <limits>

#include "tests/server/server_test.h"

namespace {

using ProcMgr::CANCEL_SUSPEND;
using ProcMgr::ServerInternals;
using ProcMgr::SET_SYSTEM_STATE;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::MockFunction;
using ::testing::Return;

class StateCallbacks : public ServerTest {
protected:
    void RegisterPlain()
    {
        server.RegSetSystemStateCallBackImpl(plain.AsStdFunction(), kResFile);
        platform::ClearHistory();
    }
    void RegisterTimed()
    {
        server.RegSetSystemStateTimeoutCallBackImpl(timed.AsStdFunction(), kResFile);
        platform::ClearHistory();
    }
    void RegisterCancel()
    {
        server.RegSsCancelSuspendPreCallBackImpl(cancel.AsStdFunction(), kResFile);
        platform::ClearHistory();
    }

    ::testing::StrictMock<MockFunction<bool(int)>> plain;
    ::testing::StrictMock<MockFunction<bool(int, int)>> timed;
    ::testing::StrictMock<MockFunction<bool(int, int)>> cancel;
};

TEST_F(StateCallbacks, PlainOneGetsTheState)
{
    RegisterPlain();
    EXPECT_CALL(plain, Call(2)).WillOnce(Return(true));

    const Answer answer = Send(SET_SYSTEM_STATE, "2#", 70);

    EXPECT_EQ(answer.Payload(), "1#");
    EXPECT_EQ(answer.result, 10);
    EXPECT_THAT(platform::Records(),
                ElementsAre(CodecInfo("UnPackSetSystemStateRequest ssMsgStr=2#, state=-1()"),
                            Warning("SetSystemStateHandle callback begin. state=2(SUSPEND)"),
                            Warning("SetSystemStateHandle callback end. ret=1")));
}

TEST_F(StateCallbacks, TimedOneGetsStateAndTimeOut)
{
    RegisterTimed();
    EXPECT_CALL(timed, Call(258, 70)).WillOnce(Return(true));

    EXPECT_EQ(Send(SET_SYSTEM_STATE, "258#", 70).Payload(), "1#");

    EXPECT_THAT(
        platform::Records(),
        ElementsAre(
            CodecInfo("UnPackSetSystemStateRequest ssMsgStr=258#, state=-1()"),
            Warning("SetSystemStateHandle with timeout callback begin. state=258(SUSPEND_PRE)"),
            Warning("SetSystemStateHandle with timeout callback end. ret=1")));
}

TEST_F(StateCallbacks, TimedOneWinsWhicheverCameLast)
{
    RegisterTimed();
    RegisterPlain();
    EXPECT_CALL(timed, Call(2, 70)).WillOnce(Return(true));
    EXPECT_CALL(plain, Call).Times(0);

    EXPECT_EQ(Send(SET_SYSTEM_STATE, "2#", 70).Payload(), "1#");
}

TEST_F(StateCallbacks, PlainOneRunsOnceTheTimedIsEmptied)
{
    RegisterTimed();
    RegisterPlain();
    server.RegSetSystemStateTimeoutCallBackImpl({}, kResFile);
    EXPECT_CALL(plain, Call(2)).WillOnce(Return(true));

    EXPECT_EQ(Send(SET_SYSTEM_STATE, "2#", 70).Payload(), "1#");
}

TEST_F(StateCallbacks, RefusalIsTheAnswer)
{
    RegisterPlain();
    EXPECT_CALL(plain, Call(3)).WillOnce(Return(false));

    EXPECT_EQ(Send(SET_SYSTEM_STATE, "3#").Payload(), "0#");

    EXPECT_THAT(platform::Warnings(),
                ElementsAre("SetSystemStateHandle callback begin. state=3(UPGRADE)",
                            "SetSystemStateHandle callback end. ret=0"));
    EXPECT_EQ(ServerInternals::State(server), 3);
}

TEST_F(StateCallbacks, RefusalOfTheTimedOneIsTheAnswer)
{
    RegisterTimed();
    EXPECT_CALL(timed, Call(0, 5000)).WillOnce(Return(false));

    EXPECT_EQ(Send(SET_SYSTEM_STATE, "0#").Payload(), "0#");

    EXPECT_THAT(platform::Warnings(),
                ElementsAre("SetSystemStateHandle with timeout callback begin. state=0(OFF)",
                            "SetSystemStateHandle with timeout callback end. ret=0"));
}

TEST_F(StateCallbacks, NoneIsARefusalThatKeepsTheState)
{
    const Answer answer = Send(SET_SYSTEM_STATE, "2#");

    EXPECT_EQ(answer.Payload(), "0#");
    EXPECT_EQ(answer.result, 10);
    EXPECT_THAT(platform::Records(),
                ElementsAre(CodecInfo("UnPackSetSystemStateRequest ssMsgStr=2#, state=-1()"),
                            Error("SetSystemStateHandle failed, callback is nullptr")));
    EXPECT_EQ(ServerInternals::State(server), 2);
}

TEST_F(StateCallbacks, TimeOutIsPassedOnUnchanged)
{
    RegisterTimed();
    for (const int timeOut : {-1, 0, 99, 60001, std::numeric_limits<int>::min()}) {
        EXPECT_CALL(timed, Call(2, timeOut)).WillOnce(Return(true));
        Send(SET_SYSTEM_STATE, "2#", timeOut);
    }
}

TEST_F(StateCallbacks, UnknownStateHasNoText)
{
    RegisterPlain();
    EXPECT_CALL(plain, Call(5)).WillOnce(Return(true));
    EXPECT_CALL(plain, Call(-2)).WillOnce(Return(true));

    Send(SET_SYSTEM_STATE, "5#");
    Send(SET_SYSTEM_STATE, "-2#");

    EXPECT_THAT(platform::Warnings(), ElementsAre("SetSystemStateHandle callback begin. state=5()",
                                                  "SetSystemStateHandle callback end. ret=1",
                                                  "SetSystemStateHandle callback begin. state=-2()",
                                                  "SetSystemStateHandle callback end. ret=1"));
}

TEST_F(StateCallbacks, RequestThatCannotBeReadGoesOnWithMinusOne)
{
    RegisterPlain();
    EXPECT_CALL(plain, Call(-1)).WillOnce(Return(true));
    auto request = RequestOf("2#");
    request.size = 3889;

    const Answer answer = Send(SET_SYSTEM_STATE, request);

    EXPECT_EQ(answer.Payload(), "1#");
    EXPECT_THAT(platform::Records(),
                ElementsAre(CodecError("request size=3889 bytes is invalid"),
                            Error("SetSystemStateHandle: UnPackSetSystemStateRequest fail, "
                                  "state=-1()"),
                            Warning("SetSystemStateHandle callback begin. state=-1()"),
                            Warning("SetSystemStateHandle callback end. ret=1")));
    EXPECT_EQ(ServerInternals::State(server), -1);
}

TEST_F(StateCallbacks, TextThatIsNoNumberCountsAsItIsRead)
{
    RegisterPlain();
    EXPECT_CALL(plain, Call(0)).WillOnce(Return(true));
    EXPECT_CALL(plain, Call(-1)).WillOnce(Return(true));
    EXPECT_CALL(plain, Call(2)).WillOnce(Return(true));

    Send(SET_SYSTEM_STATE, "abc");
    Send(SET_SYSTEM_STATE, "");
    Send(SET_SYSTEM_STATE, "2");

    EXPECT_THAT(platform::Errors(), IsEmpty());
}

TEST_F(StateCallbacks, AnswerThatCannotBeCopiedIsEmpty)
{
    RegisterPlain();
    EXPECT_CALL(plain, Call(2)).WillOnce(Return(true));
    platform::SetNext("memcpy_s", {platform::Fails(ERANGE)});

    const Answer answer = Send(SET_SYSTEM_STATE, "2#");

    EXPECT_EQ(answer.result, 8);
    EXPECT_EQ(answer.Size(), 0u);
    EXPECT_THAT(platform::Errors(),
                ElementsAre("PackSetSystemStateResponse failed respStr=1# respStrSize=2"));
}

TEST_F(StateCallbacks, CancelOneGetsWorkingAndTheTimeOut)
{
    RegisterCancel();
    ServerInternals::Put(server, 258, false);
    EXPECT_CALL(cancel, Call(1, -1)).WillOnce(Return(true));

    const Answer answer = Send(CANCEL_SUSPEND, "1#", -1);

    EXPECT_EQ(answer.Payload(), "1#");
    EXPECT_EQ(answer.result, 10);
    EXPECT_THAT(platform::Records(),
                ElementsAre(Warning("CancelSuspendStateHandle with timeout callback begin."),
                            Warning("CancelSuspendStateHandle with timeout callback end. ret=1")));
}

TEST_F(StateCallbacks, RefusedCancelStillSetsWorking)
{
    RegisterCancel();
    ServerInternals::Put(server, 258, false);
    EXPECT_CALL(cancel, Call(1, 5000)).WillOnce(Return(false));

    EXPECT_EQ(Send(CANCEL_SUSPEND).Payload(), "0#");

    EXPECT_THAT(platform::Warnings(),
                ElementsAre("CancelSuspendStateHandle with timeout callback begin.",
                            "CancelSuspendStateHandle with timeout callback end. ret=0"));
    EXPECT_EQ(ServerInternals::State(server), 1);
    EXPECT_TRUE(ServerInternals::IsCancelPending(server));
}

TEST_F(StateCallbacks, CancelWithoutOneIsRefusedAndSetsWorking)
{
    ServerInternals::Put(server, 258, false);

    EXPECT_EQ(Send(CANCEL_SUSPEND).Payload(), "0#");

    EXPECT_THAT(platform::Records(),
                ElementsAre(Error("CancelSuspendStateHandle failed, callback is nullptr")));
    EXPECT_EQ(ServerInternals::State(server), 1);
    EXPECT_TRUE(ServerInternals::IsCancelPending(server));
}

TEST_F(StateCallbacks, CancelsPayloadIsNeverRead)
{
    RegisterCancel();
    ServerInternals::Put(server, 258, false);
    EXPECT_CALL(cancel, Call(1, 5000)).WillOnce(Return(true));
    auto request = RequestOf("258#");
    request.size = std::numeric_limits<uint64_t>::max();

    EXPECT_EQ(Send(CANCEL_SUSPEND, request).Payload(), "1#");

    EXPECT_THAT(platform::Errors(), IsEmpty());
}

TEST_F(StateCallbacks, AreLoggedToSyslogInTheSameWords)
{
    RegisterTimed();
    RegisterCancel();
    server.EnableSyslog();
    EXPECT_CALL(timed, Call(258, 70)).WillOnce(Return(true));
    EXPECT_CALL(cancel, Call(1, 5000)).WillOnce(Return(true));

    Send(SET_SYSTEM_STATE, "258#", 70);
    Send(CANCEL_SUSPEND);

    const std::string end = "SetSystemStateHandle with timeout callback end. ret=1";
    EXPECT_THAT(
        platform::Records(),
        ElementsAre(
            SyslogRecord(LOG_INFO, "UnPackSetSystemStateRequest ssMsgStr=258#, state=-1()"),
            SyslogRecord(LOG_WARNING,
                         "SetSystemStateHandle with timeout callback begin. "
                         "state=258(SUSPEND_PRE)"),
            SyslogRecord(LOG_WARNING, end),
            SyslogRecord(LOG_WARNING, "CancelSuspendStateHandle with timeout callback begin."),
            SyslogRecord(LOG_WARNING,
                         "CancelSuspendStateHandle with timeout callback end. ret=1")));
    EXPECT_THAT(platform::LevelQueries(), IsEmpty());
}

TEST_F(StateCallbacks, OfAMissingOneAndABadRequestAreLoggedToSyslogToo)
{
    server.EnableSyslog();
    auto request = RequestOf("");
    request.size = 3889;

    Send(SET_SYSTEM_STATE, request);
    ServerInternals::Put(server, 258, false);
    Send(CANCEL_SUSPEND);

    EXPECT_THAT(
        platform::Records(),
        ElementsAre(
            SyslogRecord(LOG_ERR, "request size=3889 bytes is invalid"),
            SyslogRecord(LOG_ERR,
                         "SetSystemStateHandle: UnPackSetSystemStateRequest fail, state=-1()"),
            SyslogRecord(LOG_ERR, "SetSystemStateHandle failed, callback is nullptr"),
            SyslogRecord(LOG_ERR, "CancelSuspendStateHandle failed, callback is nullptr")));
}

}  // namespace
