// A mutex for steps of less than a microsecond that are made often and hardly ever at once.
//
// A standard mutex is given back by an atomic exchange, since somebody may begin to wait at that
// moment. Here it is a look and a store, which take a third of the time: who begins to wait right
// between the two is not woken, and looks again by itself after kLookAgain.
#ifndef OWNERLINK_PLATFORM_HOSTED_BRIEF_MUTEX_H
#define OWNERLINK_PLATFORM_HOSTED_BRIEF_MUTEX_H

#include <atomic>
#include <chrono>
#include <cstdint>

#include "platform/hosted/mutex.h"

namespace hosted {

class HOSTED_TSA(capability("mutex")) BriefMutex {
public:
    static constexpr std::chrono::milliseconds kLookAgain{1};

    BriefMutex() = default;
    BriefMutex(const BriefMutex&) = delete;
    BriefMutex& operator=(const BriefMutex&) = delete;

    void lock() HOSTED_ACQUIRE()
    {
        uint32_t found = kFree;
        if (!word_.compare_exchange_strong(found, kHeld, std::memory_order_acquire)) [[unlikely]] {
            Await();
        }
    }

    void unlock() HOSTED_RELEASE()
    {
        const bool isAwaited = word_.load(std::memory_order_relaxed) == kAwaited;
        word_.store(kFree, std::memory_order_release);
        if (isAwaited) [[unlikely]] {
            WakeOne();
        }
    }

private:
    static constexpr uint32_t kFree = 0;
    static constexpr uint32_t kHeld = 1;
    static constexpr uint32_t kAwaited = 2;  // held, and somebody sleeps or is about to

    void Await();
    void WakeOne();

    std::atomic<uint32_t> word_{kFree};
};

}  // namespace hosted

#endif
