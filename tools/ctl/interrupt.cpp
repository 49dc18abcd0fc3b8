#include "tools/ctl/interrupt.h"

#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <system_error>

namespace ctl {
namespace {

sigset_t InterruptSet()
{
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    return set;
}

int OpenSignals()
{
    const sigset_t set = InterruptSet();
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
    const int file = signalfd(-1, &set, SFD_CLOEXEC);
    if (file < 0) {
        throw std::system_error(errno, std::generic_category(), "no signal descriptor");
    }
    return file;
}

void AllowInterrupts()
{
    const sigset_t set = InterruptSet();
    pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
}

}  // namespace

Interrupt::Interrupt(const Stop& stop)
    : stop_(stop), signals_(OpenSignals()), thread_(&Interrupt::Listen, this)
{
}

Interrupt::~Interrupt()
{
    ended_.Request();
    thread_.join();
    close(signals_);
    AllowInterrupts();
}

void Interrupt::Listen() const
{
    pollfd entries[] = {{signals_, POLLIN, 0}, {ended_.File(), POLLIN, 0}};
    while (entries[1].revents == 0) {
        poll(entries, 2, -1);
        if (entries[0].revents != 0) {
            Take();
        }
    }
}

void Interrupt::Take() const
{
    signalfd_siginfo ignored{};
    if (read(signals_, &ignored, sizeof ignored) != sizeof ignored) {
        return;
    }
    if (stop_.IsRequested()) {
        AllowInterrupts();
        raise(SIGINT);  // as if nobody had listened
    }
    stop_.Request();
}

}  // namespace ctl
