#include "platform/hosted/condition.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <ctime>

namespace hosted {
namespace {

timespec TimeOf(Condition::Time time)
{
    const auto seconds = std::chrono::floor<std::chrono::seconds>(time);
    const std::chrono::nanoseconds rest = time - seconds;
    return {seconds.time_since_epoch().count(), rest.count()};
}

}  // namespace

bool Condition::Sleep(uint32_t seen, const Time* deadline)
{
    const int error = errno;
    const timespec end = deadline != nullptr ? TimeOf(*deadline) : timespec{};
    const long result =
        syscall(SYS_futex, &notifications_, FUTEX_WAIT_BITSET_PRIVATE, seen,
                deadline != nullptr ? &end : nullptr, nullptr, FUTEX_BITSET_MATCH_ANY);
    const bool isTimeOut = result != 0 && errno == ETIMEDOUT;
    errno = error;
    return !isTimeOut;
}

void Condition::WakeAll()
{
    syscall(SYS_futex, &notifications_, FUTEX_WAKE_PRIVATE, INT_MAX, nullptr, nullptr, 0);
}

}  // namespace hosted
