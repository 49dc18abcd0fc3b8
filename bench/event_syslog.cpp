#include "bench/event_syslog.h"

#include <sched.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <iostream>
#include <string_view>
#include <system_error>

namespace bench {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kAddress = "/dev/log";

class Socket {
public:
    Socket() : fd_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0))
    {
        address_.sun_family = AF_UNIX;
        kAddress.copy(address_.sun_path, sizeof address_.sun_path - 1);
    }
    ~Socket() { close(fd_); }
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;

    int Get() const { return fd_; }
    bool Connect() const { return connect(fd_, Address(), sizeof address_) == 0; }
    bool Bind() const { return bind(fd_, Address(), sizeof address_) == 0; }

private:
    const sockaddr* Address() const { return reinterpret_cast<const sockaddr*>(&address_); }

    int fd_;
    sockaddr_un address_ = {};
};

bool IsTaken()
{
    return Socket().Connect();
}

// A directory of links to the machine's /dev, in its place.
bool MakeOwnDev(const fs::path& old)
{
    fs::create_directory(old);
    if (unshare(CLONE_NEWNS) != 0 || mount("", "/", "", MS_REC | MS_PRIVATE, "") != 0 ||
        mount("/dev", old.c_str(), "", MS_BIND | MS_REC, "") != 0 ||
        mount("ownerlink-dev", "/dev", "tmpfs", 0, "mode=755") != 0) {
        return false;
    }
    for (const fs::directory_entry& entry : fs::directory_iterator(old)) {
        fs::create_symlink(entry.path(), "/dev" / entry.path().filename());
    }
    return true;
}

}  // namespace

Syslog::Syslog() : isUp_(IsTaken())
{
    // The directory goes with the benchmark's own; what is mounted there, with the processes.
    const fs::path old = fs::temp_directory_path() / ("dev" + std::to_string(getpid()));
    if (!isUp_ && MakeOwnDev(old)) {
        reader_ = std::make_unique<RoleProcess>(std::vector<std::string>{"event-syslog"});
        reader_->AwaitReady();
        isUp_ = IsTaken();
    }
}

void ServeSyslog()
{
    const Socket socket;
    if (!socket.Bind()) {
        throw std::system_error(errno, std::generic_category(), std::string(kAddress));
    }
    std::cout << "ready" << std::endl;
    std::array<char, 4096> record;
    while (recv(socket.Get(), record.data(), record.size(), 0) >= 0) {}
}

}  // namespace bench
