#include "tests/queue/failing_calls.h"

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>

namespace {

std::atomic<int> eventfdError{0};
std::atomic<int> epollControlError{0};

template <typename... Arguments>
int CallUnless(int error, long number, Arguments... arguments)
{
    if (error != 0) {
        errno = error;
        return -1;
    }
    return static_cast<int>(syscall(number, arguments...));
}

}  // namespace

void FailEventfd(int error)
{
    eventfdError = error;
}

void FailEpollControl(int error)
{
    epollControlError = error;
}

extern "C" int eventfd(unsigned int count, int flags) noexcept
{
    return CallUnless(eventfdError, SYS_eventfd2, count, flags);
}

extern "C" int epoll_ctl(int epfd, int op, int fd, epoll_event* event) noexcept
{
    return CallUnless(epollControlError, SYS_epoll_ctl, epfd, op, fd, event);
}
