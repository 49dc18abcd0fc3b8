// The subscriber's side: the open descriptors of queues in this process.
#ifndef OWNERLINK_PLATFORM_HOSTED_QUEUE_CLIENT_H
#define OWNERLINK_PLATFORM_HOSTED_QUEUE_CLIENT_H

#include <atomic>
#include <chrono>
#include <memory>
#include <string_view>
#include <vector>

#include "platform/hosted/condition.h"
#include "platform/hosted/descriptor_numbers.h"
#include "platform/hosted/exit_handler.h"
#include "platform/hosted/mutex.h"
#include "platform/hosted/outcome.h"
#include "platform/hosted/queue_subscription.h"

namespace hosted {

// Thread-safe. Each call returns 0 or an errno number.
class QueueClient final : private QueueSubscription::Deliveries {
public:
    // Built once, never destroyed.
    static QueueClient& Instance();

    // A number of the queues' range; else as `QueueLink::Open`, or EMFILE.
    Outcome<int> Open(std::string_view name) HOSTED_EXCLUDES(mutex_);

    // EBADF.
    int Close(int number) HOSTED_EXCLUDES(mutex_);
    bool IsOpen(int number) HOSTED_EXCLUDES(mutex_) { return Find(number) != nullptr; }

    // EBADF; EALREADY when the descriptor has a reader; ESHUTDOWN at exit.
    int ReadAsync(int number, QueueSubscription::Callback callback) HOSTED_EXCLUDES(mutex_);

    // Begins no delivery any more.
    void Stop() HOSTED_EXCLUDES(mutex_);

    // Once stopped: waits for the deliveries that run, but for one that the calling thread is in.
    void WaitForDeliveries(std::chrono::steady_clock::time_point end) HOSTED_EXCLUDES(mutex_);

    void LockForFork();
    void UnlockAfterFork();
    void ForgetInChild();

private:
    using SubscriptionPointer = std::shared_ptr<QueueSubscription>;

    void Begin() override;
    void End() override;
    SubscriptionPointer Find(int number) HOSTED_EXCLUDES(mutex_);
    SubscriptionPointer Remove(int number) HOSTED_EXCLUDES(mutex_);
    SubscriptionPointer* PlaceIn(int number) HOSTED_REQUIRES(mutex_);
    bool MayRead() HOSTED_EXCLUDES(mutex_);

    std::atomic<int> running_{0};  // deliveries
    std::atomic<bool> stopping_{false};
    Mutex mutex_;
    Condition deliveryEnded_;
    SlotSet slots_ HOSTED_GUARDED_BY(mutex_);
    std::vector<SubscriptionPointer> subscriptions_ HOSTED_GUARDED_BY(mutex_);  // by slot
    ExitHandler exitHandler_ HOSTED_GUARDED_BY(mutex_);
};

}  // namespace hosted

#endif
