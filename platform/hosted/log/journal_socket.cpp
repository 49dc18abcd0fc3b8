#include "platform/hosted/log/journal_socket.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

namespace hosted::log {
namespace {

constexpr suseconds_t kPatience = 100'000;  // microseconds

sockaddr_un AddressOf(const std::string& path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    return address;
}

// The log's lock is held across fork, so that no child is born while one of these is open. That of
// the layer's descriptors is not to be taken under it: a fork may take the two the other way round.
class ShortLivedFd {
public:
    explicit ShortLivedFd(int fd) : fd_(fd) {}
    ~ShortLivedFd()
    {
        if (fd_ >= 0) {
            close(fd_);
        }
    }
    ShortLivedFd(const ShortLivedFd&) = delete;
    ShortLivedFd& operator=(const ShortLivedFd&) = delete;
    int Get() const { return fd_; }

private:
    int fd_;
};

int OpenSocket()
{
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd >= 0) {
        const timeval patience{0, kPatience};
        setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
    }
    return fd;
}

// What `entry` is sent as: bytes, or a descriptor where `passed` is one.
int Send(int fd, const std::string& path, const std::string& entry, int passed)
{
    sockaddr_un address = AddressOf(path);
    iovec bytes{const_cast<char*>(entry.data()), entry.size()};
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof passed)> control{};
    msghdr message{};
    message.msg_name = &address;
    message.msg_namelen = sizeof address;
    if (passed >= 0) {
        message.msg_control = control.data();
        message.msg_controllen = control.size();
        cmsghdr* const header = CMSG_FIRSTHDR(&message);
        header->cmsg_level = SOL_SOCKET;
        header->cmsg_type = SCM_RIGHTS;
        header->cmsg_len = CMSG_LEN(sizeof passed);
        std::memcpy(CMSG_DATA(header), &passed, sizeof passed);
    } else {
        message.msg_iov = &bytes;
        message.msg_iovlen = 1;
    }
    ssize_t sent = 0;
    do {
        sent = sendmsg(fd, &message, MSG_NOSIGNAL);
    } while (sent < 0 && errno == EINTR);
    return sent < 0 ? errno : 0;
}

// The journal takes a memfd only with all its seals: it maps what nobody can change any more.
int SendAsFile(int fd, const std::string& path, const std::string& entry)
{
    constexpr int kSeals = F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE | F_SEAL_SEAL;
    const ShortLivedFd file(memfd_create("ownerlink-journal", MFD_CLOEXEC | MFD_ALLOW_SEALING));
    const auto size = static_cast<ssize_t>(entry.size());
    if (file.Get() < 0 || write(file.Get(), entry.data(), entry.size()) != size ||
        fcntl(file.Get(), F_ADD_SEALS, kSeals) != 0) {
        return errno;
    }
    return Send(fd, path, {}, file.Get());
}

bool FitsAddress(const std::string& path)
{
    return path.size() < sizeof sockaddr_un{}.sun_path;
}

}  // namespace

int ProbeJournal(const std::string& path)
{
    if (!FitsAddress(path)) {
        return ENAMETOOLONG;
    }
    const ShortLivedFd fd(OpenSocket());
    if (fd.Get() < 0) {
        return errno;
    }
    const sockaddr_un address = AddressOf(path);
    const auto* const generic = reinterpret_cast<const sockaddr*>(&address);
    return connect(fd.Get(), generic, sizeof address) == 0 ? 0 : errno;
}

int SendToJournal(const std::string& path, const std::string& entry)
{
    if (!FitsAddress(path)) {
        return ENAMETOOLONG;
    }
    const ShortLivedFd fd(OpenSocket());
    if (fd.Get() < 0) {
        return errno;
    }
    const int error = Send(fd.Get(), path, entry, -1);
    const bool isTooLarge = error == EMSGSIZE || error == ENOBUFS;
    return isTooLarge ? SendAsFile(fd.Get(), path, entry) : error;
}

}  // namespace hosted::log
