// iceoryx's request and response: chunks of shared memory that both ends wait for on wait sets.

#include <iceoryx_posh/popo/client.hpp>
#include <iceoryx_posh/popo/server.hpp>
#include <iceoryx_posh/popo/wait_set.hpp>
#include <iostream>
#include <stdexcept>
#include <thread>

#include "bench/exchange_peer.h"
#include "bench/iceoryx_daemon.h"

namespace bench {
namespace {

constexpr const char* kIceoryx = "peer: iceoryx, request and response";
constexpr double kAim = 1.3;
constexpr std::chrono::seconds kPatience{5};

struct Payload {
    PeerMessage bytes;
};
using Client = iox::popo::Client<Payload, Payload>;
using Server = iox::popo::Server<Payload, Payload>;

iox::capro::ServiceDescription Service()
{
    return {"ownerlink-bench", "exchange", "record"};
}

template <typename End, typename State>
void WaitFor(iox::popo::WaitSet<>& waitSet, End& end, State state)
{
    if (waitSet.attachState(end, state).has_error()) {
        throw std::runtime_error("iceoryx cannot wait");
    }
}

class Requester : public PeerConnection {
public:
    Requester() : client_(Service())
    {
        WaitFor(waitSet_, client_, iox::popo::ClientState::HAS_RESPONSE);
        const auto end = std::chrono::steady_clock::now() + kPatience;
        while (client_.getConnectionState() != iox::ConnectionState::CONNECTED) {
            if (std::chrono::steady_clock::now() > end) {
                throw std::runtime_error("iceoryx does not connect");
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }

    void Exchange() override
    {
        auto request = client_.loan(payload_);
        if (request.has_error() || request.value().send().has_error()) {
            throw std::runtime_error("iceoryx cannot send");
        }
        while (true) {
            const auto response = client_.take();
            if (!response.has_error()) {
                payload_ = *response.value();
                return;
            }
            waitSet_.wait();
        }
    }

private:
    Client client_;
    iox::popo::WaitSet<> waitSet_;
    Payload payload_ = {};
};

// Kept with the connection: the process is to end ahead of the daemon.
class PeerWithProcess : public PeerConnection {
public:
    PeerWithProcess() : process_(StartPeer(kIceoryx, "ownerlink-bench-server")) {}
    ~PeerWithProcess() override
    {
        process_.reset();
        RemoveIceoryxLeftovers("ownerlink-bench-server");
    }
    void Exchange() override { requester_.Exchange(); }

private:
    std::unique_ptr<RoleProcess> process_;
    Requester requester_;
};

std::unique_ptr<PeerConnection> Connect(const std::string& /*directory*/)
{
    StartIceoryxDaemon();
    JoinIceoryx("ownerlink-bench-client");
    return std::make_unique<PeerWithProcess>();
}

void AnswerAll(Server& server)
{
    for (auto request = server.take(); !request.has_error(); request = server.take()) {
        auto response = server.loan(request.value(), *request.value());
        if (response.has_error() || response.value().send().has_error()) {
            throw std::runtime_error("iceoryx cannot answer");
        }
    }
}

void Serve(const std::string& name)
{
    JoinIceoryx(name);
    Server server(Service());
    iox::popo::WaitSet<> waitSet;
    WaitFor(waitSet, server, iox::popo::ServerState::HAS_REQUEST);
    std::cout << "ready" << std::endl;
    while (true) {
        waitSet.wait();
        AnswerAll(server);
    }
}

}  // namespace

ExchangePeer IceoryxPeer()
{
    return {kIceoryx, kAim, Connect, Serve};
}

}  // namespace bench
