// The queues that this process publishes.
#ifndef OWNERLINK_PLATFORM_HOSTED_QUEUE_SERVER_H
#define OWNERLINK_PLATFORM_HOSTED_QUEUE_SERVER_H

#include <chrono>
#include <memory>
#include <vector>

#include "platform/hosted/condition.h"
#include "platform/hosted/exit_handler.h"
#include "platform/hosted/mutex.h"
#include "platform/hosted/queue_service.h"
#include "platform/hosted/runtime_dir.h"
#include "platform/hosted/turns.h"
#include "platform/iam_queue.h"

namespace hosted {

class QueueServer {
public:
    // Built once, never destroyed.
    static QueueServer& Instance();

    // Publishes `desc`. 0 or an errno number; logs why.
    int Register(const IAMQueueServiceDesc& desc) HOSTED_EXCLUDES(mutex_);

    // Takes the names back and ends the subscriptions.
    void Stop() HOSTED_EXCLUDES(mutex_);

    // Once stopped: waits for the hooks that run, but for one that the calling thread stands in.
    void WaitForHooks(std::chrono::steady_clock::time_point end) HOSTED_EXCLUDES(mutex_);

    void LockForFork();
    void UnlockAfterFork();
    void ForgetInChild();

private:
    bool IsStopping() HOSTED_EXCLUDES(mutex_);
    int Publish(const IAMQueueServiceDesc& desc) HOSTED_EXCLUDES(mutex_);
    int GoUp(const RuntimeDir& directory, std::unique_ptr<QueueService> service, uint32_t timeoutMs)
        HOSTED_EXCLUDES(mutex_);
    int Serve(const RuntimeDir& directory, std::unique_ptr<QueueService> service, UniqueFd listener)
        HOSTED_EXCLUDES(mutex_);
    void NoteEndOfService() HOSTED_EXCLUDES(mutex_);

    Mutex mutex_;
    Condition changed_;
    Turns turns_{mutex_};  // one registration at a time, and none beside `Stop`
    bool stopping_ HOSTED_GUARDED_BY(mutex_) = false;
    int running_ HOSTED_GUARDED_BY(mutex_) = 0;  // services
    ExitHandler exitHandler_ HOSTED_GUARDED_BY(mutex_);
    std::vector<std::unique_ptr<QueueService>> services_ HOSTED_GUARDED_BY(mutex_);  // never freed
};

}  // namespace hosted

#endif
