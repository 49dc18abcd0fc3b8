#include "tools/ownerd/service_notify.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "tools/ownerd/unique_fd.h"

namespace ownerd {

void NotifyService(const std::string& state)
{
    const char* const name = getenv("NOTIFY_SOCKET");
    sockaddr_un address = {};
    if (name == nullptr || (*name != '/' && *name != '@') ||
        std::strlen(name) >= sizeof address.sun_path) {
        return;
    }
    const size_t length = std::strlen(name);
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, name, length);
    if (*name == '@') {
        address.sun_path[0] = '\0';
    }
    const UniqueFd fd(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    sendto(fd.Get(), state.data(), state.size(), MSG_NOSIGNAL,
           reinterpret_cast<const sockaddr*>(&address),
           static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + length));
}

void NotifyReloading()
{
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    NotifyService("RELOADING=1\nMONOTONIC_USEC=" +
                  std::to_string(now.tv_sec * 1000000 + now.tv_nsec / 1000));
}

}  // namespace ownerd
