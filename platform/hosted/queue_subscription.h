// One open descriptor of a queue, through all lives of its owner.
#ifndef OWNERLINK_PLATFORM_HOSTED_QUEUE_SUBSCRIPTION_H
#define OWNERLINK_PLATFORM_HOSTED_QUEUE_SUBSCRIPTION_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/hosted/mutex.h"
#include "platform/hosted/outcome.h"
#include "platform/hosted/queue_link.h"
#include "platform/hosted/queue_next_life.h"
#include "platform/hosted/unique_fd.h"

namespace hosted {

class QueueSubscription {
public:
    using Callback = int (*)(int fd, void* buf, unsigned long count);

    // Wraps calls of a callback, one or several in a row, so that somebody may wait for those that
    // run.
    class Deliveries {
    public:
        virtual ~Deliveries() = default;
        virtual void Begin() = 0;
        virtual void End() = 0;
    };

    // Subscribes to `name`. Errors as `QueueLink::Open`, or EMFILE and the like. `deliveries`
    // outlives it.
    static Outcome<std::shared_ptr<QueueSubscription>> Open(std::string name,
                                                            Deliveries& deliveries);

    QueueSubscription(std::string name, UniqueFd wake, std::shared_ptr<QueueLink> link,
                      Deliveries& deliveries);

    // Starts the reader of `self`, which holds it until it ends. 0 or an errno number: EALREADY.
    static int StartReading(const std::shared_ptr<QueueSubscription>& self, int number,
                            Callback callback);

    // No delivery begins any more. Does not wait for one that runs, which may be the caller's.
    void Close() HOSTED_EXCLUDES(mutex_);

    // The reader, should it be the thread that forked, ends.
    void ForgetInChild() { isClosing_.store(true); }

private:
    void Run();
    void ReadLife(QueueLink& link);
    QueueLink::NextEnd DeliverWaiting(QueueLink& link);
    void Deliver();
    void AttachToNextLife(uint64_t former);
    int TryNextLife(uint64_t former, NextLifeWatch& watch, bool* isWatching)
        HOSTED_EXCLUDES(mutex_);
    int PauseAfter(int error, bool isWatching);
    std::shared_ptr<QueueLink> CurrentLink() HOSTED_EXCLUDES(mutex_);

    const std::string name_;
    Deliveries& deliveries_;
    std::atomic<bool> isClosing_{false};
    std::atomic<bool> isReading_{false};
    UniqueFd wake_;  // ends a wait for the next life

    Mutex mutex_;
    std::shared_ptr<QueueLink> link_ HOSTED_GUARDED_BY(mutex_);

    // The reader's own.
    int number_ = -1;
    Callback callback_ = nullptr;
    std::vector<std::byte> entry_;
    int lastError_ = 0;
    int pauseMs_ = 0;
};

}  // namespace hosted

#endif
