// ZeroMQ's request and reply over `ipc`.

#include <zmq.h>

#include <iostream>
#include <stdexcept>

#include "bench/exchange_peer.h"

namespace bench {
namespace {

constexpr const char* kZeroMq = "peer: ZeroMQ, REQ and REP";
constexpr double kAim = 1 / 7.0;

void Check(bool condition, const char* what)
{
    if (!condition) {
        throw std::runtime_error(std::string(what) + ": " + zmq_strerror(zmq_errno()));
    }
}

void Send(void* socket, const PeerMessage& message)
{
    Check(zmq_send(socket, message.data(), message.size(), 0) == static_cast<int>(message.size()),
          "zmq_send");
}

void Receive(void* socket, PeerMessage& message)
{
    Check(zmq_recv(socket, message.data(), message.size(), 0) == static_cast<int>(message.size()),
          "zmq_recv");
}

class Requester : public PeerConnection {
public:
    explicit Requester(const std::string& directory)
        : address_("ipc://" + directory + "/zeromq-exchange"),
          process_(StartPeer(kZeroMq, address_)),
          context_(zmq_ctx_new()),
          socket_(zmq_socket(context_, ZMQ_REQ))
    {
        Check(zmq_connect(socket_, address_.c_str()) == 0, "zmq_connect");
    }

    ~Requester() override
    {
        const int linger = 0;
        zmq_setsockopt(socket_, ZMQ_LINGER, &linger, sizeof linger);
        zmq_close(socket_);
        zmq_ctx_term(context_);
    }

    void Exchange() override
    {
        Send(socket_, message_);
        Receive(socket_, message_);
    }

private:
    std::string address_;
    std::unique_ptr<RoleProcess> process_;
    void* context_;
    void* socket_;
    PeerMessage message_ = {};
};

void Reply(const std::string& address)
{
    void* const socket = zmq_socket(zmq_ctx_new(), ZMQ_REP);
    Check(zmq_bind(socket, address.c_str()) == 0, "zmq_bind");
    std::cout << "ready" << std::endl;
    PeerMessage message;
    while (true) {
        Receive(socket, message);
        Send(socket, message);
    }
}

}  // namespace

ExchangePeer ZeroMqPeer()
{
    return {kZeroMq, kAim,
            [](const std::string& directory) { return std::make_unique<Requester>(directory); },
            Reply};
}

}  // namespace bench
