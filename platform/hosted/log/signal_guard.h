// Keeps the signals that a failing write raises from the process while it lives: SIGPIPE of a pipe
// without a reader, SIGXFSZ of a file at its limit. The error number tells the same.
#ifndef OWNERLINK_PLATFORM_HOSTED_LOG_SIGNAL_GUARD_H
#define OWNERLINK_PLATFORM_HOSTED_LOG_SIGNAL_GUARD_H

#include <csignal>

namespace hosted::log {

class SignalGuard {
public:
    SignalGuard();
    ~SignalGuard();
    SignalGuard(const SignalGuard&) = delete;
    SignalGuard& operator=(const SignalGuard&) = delete;

private:
    sigset_t previous_;
    // What was not pending before and is therefore ours to take away.
    sigset_t ours_;
};

}  // namespace hosted::log

#endif
