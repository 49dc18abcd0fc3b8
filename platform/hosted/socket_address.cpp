#include "platform/hosted/socket_address.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string>
#include <utility>

#include "platform/hosted/endpoint_name.h"
#include "platform/hosted/hosted_log.h"
#include "platform/hosted/message.h"
#include "platform/hosted/peer_credentials.h"

namespace hosted {
namespace {

constexpr mode_t kSocketMode = 0660;

sockaddr_un AddressOf(const std::string& path)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    return address;
}

std::string PathOf(const UniqueFd& fd)
{
    return "/proc/self/fd/" + std::to_string(fd.Get());
}

// Through the directory's descriptor: its path may be longer than a socket address.
sockaddr_un AddressIn(const RuntimeDir& directory, uint64_t instance)
{
    return AddressOf(PathOf(directory.fd) + "/" + SocketFileName(instance));
}

const sockaddr* Generic(const sockaddr_un& address)
{
    return reinterpret_cast<const sockaddr*>(&address);
}

UniqueFd MakeSocket(int flags)
{
    return UniqueFd::Make(
        [&] { return socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | flags, 0); });
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

// The socket itself, whatever its name may stand for a moment later. EACCES: it is none.
Outcome<UniqueFd> OpenSocketFile(const RuntimeDir& directory, uint64_t instance,
                                 struct stat* status)
{
    const std::string file = SocketFileName(instance);
    UniqueFd fd = UniqueFd::Make(
        [&] { return openat(directory.fd.Get(), file.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC); });
    if (!fd || fstat(fd.Get(), status) != 0) {
        return Outcome<UniqueFd>::Failed(errno);
    }
    if (!S_ISSOCK(status->st_mode)) {
        HOSTED_LOG(kLogError, "endpoint %s refused: of user %u, mode %o", file.c_str(),
                   status->st_uid, status->st_mode);
        return Outcome<UniqueFd>::Failed(EACCES);
    }
    return Succeeded(std::move(fd));
}

// `chmod` by the file's name would follow a link that the directory's user has put there meanwhile.
int AdmitGroup(const RuntimeDir& directory, uint64_t instance)
{
    struct stat status = {};
    const Outcome<UniqueFd> file = OpenSocketFile(directory, instance, &status);
    if (!file) {
        return file.error;
    }
    if (status.st_uid != geteuid() || status.st_nlink != 1) {
        return EACCES;
    }
    return chmod(PathOf(file.value).c_str(), kSocketMode) == 0 ? 0 : errno;
}

int BindAndListen(const RuntimeDir& directory, uint64_t instance, int fd)
{
    const sockaddr_un address = AddressIn(directory, instance);
    if (bind(fd, Generic(address), sizeof address) != 0) {
        return errno;
    }
    int error = AdmitGroup(directory, instance);
    if (error == 0 && listen(fd, kBacklog) != 0) {
        error = errno;
    }
    if (error != 0) {
        unlinkat(directory.fd.Get(), SocketFileName(instance).c_str(), 0);
    }
    return error;
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

void MakeRoomForMessages(int fd, int count)
{
    const int wanted = count * static_cast<int>(kMaxMessage / 2);  // the kernel doubles it
    setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &wanted, sizeof wanted);
}

Outcome<UniqueFd> ListenAt(const RuntimeDir& directory, uint64_t instance)
{
    UniqueFd fd = MakeSocket(SOCK_NONBLOCK);
    if (!fd) {
        return Outcome<UniqueFd>::Failed(errno);
    }
    const int error = BindAndListen(directory, instance, fd.Get());
    return error == 0 ? Succeeded(std::move(fd)) : Outcome<UniqueFd>::Failed(error);
}

Outcome<UniqueFd> ConnectTo(const RuntimeDir& directory, uint64_t instance,
                            const Deadline& deadline)
{
    struct stat status = {};
    const Outcome<UniqueFd> file = OpenSocketFile(directory, instance, &status);
    if (!file) {
        return Outcome<UniqueFd>::Failed(file.error);
    }
    UniqueFd fd = MakeSocket(0);
    if (!fd) {
        return Outcome<UniqueFd>::Failed(errno);
    }
    int error = ConnectBefore(deadline, fd.Get(), AddressOf(PathOf(file.value)));
    if (error == 0) {
        error = CheckOwner(directory, fd.Get());
    }
    return error == 0 ? Succeeded(std::move(fd)) : Outcome<UniqueFd>::Failed(error);
}

}  // namespace hosted
