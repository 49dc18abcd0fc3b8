// Other systems' ways to carry one message of a record's size to another process and one back, over
// connections that are kept.
#ifndef OWNERLINK_BENCH_EXCHANGE_PEER_H
#define OWNERLINK_BENCH_EXCHANGE_PEER_H

#include <array>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "bench/bare_connection.h"
#include "bench/processes.h"

namespace bench {

using PeerMessage = std::array<char, kBareMessage>;

class PeerConnection {
public:
    virtual ~PeerConnection() = default;

    // Throws when it does not succeed.
    virtual void Exchange() = 0;
};

struct ExchangePeer {
    const char* name;
    double aim;  // for the library's exchange, as a part of this one's time
    // Starts the other end as a process. Empty when the peer is not installed. Throws when it does
    // not start. Its files lie in `directory`.
    std::function<std::unique_ptr<PeerConnection>(const std::string& directory)> connect;
    // The other end: prints "ready" and answers for ever. `address` is what `connect` has made up.
    std::function<void(const std::string& address)> serve;
};

ExchangePeer DaemonBusPeer();
ExchangePeer DirectBusPeer();
ExchangePeer ZeroMqPeer();
ExchangePeer IceoryxPeer();
std::vector<ExchangePeer> AllExchangePeers();

// Starts the other end and waits until it is ready.
std::unique_ptr<RoleProcess> StartPeer(const char* name, const std::string& address);

// The roles of the other ends, and of the daemon that the first peer needs: that one's first line
// is its address.
void ServeAsPeer(const std::string& name, const std::string& address);
void ServeBusDaemon(const std::string& directory);

}  // namespace bench

#endif
