// In the place of peer_sdbus.cpp where the sd-bus library is not installed.

#include <stdexcept>

#include "bench/exchange_peer.h"

namespace bench {

ExchangePeer DaemonBusPeer()
{
    return {"peer: D-Bus, through its daemon", 0, {}, {}};
}

ExchangePeer DirectBusPeer()
{
    return {"peer: D-Bus, peer to peer", 0, {}, {}};
}

void ServeBusDaemon(const std::string& /*directory*/)
{
    throw std::runtime_error("the sd-bus library is not installed");
}

}  // namespace bench
