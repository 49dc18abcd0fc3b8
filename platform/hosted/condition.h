// A condition variable for the layer's two kinds of mutex.
#ifndef OWNERLINK_PLATFORM_HOSTED_CONDITION_H
#define OWNERLINK_PLATFORM_HOSTED_CONDITION_H

#include <chrono>
#include <condition_variable>

#include "platform/hosted/mutex.h"

namespace hosted {

// As ever, the caller tests its condition again after each wait.
class Condition {
public:
    template <typename AnyMutex>
    void Wait(AnyMutex& mutex) HOSTED_REQUIRES(mutex)
    {
        condition_.wait(mutex);
    }

    // False when `deadline` has passed.
    template <typename AnyMutex>
    bool WaitUntil(AnyMutex& mutex, std::chrono::steady_clock::time_point deadline)
        HOSTED_REQUIRES(mutex)
    {
        return condition_.wait_until(mutex, deadline) == std::cv_status::no_timeout;
    }

    void NotifyAll() { condition_.notify_all(); }

private:
    std::condition_variable_any condition_;
};

}  // namespace hosted

#endif
