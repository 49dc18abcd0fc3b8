// Waiting for a socket, with a limit or without.
#ifndef OWNERLINK_PLATFORM_HOSTED_SOCKET_WAIT_H
#define OWNERLINK_PLATFORM_HOSTED_SOCKET_WAIT_H

#include <poll.h>

#include <cerrno>
#include <optional>

#include "platform/hosted/deadline.h"

namespace hosted {

using TimeLimit = std::optional<Deadline>;  // none: however long it takes

// False when the time is over.
inline bool AwaitInput(int fd, const TimeLimit& limit)
{
    pollfd entry = {fd, POLLIN, 0};
    int ready = -1;
    do {
        ready = poll(&entry, 1, limit ? limit->RemainingMs() : -1);
    } while (ready < 0 && errno == EINTR);
    return ready > 0;
}

}  // namespace hosted

#endif
