#include "platform/hosted/brief_mutex.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>

namespace hosted {
namespace {

constexpr timespec kTimeout = {0, std::chrono::nanoseconds(BriefMutex::kLookAgain).count()};

}  // namespace

// Whoever gets it here does not know whether others wait, and gives it back as if they did.
void BriefMutex::Await()
{
    const int error = errno;
    while (word_.exchange(kAwaited, std::memory_order_acquire) != kFree) {
        syscall(SYS_futex, &word_, FUTEX_WAIT_PRIVATE, kAwaited, &kTimeout, nullptr, 0);
    }
    errno = error;
}

void BriefMutex::WakeOne()
{
    syscall(SYS_futex, &word_, FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
}

}  // namespace hosted
