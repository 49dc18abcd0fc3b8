// The C border of pools and of what is put into queues: arguments are checked.
#include <span>

#include "platform/hosted/queue_border.h"
#include "platform/hosted/queue_store.h"
#include "platform/iam_queue.h"

using hosted::Guarded;
using hosted::QueueStore;

extern "C" {

HOSTED_EXPORT int IAMShmRegisterPoolWithConfig(const IAMShmPoolConfig* config, IAMShmPool* pool)
{
    return Guarded([&] {
        const bool isGiven = config != nullptr && pool != nullptr;
        return isGiven ? QueueStore::Instance().RegisterPool(*config, *pool) : EFAULT;
    });
}

HOSTED_EXPORT int IAMShmDestroyPool(IAMShmPool* pool)
{
    return Guarded(
        [&] { return pool != nullptr ? QueueStore::Instance().DestroyPool(*pool) : EFAULT; });
}

HOSTED_EXPORT int IAMShmHandleMalloc(IAMShmPool* pool, uint32_t size, IAMShmBlock* block)
{
    return Guarded([&] {
        const bool isGiven = pool != nullptr && block != nullptr;
        return isGiven ? QueueStore::Instance().TakeBlock(*pool, size, *block) : EFAULT;
    });
}

HOSTED_EXPORT int IAMShmWrite(IAMShmBlock* block, const void* source, uint32_t size,
                              uint32_t offset)
{
    return Guarded([&] {
        if (block == nullptr || (source == nullptr && size != 0)) {
            return EFAULT;
        }
        const std::span<const std::byte> bytes(static_cast<const std::byte*>(source), size);
        return QueueStore::Instance().WriteBlock(*block, bytes, offset);
    });
}

HOSTED_EXPORT int IAMShmFree(IAMShmPool* pool, IAMShmBlock* block)
{
    return Guarded([&] {
        const bool isGiven = pool != nullptr && block != nullptr;
        return isGiven ? QueueStore::Instance().FreeBlock(*pool, *block) : EFAULT;
    });
}

HOSTED_EXPORT int IAMDataEnqueue(void* queue, IAMShmPool* pool, IAMShmBlock* block)
{
    return Guarded([&] {
        const bool isGiven = pool != nullptr && block != nullptr;
        return isGiven ? QueueStore::Instance().Enqueue(queue, *pool, *block) : EFAULT;
    });
}

}  // extern "C"
