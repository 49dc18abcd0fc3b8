// The pools and queues of this process as the platform's calls see them.
#ifndef OWNERLINK_PLATFORM_HOSTED_QUEUE_STORE_H
#define OWNERLINK_PLATFORM_HOSTED_QUEUE_STORE_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "platform/hosted/brief_mutex.h"
#include "platform/hosted/outcome.h"
#include "platform/hosted/pool_table.h"
#include "platform/hosted/queue_outlet.h"
#include "platform/iam_queue.h"

namespace hosted {

// Thread-safe. Each call answers 0 or an errno number. One lock, held for moments: nothing under it
// waits, logs or runs a hook, so that a host may call from its hooks with locks of its own held.
class QueueStore {
public:
    // Built once, never destroyed.
    static QueueStore& Instance();

    int RegisterPool(const IAMShmPoolConfig& config, IAMShmPool& pool) HOSTED_EXCLUDES(mutex_);
    int DestroyPool(const IAMShmPool& pool) HOSTED_EXCLUDES(mutex_);
    int TakeBlock(const IAMShmPool& pool, uint32_t size, IAMShmBlock& block)
        HOSTED_EXCLUDES(mutex_);
    int WriteBlock(const IAMShmBlock& block, std::span<const std::byte> source, uint32_t offset)
        HOSTED_EXCLUDES(mutex_);
    int FreeBlock(const IAMShmPool& pool, const IAMShmBlock& block) HOSTED_EXCLUDES(mutex_);

    // EPIPE when `queue` has ended; the rest as the outlet has it.
    int Enqueue(void* queue, const IAMShmPool& pool, const IAMShmBlock& block)
        HOSTED_EXCLUDES(mutex_);

    // What IAMDataEnqueue is to be given for the new queue: a number, never looked through.
    void* AddQueue(std::unique_ptr<QueueOutlet> outlet) HOSTED_EXCLUDES(mutex_);

    // Ends the queue and frees its memory. True when it was found corrupt.
    bool RemoveQueue(void* queue) HOSTED_EXCLUDES(mutex_);

    void LockForFork();
    void UnlockAfterFork();
    void ForgetInChild();

private:
    struct Place {
        uint32_t generation = 0;
        std::unique_ptr<QueueOutlet> outlet;
    };

    Place* Find(void* queue) HOSTED_REQUIRES(mutex_);

    BriefMutex mutex_;
    PoolTable pools_ HOSTED_GUARDED_BY(mutex_);
    std::vector<Place> queues_ HOSTED_GUARDED_BY(mutex_);
};

}  // namespace hosted

#endif
