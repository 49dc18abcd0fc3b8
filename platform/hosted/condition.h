// A condition variable for the layer's two kinds of mutex.
//
// A standard one remembers who waits, and in a forked child would wait for threads that the child
// does not have. Of this one the child inherits a count, which costs it a call of the kernel.
#ifndef OWNERLINK_PLATFORM_HOSTED_CONDITION_H
#define OWNERLINK_PLATFORM_HOSTED_CONDITION_H

#include <atomic>
#include <chrono>
#include <cstdint>

#include "platform/hosted/mutex.h"

namespace hosted {

// As ever, the caller tests its condition again after each wait. Leaves errno as it was.
class Condition {
public:
    using Time = std::chrono::steady_clock::time_point;

    Condition() = default;
    Condition(const Condition&) = delete;
    Condition& operator=(const Condition&) = delete;

    template <typename AnyMutex>
    void Wait(AnyMutex& mutex) HOSTED_REQUIRES(mutex)
    {
        Await(mutex, nullptr);
    }

    // False when `deadline` has passed.
    template <typename AnyMutex>
    bool WaitUntil(AnyMutex& mutex, Time deadline) HOSTED_REQUIRES(mutex)
    {
        return Await(mutex, &deadline);
    }

    // Behind a change that was made with the mutex held.
    void NotifyAll()
    {
        notifications_.fetch_add(1);
        if (waiting_.load() > 0) {
            WakeAll();
        }
    }

private:
    template <typename AnyMutex>
    bool Await(AnyMutex& mutex, const Time* deadline) HOSTED_TSA(no_thread_safety_analysis)
    {
        const uint32_t seen = notifications_.load();
        waiting_.fetch_add(1);
        mutex.unlock();
        const bool inTime = Sleep(seen, deadline);
        mutex.lock();
        waiting_.fetch_sub(1);
        return inTime;
    }

    // Not at all when there has been a notification since `seen`.
    bool Sleep(uint32_t seen, const Time* deadline);
    void WakeAll();

    std::atomic<uint32_t> notifications_{0};
    std::atomic<uint32_t> waiting_{0};
};

}  // namespace hosted

#endif
