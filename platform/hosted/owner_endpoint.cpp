#include "platform/hosted/owner_endpoint.h"

#include <cerrno>

#include "platform/hosted/socket_address.h"

namespace hosted {

// Listens first: whoever finds the record finds an owner behind it. The socket of the life before,
// dead since its lock was free, goes when nothing names it any more.
Outcome<UniqueFd> PublishAndListen(const RuntimeDir& directory, std::string_view name,
                                   const Endpoint& endpoint)
{
    const Outcome<Endpoint> former = ReadEndpoint(directory, name);
    if (former.error == EEXIST) {
        return Outcome<UniqueFd>::Failed(EEXIST);
    }
    Outcome<UniqueFd> listener = ListenAt(directory, endpoint.instance);
    if (!listener) {
        return listener;
    }
    if (const int error = PublishEndpoint(directory, name, endpoint); error != 0) {
        RemoveSocket(directory, endpoint.instance);
        return Outcome<UniqueFd>::Failed(error);
    }
    if (former) {
        RemoveSocket(directory, former.value.instance);
    }
    return listener;
}

void WithdrawEndpoint(const RuntimeDir& directory, std::string_view name, uint64_t instance)
{
    RemoveRecord(directory, name);
    RemoveSocket(directory, instance);
}

}  // namespace hosted
