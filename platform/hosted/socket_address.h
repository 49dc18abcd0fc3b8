// Sockets in the runtime directory.
#ifndef OWNERLINK_PLATFORM_HOSTED_SOCKET_ADDRESS_H
#define OWNERLINK_PLATFORM_HOSTED_SOCKET_ADDRESS_H

#include <cstdint>

#include "platform/hosted/deadline.h"
#include "platform/hosted/outcome.h"
#include "platform/hosted/runtime_dir.h"

namespace hosted {

inline constexpr int kBacklog = 256;

// Lets `count` messages of full size lie unread at the other end, two at least; a system may be set
// below that. They cost this end's memory.
void MakeRoomForMessages(int fd, int count = 8);

// Binds and listens at the socket of `instance`, mode 0660, without blocking.
Outcome<UniqueFd> ListenAt(const RuntimeDir& directory, uint64_t instance);

// Connects to the socket of `instance`; waits until `deadline` for room in the backlog.
//
// ENOENT: nobody listens there. EACCES: not permitted, or the listener is neither the directory's
// user nor root. ETIMEDOUT: the backlog stayed full.
Outcome<UniqueFd> ConnectTo(const RuntimeDir& directory, uint64_t instance,
                            const Deadline& deadline);

}  // namespace hosted

#endif
