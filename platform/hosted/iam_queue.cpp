// The C border of queues and shared memory: arguments are checked, and no exception passes. A
// failure is a negative errno number.
#include "platform/iam_queue.h"

#include <cerrno>
#include <exception>
#include <new>
#include <span>

#include "platform/hosted/queue_client.h"
#include "platform/hosted/queue_server.h"
#include "platform/hosted/queue_store.h"

#define HOSTED_EXPORT __attribute__((visibility("default")))

namespace hosted {
namespace {

template <typename Body>
int Guarded(Body body)
{
    try {
        return -body();
    } catch (const std::bad_alloc&) {
        return -ENOMEM;
    } catch (const std::exception&) {
        return -EIO;
    }
}

}  // namespace
}  // namespace hosted

using hosted::Guarded;
using hosted::QueueStore;

extern "C" {

HOSTED_EXPORT int IAMRegisterQueueService(const IAMQueueServiceDesc* desc)
{
    return Guarded(
        [&] { return desc == nullptr ? EINVAL : hosted::QueueServer::Instance().Register(*desc); });
}

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

HOSTED_EXPORT size_t IAMFastReadAsync(int fd,
                                      int (*callback)(int fd, void* buf, unsigned long count))
{
    return static_cast<size_t>(Guarded([&] {
        return callback != nullptr ? hosted::QueueClient::Instance().ReadAsync(fd, callback)
                                   : EFAULT;
    }));
}

}  // extern "C"
