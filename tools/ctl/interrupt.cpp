#include "tools/ctl/interrupt.h"

#include <poll.h>
#include <sys/eventfd.h>

#include <atomic>
#include <cerrno>
#include <csignal>

namespace ctl {
namespace {

// What the handler may reach: nothing but a descriptor.
std::atomic<int> stopFile{-1};

void OnInterrupt(int number)
{
    const int error = errno;
    const int file = stopFile;
    pollfd entry = {file, POLLIN, 0};
    if (poll(&entry, 1, 0) > 0) {
        std::signal(number, SIG_DFL);
        raise(number);
    }
    eventfd_write(file, 1);
    errno = error;
}

}  // namespace

Interrupt::Interrupt(const Stop& stop)
{
    stopFile = stop.File();
    struct sigaction action {};
    action.sa_handler = OnInterrupt;
    action.sa_flags = SA_RESTART;
    sigaction(SIGINT, &action, nullptr);
}

Interrupt::~Interrupt()
{
    std::signal(SIGINT, SIG_DFL);
}

}  // namespace ctl
