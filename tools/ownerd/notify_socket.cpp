#include "tools/ownerd/notify_socket.h"

#include <sys/random.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <sstream>
#include <system_error>

namespace ownerd {
namespace {

constexpr size_t kLongestMessage = 4096;
constexpr int kMessagesInOneRound = 16;

[[noreturn]] void Fail(const char* what)
{
    throw std::system_error(errno, std::generic_category(), what);
}

std::string RandomName()
{
    std::array<unsigned char, 12> bytes{};
    if (getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) {
        Fail("getrandom");
    }
    std::string name = "@ownerlink-ownerd/";
    for (const unsigned char byte : bytes) {
        constexpr const char* kDigits = "0123456789abcdef";
        name += kDigits[byte >> 4U];
        name += kDigits[byte & 15U];
    }
    return name;
}

// The kernel's own names start with a zero byte where NOTIFY_SOCKET has an '@'.
UniqueFd Bind(const std::string& name)
{
    UniqueFd fd(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const int on = 1;
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path + 1, name.data() + 1, name.size() - 1);
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size());
    if (!fd || setsockopt(fd.Get(), SOL_SOCKET, SO_PASSCRED, &on, sizeof on) != 0 ||
        bind(fd.Get(), reinterpret_cast<const sockaddr*>(&address), length) != 0) {
        Fail("a socket for readiness");
    }
    return fd;
}

struct Message {
    std::string text;
    uid_t user = static_cast<uid_t>(-1);
};

// Takes one message, if there is one. Descriptors that come with it are closed by the kernel, for
// want of a place.
std::optional<Message> Take(int fd)
{
    std::array<char, kLongestMessage> buffer{};
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(ucred))> control{};
    iovec data = {buffer.data(), buffer.size()};
    msghdr header = {};
    header.msg_iov = &data;
    header.msg_iovlen = 1;
    header.msg_control = control.data();
    header.msg_controllen = control.size();
    const ssize_t count = recvmsg(fd, &header, MSG_DONTWAIT | MSG_CMSG_CLOEXEC);
    if (count < 0) {
        return std::nullopt;
    }
    Message message{std::string(buffer.data(), static_cast<size_t>(count))};
    const cmsghdr* const credentials = CMSG_FIRSTHDR(&header);
    if (credentials != nullptr && credentials->cmsg_type == SCM_CREDENTIALS) {
        ucred sender = {};
        std::memcpy(&sender, CMSG_DATA(credentials), sizeof sender);
        message.user = sender.uid;
    }
    return message;
}

}  // namespace

Notification ParseNotification(const std::string& text)
{
    Notification notification;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        const size_t equals = line.find('=');
        if (equals != std::string::npos) {
            notification[line.substr(0, equals)] = line.substr(equals + 1);
        }
    }
    return notification;
}

NotifySocket::NotifySocket(EventLoop& loop, std::optional<uid_t> user, Handler handler)
    : name_(RandomName()),
      user_(user),
      handler_(std::move(handler)),
      watch_(loop, Bind(name_), [this] { Receive(); })
{
}

void NotifySocket::Receive()
{
    for (int i = 0; i < kMessagesInOneRound; ++i) {
        const std::optional<Message> message = Take(watch_.Get());
        if (!message) {
            return;
        }
        if (MaySend(message->user)) {
            handler_(ParseNotification(message->text));
        }
    }
}

bool NotifySocket::MaySend(uid_t user) const
{
    return user == 0 || user == geteuid() || user == user_;
}

}  // namespace ownerd
