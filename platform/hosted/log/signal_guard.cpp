#include "platform/hosted/log/signal_guard.h"

#include <ctime>
#include <initializer_list>

namespace hosted::log {

SignalGuard::SignalGuard()
{
    sigset_t pending;
    sigpending(&pending);
    sigemptyset(&ours_);
    for (const int signal : {SIGPIPE, SIGXFSZ}) {
        if (sigismember(&pending, signal) == 0) {
            sigaddset(&ours_, signal);
        }
    }
    pthread_sigmask(SIG_BLOCK, &ours_, &previous_);
}

SignalGuard::~SignalGuard()
{
    const timespec noTime{};
    while (sigtimedwait(&ours_, nullptr, &noTime) > 0) {}
    pthread_sigmask(SIG_SETMASK, &previous_, nullptr);
}

}  // namespace hosted::log
