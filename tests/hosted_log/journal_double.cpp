#include "tests/hosted_log/journal_double.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <vector>

namespace {

sockaddr_un AddressOf(const std::string& path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    return address;
}

int PassedFile(msghdr& message)
{
    int file = -1;
    const cmsghdr* const header = CMSG_FIRSTHDR(&message);
    if (header != nullptr && header->cmsg_type == SCM_RIGHTS) {
        std::memcpy(&file, CMSG_DATA(header), sizeof file);
    }
    return file;
}

}  // namespace

JournalDouble::JournalDouble(const std::string& path)
    : path_(path), socket_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0))
{
    const sockaddr_un address = AddressOf(path);
    if (bind(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        perror("bind");
    }
}

JournalDouble::~JournalDouble()
{
    close(socket_);
    unlink(path_.c_str());
}

std::string JournalDouble::Next()
{
    std::vector<char> buffer(256U << 10);
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int))> control{};
    iovec bytes{buffer.data(), buffer.size()};
    msghdr message{};
    message.msg_iov = &bytes;
    message.msg_iovlen = 1;
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    const ssize_t size = recvmsg(socket_, &message, MSG_CMSG_CLOEXEC);
    if (size < 0) {
        return "nothing";
    }
    const int file = PassedFile(message);
    cameAsFile_ = file >= 0;
    return cameAsFile_ ? ReadPassed(file) : std::string(buffer.data(), static_cast<size_t>(size));
}

std::string JournalDouble::ReadPassed(int file)
{
    struct stat status {};
    fstat(file, &status);
    seals_ = fcntl(file, F_GET_SEALS);
    std::string text(static_cast<size_t>(status.st_size), '\0');
    const ssize_t count = pread(file, text.data(), text.size(), 0);
    close(file);
    return count == status.st_size ? text : "unreadable";
}

void JournalDouble::Fill()
{
    const int sender = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    const sockaddr_un address = AddressOf(path_);
    const auto* const generic = reinterpret_cast<const sockaddr*>(&address);
    while (sendto(sender, "x", 1, 0, generic, sizeof address) == 1) {}
    close(sender);
}
