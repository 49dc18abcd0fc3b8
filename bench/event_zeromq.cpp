// ZeroMQ's publish/subscribe over `ipc`.

#include <zmq.h>

#include <stdexcept>

#include "bench/event_system.h"

namespace bench {
namespace {

std::string AddressIn(const std::string& directory)
{
    return "ipc://" + directory + "/zeromq";
}

// More than are ever on the way: beyond its mark a publisher drops what it is given, and it learns
// late what has been taken.
constexpr int kMark = 8192;

void Check(bool condition, const char* what)
{
    if (!condition) {
        throw std::runtime_error(std::string(what) + ": " + zmq_strerror(zmq_errno()));
    }
}

class Publisher : public EventSender {
public:
    explicit Publisher(const std::string& directory)
        : context_(zmq_ctx_new()), socket_(zmq_socket(context_, ZMQ_PUB))
    {
        Check(zmq_setsockopt(socket_, ZMQ_SNDHWM, &kMark, sizeof kMark) == 0, "zmq_setsockopt");
        Check(zmq_bind(socket_, AddressIn(directory).c_str()) == 0, "zmq_bind");
    }

    ~Publisher() override
    {
        const int linger = 0;
        zmq_setsockopt(socket_, ZMQ_LINGER, &linger, sizeof linger);
        zmq_close(socket_);
        zmq_ctx_term(context_);
    }

    void Send(uint32_t event) override
    {
        Check(zmq_send(socket_, &event, sizeof event, 0) == sizeof event, "zmq_send");
    }

private:
    void* context_;
    void* socket_;
};

void Receive(const std::string& directory, size_t /*number*/, const EventSink& sink)
{
    void* const socket = zmq_socket(zmq_ctx_new(), ZMQ_SUB);
    Check(zmq_setsockopt(socket, ZMQ_RCVHWM, &kMark, sizeof kMark) == 0, "zmq_setsockopt");
    Check(zmq_setsockopt(socket, ZMQ_SUBSCRIBE, "", 0) == 0, "zmq_setsockopt");
    Check(zmq_connect(socket, AddressIn(directory).c_str()) == 0, "zmq_connect");
    while (true) {
        uint32_t event = 0;
        Check(zmq_recv(socket, &event, sizeof event, 0) == sizeof event, "zmq_recv");
        sink(event);
    }
}

}  // namespace

EventSystem ZeroMqEvents()
{
    return {"ZeroMQ", 900,
            [](const std::string& directory) { return std::make_unique<Publisher>(directory); },
            Receive};
}

}  // namespace bench
