// Two processes that exchange the process manager's records over a pipe, through the five wrappers
// of the shared library.
#include <fcntl.h>
#include <ownerlink/process_manager.h>
#include <unistd.h>

#include <csignal>
#include <string>
#include <vector>

#include "tests/pipe/pipe_world.h"
#include "tests/pipe/process_records.h"

using testing::HasSubstr;
using testing::Not;

namespace {

constexpr const char* kStates2 = "2#radar#5#6#7#8#camera#1#2#3#4#";

// What a sanitizer has found in it fails the test.
class Master : public OwnerProcess {
public:
    explicit Master(const std::string& role = kPipeName) : OwnerProcess(role) {}
    ~Master() { EXPECT_THAT(Log(), Not(HasSubstr("Sanitizer"))); }
    Master(const Master&) = delete;
    Master& operator=(const Master&) = delete;
};

Request RequestOf(ProcMgr::Message::RequestType type, const std::string& payload)
{
    const ProcMgr::Message::RequestMsg record = RecordOf(type, payload);
    Request request;
    EXPECT_EQ(EzcomFillRequest(request, static_cast<uint32_t>(type), &record, sizeof record), 0);
    return request;
}

std::string PayloadOf(const Response& response)
{
    const ProcMgr::Message::RequestMsg record =
        RecordIn(EzcomResponseData(response), EzcomResponseSize(response));
    return {record.data, record.size};
}

class TwoProcesses : public HostedTest {
protected:
    TwoProcesses()
    {
        EXPECT_EQ(master_.FirstLine(), "ready");
        pipe_ = EzcomConnectPipe(kPipeName);
        EXPECT_EQ(master_.Tell("accept"), "done");
    }

    int Call(const Response& response) const
    {
        return ProcMgr::ProcMgrEzcomRPCSync(pipe_, RequestOf(kTerminate, "1#camera#"), response);
    }
    // Sends terminate records for a0, a1 and so on until the pipe is busy, and says how many.
    int FillPipe() const
    {
        int count = 0;
        while (EzcomSendRequest(pipe_, Terminate(count)) == 0) {
            ++count;
        }
        EXPECT_EQ(EzcomSendRequest(pipe_, Terminate(count)), -EAGAIN);
        return count;
    }
    static Request Terminate(int number)
    {
        return RequestOf(kTerminate, "1#a" + std::to_string(number) + "#");
    }

    Master master_;
    int pipe_ = -1;
};

}  // namespace

TEST_F(TwoProcesses, ExchangeStartRecords)
{
    const Request request = RequestOf(kStart, "2#camera#2#-v#--fast#2#0#1#high#2#2#a#b#radar#0#0#");

    EXPECT_EQ(ProcMgr::ProcMgrEzcomSendRequest(pipe_, request), 0);

    EXPECT_EQ(master_.Tell("receive"), "start camera( -v --fast )0: high2: a b radar( )");
}

TEST_F(TwoProcesses, ExchangeRestartRecords)
{
    EXPECT_EQ(ProcMgr::ProcMgrEzcomSendRequest(pipe_, RequestOf(kRestart, "2#a#1#-q#b#0#")), 0);

    EXPECT_EQ(master_.Tell("receive"), "restart a( -q ) b( )");
}

TEST_F(TwoProcesses, ExchangeTerminateRecords)
{
    EXPECT_EQ(ProcMgr::ProcMgrEzcomSendRequest(pipe_, RequestOf(kTerminate, "2#camera#radar#")), 0);

    EXPECT_EQ(master_.Tell("receive"), "terminate camera radar");
}

TEST_F(TwoProcesses, ExchangeConfigurationRecords)
{
    const Request request =
        RequestOf(kConfiguration, "1#/etc/start.yaml#3#mode#fast#level#2#mode#slow#");

    EXPECT_EQ(ProcMgr::ProcMgrEzcomSendRequest(pipe_, request), 0);

    EXPECT_EQ(master_.Tell("receive"), "configuration /etc/start.yaml level=2 mode=fast");
}

TEST_F(TwoProcesses, AnswerACallWithTheStatesOfApplications)
{
    const Response response;
    LaterCall call([&] { return Call(response); });
    EXPECT_EQ(master_.Tell("receive"), "terminate camera");
    EXPECT_EQ(master_.Tell("answer"), "done");

    EXPECT_EQ(call.Result(), 0);

    EXPECT_EQ(response.Type(), kStateType);
    EXPECT_EQ(EzcomResponseSize(response), sizeof(ProcMgr::Message::RequestMsg));
    EXPECT_EQ(PayloadOf(response), kStates2);
}

TEST_F(TwoProcesses, AnswerATimedCall)
{
    const Response response;
    LaterCall call([&] {
        return ProcMgr::ProcMgrEzcomTimedRPCSync(pipe_, RequestOf(kRestart, "1#a#0#"), response,
                                                 20000);
    });
    EXPECT_EQ(master_.Tell("receive"), "restart a( )");
    EXPECT_EQ(master_.Tell("answer"), "done");

    EXPECT_EQ(call.Result(), 0);
    EXPECT_EQ(PayloadOf(response), kStates2);
}

TEST_F(TwoProcesses, SendRequestsBack)
{
    EXPECT_EQ(master_.Tell("request"), "done");

    const Request request;
    ASSERT_EQ(EzcomReceiveRequest(pipe_, request, kNoLimit), 0);
    const auto record = RecordIn(EzcomRequestData(request), EzcomRequestSize(request));
    EXPECT_EQ(record.type, kStates);
    EXPECT_EQ(std::string(record.data, record.size), kStates2);
}

TEST_F(TwoProcesses, ShareAnInheritedSocket)
{
    int socket = -1;
    const int pipe = EzcomMakePipe(&socket);
    fcntl(socket, F_SETFD, 0);
    Master child("socket " + std::to_string(socket));
    close(socket);
    ASSERT_EQ(child.FirstLine(), "ready");

    EXPECT_EQ(ProcMgr::ProcMgrEzcomSendRequest(pipe, RequestOf(kTerminate, "1#camera#")), 0);

    EXPECT_EQ(child.Tell("receive"), "terminate camera");
    child.Kill();
    EXPECT_EQ(EzcomReceiveRequest(pipe, Request(), kNoLimit), -EPIPE);
}

TEST_F(TwoProcesses, BearASlowPeer)
{
    const int sent = FillPipe();
    LaterCall send([&] { return ProcMgr::ProcMgrEzcomSendRequest(pipe_, Terminate(sent)); });
    EXPECT_TRUE(send.HasPaused(3));

    for (int i = 0; i <= sent; ++i) {
        ASSERT_EQ(master_.Tell("receive"), "terminate a" + std::to_string(i));
    }

    EXPECT_EQ(send.Result(), 0);
}

TEST_F(TwoProcesses, MakeACallThatFoundThePipeBusy)
{
    const int sent = FillPipe();
    const Response response;
    LaterCall call([&] { return Call(response); });
    EXPECT_TRUE(call.HasPaused(3));

    for (int i = 0; i < sent; ++i) {
        ASSERT_EQ(master_.Tell("receive"), "terminate a" + std::to_string(i));
    }
    EXPECT_EQ(master_.Tell("receive"), "terminate camera");
    EXPECT_EQ(master_.Tell("answer"), "done");

    EXPECT_EQ(call.Result(), 0);
    EXPECT_EQ(PayloadOf(response), kStates2);
}

TEST_F(TwoProcesses, GiveUpOnAPeerThatStaysBusy)
{
    FillPipe();

    EXPECT_EQ(ProcMgr::ProcMgrEzcomSendRequest(pipe_, Terminate(0)), -EAGAIN);
}

TEST_F(TwoProcesses, SeeAPeerThatIsKilledInACall)
{
    const Response response("before");
    LaterCall call([&] { return Call(response); });
    EXPECT_EQ(master_.Tell("receive"), "terminate camera");

    master_.Kill();

    EXPECT_EQ(call.Result(), -EPIPE);
    EXPECT_EQ(response.Text(), "before");
    EXPECT_EQ(ProcMgr::ProcMgrEzcomSendRequest(pipe_, Terminate(0)), -EPIPE);
    EXPECT_EQ(Call(Response()), -EPIPE);
    EXPECT_EQ(EzcomClosePipe(pipe_), 0);
}

TEST_F(TwoProcesses, SeeAPeerThatIsKilledWithRequestsUnread)
{
    EXPECT_EQ(ProcMgr::ProcMgrEzcomSendRequest(pipe_, Terminate(0)), 0);

    master_.Kill();

    EXPECT_EQ(ProcMgr::ProcMgrEzcomSendRequest(pipe_, Terminate(1)), -EPIPE);
    EXPECT_EQ(EzcomReceiveRequest(pipe_, Request(), kNoLimit), -EPIPE);
}

TEST_F(TwoProcesses, FindTheNextLifeUnderTheSameName)
{
    master_.Kill();
    EXPECT_EQ(EzcomConnectPipe(kPipeName), -ENOENT);
    Master next;
    ASSERT_EQ(next.FirstLine(), "ready");

    const int pipe = EzcomConnectPipe(kPipeName);
    EXPECT_EQ(next.Tell("accept"), "done");

    EXPECT_EQ(ProcMgr::ProcMgrEzcomSendRequest(pipe, Terminate(7)), 0);
    EXPECT_EQ(next.Tell("receive"), "terminate a7");
    EXPECT_EQ(EzcomSendRequest(pipe_, Terminate(8)), -EPIPE);
}

TEST_F(TwoProcesses, TakeNoNameFromALivingHolder)
{
    EXPECT_EQ(Master().FirstLine(), "failed -98");
    EXPECT_EQ(EzcomListen(kPipeName), -EADDRINUSE);
}

TEST_F(TwoProcesses, WaitNoLongerThanTheyShouldForAPeerThatIsStopped)
{
    master_.Stop();

    EXPECT_EQ(
        ProcMgr::ProcMgrEzcomTimedRPCSync(pipe_, RequestOf(kTerminate, "1#slow#"), Response(), 50),
        -ETIMEDOUT);

    master_.Signal(SIGCONT);
    EXPECT_EQ(master_.Tell("receive"), "terminate slow");
    EXPECT_EQ(master_.Tell("answer"), "done");  // too late
    const Response response;
    LaterCall call([&] { return Call(response); });
    EXPECT_EQ(master_.Tell("receive"), "terminate camera");
    EXPECT_EQ(master_.Tell("answer"), "done");
    EXPECT_EQ(call.Result(), 0);
}

TEST_F(TwoProcesses, ConnectToAPeerThatIsStopped)
{
    master_.Stop();

    const int pipe = EzcomConnectPipe(kPipeName);
    EXPECT_EQ(EzcomSendRequest(pipe, Terminate(1)), 0);

    master_.Signal(SIGCONT);
    EXPECT_EQ(master_.Tell("accept"), "done");
    EXPECT_EQ(master_.Tell("receive"), "terminate a1");
}

TEST_F(TwoProcesses, CloseAPipeOnceItsCallHasEnded)
{
    LaterCall call([&] { return Call(Response()); });
    EXPECT_EQ(master_.Tell("receive"), "terminate camera");
    ASSERT_EQ(EzcomClosePipe(pipe_), -EBUSY);
    LaterCall close([&] {
        do {
            ProcMgr::ProcMgrEzcomClosePipe(pipe_);  // gives up after about a second
        } while (EzcomReceiveRequest(pipe_, Request(), 0) != -EBADF);
        return 0;
    });
    EXPECT_TRUE(close.HasPaused(1));

    EXPECT_EQ(master_.Tell("answer"), "done");

    EXPECT_EQ(call.Result(), 0);
    EXPECT_EQ(close.Result(), 0);
    EXPECT_EQ(EzcomSendRequest(pipe_, Terminate(0)), -EBADF);
    EXPECT_EQ(master_.Tell("receive"), "failed -32");
}

TEST_F(TwoProcesses, LeaveAPipeOpenWhoseCallDoesNotEnd)
{
    LaterCall call([&] { return Call(Response()); });
    EXPECT_EQ(master_.Tell("receive"), "terminate camera");

    ProcMgr::ProcMgrEzcomClosePipe(pipe_);  // about a second

    EXPECT_EQ(EzcomSendRequest(pipe_, Terminate(0)), 0);
    EXPECT_EQ(master_.Tell("answer"), "done");
    EXPECT_EQ(call.Result(), 0);
}

TEST_F(TwoProcesses, AnswerCallsOfSeveralThreads)
{
    constexpr size_t kCalls = 16;
    std::vector<std::unique_ptr<LaterCall>> calls;
    std::vector<Response> responses(kCalls);
    for (const Response& response : responses) {
        calls.push_back(std::make_unique<LaterCall>([&] { return Call(response); }));
    }
    for (size_t i = 0; i < kCalls; ++i) {
        EXPECT_EQ(master_.Tell("receive"), "terminate camera");
    }
    for (size_t i = 0; i < kCalls; ++i) {
        EXPECT_EQ(master_.Tell("answer"), "done");
    }

    for (size_t i = 0; i < kCalls; ++i) {
        EXPECT_EQ(calls[i]->Result(), 0);
        EXPECT_EQ(PayloadOf(responses[i]), kStates2);
    }
}

TEST_F(TwoProcesses, SeeThePeersClose)
{
    EXPECT_EQ(master_.Tell("close"), "closed");

    EXPECT_EQ(ProcMgr::ProcMgrEzcomSendRequest(pipe_, Terminate(0)), -EPIPE);
    EXPECT_EQ(Call(Response()), -EPIPE);
}

TEST_F(TwoProcesses, EndCleanly)
{
    master_.Write("exit");

    EXPECT_EQ(master_.AwaitExit(), 0);
    EXPECT_EQ(EzcomReceiveRequest(pipe_, Request(), kNoLimit), -EPIPE);
    EXPECT_THAT(directory_.Files(), testing::ElementsAre(testing::EndsWith(".lock")));
}
