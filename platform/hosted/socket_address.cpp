#include "platform/hosted/socket_address.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>

#include "platform/hosted/endpoint_name.h"
#include "platform/hosted/hosted_log.h"
#include "platform/hosted/message.h"
#include "platform/hosted/peer_credentials.h"

namespace hosted {
namespace {

// Through the directory's descriptor: its path may be longer than a socket address.
sockaddr_un AddressOf(const RuntimeDir& directory, uint64_t instance)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::snprintf(address.sun_path, sizeof address.sun_path, "/proc/self/fd/%d/%s",
                  directory.fd.Get(), SocketFileName(instance).c_str());
    return address;
}

const sockaddr* Generic(const sockaddr_un& address)
{
    return reinterpret_cast<const sockaddr*>(&address);
}

UniqueFd MakeSocket(int flags)
{
    UniqueFd fd =
        UniqueFd::Make([&] { return socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | flags, 0); });
    if (fd) {  // else errno says why
        MakeRoomForMessages(fd.Get());
    }
    return fd;
}

int ErrorOfConnect(int error)
{
    switch (error) {
        case ECONNREFUSED:
            return ENOENT;  // a dead owner's leftover
        case EAGAIN:
            return ETIMEDOUT;
        case EPERM:
            return EACCES;
        default:
            return error;
    }
}

void SetSendTimeout(int fd, int waitMs)
{
    const timeval wait = {waitMs / 1000, waitMs % 1000 * 1000L};
    setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &wait, sizeof wait);
}

// An interrupted connect has joined no queue and may be repeated with what is left of the time. One
// is made also when the time has gone by on the way here: only the backlog may be said to be full.
int ConnectBefore(const Deadline& deadline, int fd, const sockaddr_un& address)
{
    constexpr int kShortestMs = 1;  // 0 would wait for ever
    int waitMs = std::max(deadline.RemainingMs(), kShortestMs);
    while (waitMs > 0) {
        SetSendTimeout(fd, waitMs);
        if (connect(fd, Generic(address), sizeof address) == 0) {
            return 0;
        }
        if (errno != EINTR) {
            return ErrorOfConnect(errno);
        }
        waitMs = deadline.RemainingMs();
    }
    return ETIMEDOUT;
}

int CheckOwner(const RuntimeDir& directory, int fd)
{
    const PeerCredentials owner = CredentialsOf(fd);
    if (owner.user == directory.owner || owner.user == 0) {
        return 0;
    }
    HOSTED_LOG(kLogError, "process %d of user %u may not publish here: connection refused",
               owner.process, owner.user);
    return EACCES;
}

}  // namespace

void MakeRoomForMessages(int fd)
{
    const int wanted = static_cast<int>(4 * kMaxMessage);
    setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &wanted, sizeof wanted);
}

Outcome<UniqueFd> ListenAt(const RuntimeDir& directory, uint64_t instance)
{
    UniqueFd fd = MakeSocket(SOCK_NONBLOCK);
    if (!fd) {
        return Outcome<UniqueFd>::Failed(errno);
    }
    const sockaddr_un address = AddressOf(directory, instance);
    const std::string file = SocketFileName(instance);
    if (bind(fd.Get(), Generic(address), sizeof address) != 0 ||
        fchmodat(directory.fd.Get(), file.c_str(), 0660, 0) != 0 ||
        listen(fd.Get(), kBacklog) != 0) {
        const int error = errno;
        unlinkat(directory.fd.Get(), file.c_str(), 0);
        return Outcome<UniqueFd>::Failed(error);
    }
    return Succeeded(std::move(fd));
}

Outcome<UniqueFd> ConnectTo(const RuntimeDir& directory, uint64_t instance,
                            const Deadline& deadline)
{
    UniqueFd fd = MakeSocket(0);
    if (!fd) {
        return Outcome<UniqueFd>::Failed(errno);
    }
    int error = ConnectBefore(deadline, fd.Get(), AddressOf(directory, instance));
    if (error == 0) {
        error = CheckOwner(directory, fd.Get());
    }
    return error == 0 ? Succeeded(std::move(fd)) : Outcome<UniqueFd>::Failed(error);
}

}  // namespace hosted
