// How every kind of owner brings up the endpoint of a name and takes it back.
#ifndef OWNERLINK_PLATFORM_HOSTED_OWNER_ENDPOINT_H
#define OWNERLINK_PLATFORM_HOSTED_OWNER_ENDPOINT_H

#include <string_view>

#include "platform/hosted/endpoint_record.h"

namespace hosted {

// Listens, and then publishes `endpoint` as that of `name`, whose lock the caller holds. A dead
// owner's leftover is replaced. EEXIST: another name has the same digest.
Outcome<UniqueFd> PublishAndListen(const RuntimeDir& directory, std::string_view name,
                                   const Endpoint& endpoint);

// The caller still holds the name's lock.
void WithdrawEndpoint(const RuntimeDir& directory, std::string_view name, uint64_t instance);

}  // namespace hosted

#endif
