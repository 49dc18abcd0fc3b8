#include "bench/pipe_cases.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <thread>

#include "bench/cases.h"
#include "bench/processes.h"
#include "platform/ezcom.h"

namespace bench {
namespace {

constexpr const char* kBareExchange = "bare: a pipe's message each way";
constexpr int kCalls = 200;
constexpr int kTimeOut = 5000;
constexpr std::array<char, 4096> kData = {};
// What a pipe sends: its header and the data.
using Message = std::array<char, 24 + kData.size()>;

// Passes on to the processes that this one starts.
std::string Inheritable(int fd)
{
    fcntl(fd, F_SETFD, 0);
    return std::to_string(fd);
}

// A process at the other end of a pipe and of a bare socket.
class PipePeer {
public:
    PipePeer()
    {
        int sockets[2] = {-1, -1};
        int pipeSocket = -1;
        pipe_ = EzcomMakePipe(&pipeSocket);
        Require(pipe_ >= 0 && socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, sockets) == 0,
                "making a pipe");
        bare_ = sockets[0];
        process_ = std::make_unique<RoleProcess>(std::vector<std::string>{
            "pipe-peer", Inheritable(pipeSocket), Inheritable(sockets[1])});
        close(pipeSocket);
        close(sockets[1]);
        process_->AwaitReady();
        Require(EzcomFillRequest(request_.get(), 1, kData.data(), kData.size()) == 0, "a request");
    }
    ~PipePeer()
    {
        EzcomClosePipe(pipe_);
        close(bare_);
    }
    PipePeer(const PipePeer&) = delete;
    PipePeer& operator=(const PipePeer&) = delete;

    void ExchangeBare()
    {
        const auto size = static_cast<ssize_t>(message_.size());
        Require(send(bare_, message_.data(), message_.size(), MSG_NOSIGNAL) == size &&
                    recv(bare_, message_.data(), message_.size(), 0) == size,
                "the bare exchange");
    }
    void Call() { Require(EzcomRPCSync(pipe_, request_.get(), response_.get()) == 0, "a call"); }
    void TimedCall()
    {
        Require(EzcomTimedRPCSync(pipe_, request_.get(), response_.get(), kTimeOut) == 0,
                "a timed call");
    }

private:
    std::unique_ptr<EzcomRequest, void (*)(EzcomRequest*)> request_{EzcomMakeRequest(),
                                                                    EzcomFreeRequest};
    std::unique_ptr<EzcomResponse, void (*)(EzcomResponse*)> response_{EzcomMakeResponse(),
                                                                       EzcomFreeResponse};
    Message message_ = {};
    int pipe_ = -1;
    int bare_ = -1;
    std::unique_ptr<RoleProcess> process_;
};

void ServeBare(int socket)
{
    Message message;
    while (recv(socket, message.data(), message.size(), 0) > 0 &&
           send(socket, message.data(), message.size(), MSG_NOSIGNAL) > 0) {}
}

}  // namespace

void AddPipeCalls(std::vector<Case>& cases)
{
    const auto peer = std::make_shared<PipePeer>();
    cases.push_back({kBareExchange, {}, kCalls, [peer] {
                         peer->ExchangeBare();
                     }});
    cases.push_back({"pipe: EzcomRPCSync, 4 KiB", {{kBareExchange}}, kCalls, [peer] {
                         peer->Call();
                     }});
    cases.push_back({"pipe: EzcomTimedRPCSync, 4 KiB", {{kBareExchange}}, kCalls, [peer] {
                         peer->TimedCall();
                     }});
}

void ServePipeCalls(const std::string& pipeSocket, const std::string& bareSocket)
{
    const int pipe = EzcomAdoptPipe(std::stoi(pipeSocket));
    std::thread(ServeBare, std::stoi(bareSocket)).detach();
    EzcomRequest* const request = EzcomMakeRequest();
    EzcomResponse* const response = EzcomMakeResponse();
    EzcomFillResponse(response, 1, kData.data(), kData.size());
    std::cout << "ready" << std::endl;
    while (EzcomReceiveRequest(pipe, request, -1) == 0) {
        Require(EzcomAnswer(response, request) == 0 && EzcomSendResponse(pipe, response) == 0,
                "a response");
    }
    EzcomFreeResponse(response);
    EzcomFreeRequest(request);
}

}  // namespace bench
