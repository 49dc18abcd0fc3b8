#include "platform/hosted/peer_credentials.h"

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <vector>

namespace hosted {
namespace {

std::vector<gid_t> GroupsOf(int fd)
{
    socklen_t size = 0;
    getsockopt(fd, SOL_SOCKET, SO_PEERGROUPS, nullptr, &size);  // tells the size and fails
    std::vector<gid_t> groups(size / sizeof(gid_t));
    if (getsockopt(fd, SOL_SOCKET, SO_PEERGROUPS, groups.data(), &size) != 0) {
        groups.clear();
    }
    return groups;
}

}  // namespace

PeerCredentials CredentialsOf(int fd)
{
    ucred credentials = {};
    socklen_t size = sizeof credentials;
    if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0) {
        return {};
    }
    return {credentials.pid, credentials.uid, credentials.gid};
}

bool IsOwnerOrRoot(const PeerCredentials& peer)
{
    return peer.user == geteuid() || peer.user == 0;
}

bool MayConnect(int fd, const PeerCredentials& peer, const PermittedGroup& group)
{
    if (IsOwnerOrRoot(peer)) {
        return true;
    }
    const std::optional<gid_t> wanted = group.Number();
    if (!wanted) {
        return false;
    }
    const std::vector<gid_t> groups = GroupsOf(fd);
    return peer.group == *wanted ||
           std::find(groups.begin(), groups.end(), *wanted) != groups.end();
}

}  // namespace hosted
