#include "bench/exchange_peer.h"

#include <algorithm>
#include <stdexcept>

namespace bench {

std::vector<ExchangePeer> AllExchangePeers()
{
    return {DaemonBusPeer(), DirectBusPeer(), ZeroMqPeer(), IceoryxPeer()};
}

std::unique_ptr<RoleProcess> StartPeer(const char* name, const std::string& address)
{
    auto process =
        std::make_unique<RoleProcess>(std::vector<std::string>{"exchange-peer", name, address});
    process->AwaitReady();
    return process;
}

void ServeAsPeer(const std::string& name, const std::string& address)
{
    const std::vector<ExchangePeer> peers = AllExchangePeers();
    const auto found = std::find_if(peers.begin(), peers.end(),
                                    [&](const ExchangePeer& peer) { return peer.name == name; });
    if (found == peers.end() || !found->serve) {
        throw std::invalid_argument("no such peer");
    }
    found->serve(address);
}

}  // namespace bench
