// Who stands at the other end of a socket.
#ifndef OWNERLINK_PLATFORM_HOSTED_PEER_CREDENTIALS_H
#define OWNERLINK_PLATFORM_HOSTED_PEER_CREDENTIALS_H

#include <sys/types.h>

#include "platform/hosted/permitted_group.h"

namespace hosted {

struct PeerCredentials {
    pid_t process = 0;
    uid_t user = static_cast<uid_t>(-1);
    gid_t group = static_cast<gid_t>(-1);
};

// As they were when the peer connected or began to listen.
PeerCredentials CredentialsOf(int fd);

// This process's user and root, who may connect whatever the group.
bool IsOwnerOrRoot(const PeerCredentials& peer);

// Whether the client at `fd` may connect: the above, and the members of `group`.
bool MayConnect(int fd, const PeerCredentials& peer, const PermittedGroup& group);

}  // namespace hosted

#endif
