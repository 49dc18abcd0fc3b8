// Queues and shared memory: not carried yet. Each call says so with ENOTSUP, so that an owner's
// registration of its event resource fails and a manager's subscription finds no owner.
#include "platform/iam_queue.h"

#include <cerrno>

#include "platform/hosted/hosted_log.h"

#pragma GCC visibility push(default)

int IAMRegisterQueueService(const IAMQueueServiceDesc* desc)
{
    HOSTED_LOG(hosted::kLogError, "queue resource %.128s: this platform carries no queues",
               desc == nullptr || desc->name == nullptr ? "" : desc->name);
    return -ENOTSUP;
}

int IAMShmRegisterPoolWithConfig(const IAMShmPoolConfig* /*config*/, IAMShmPool* /*pool*/)
{
    return -ENOTSUP;
}

int IAMShmDestroyPool(IAMShmPool* /*pool*/)
{
    return 0;  // no pool can stand behind it
}

int IAMShmHandleMalloc(IAMShmPool* /*pool*/, uint32_t /*size*/, IAMShmBlock* /*block*/)
{
    return -ENOTSUP;
}

int IAMShmWrite(IAMShmBlock* /*block*/, const void* /*source*/, uint32_t /*size*/,
                uint32_t /*offset*/)
{
    return -ENOTSUP;
}

int IAMShmFree(IAMShmPool* /*pool*/, IAMShmBlock* /*block*/)
{
    return -ENOTSUP;
}

int IAMDataEnqueue(void* /*queue*/, IAMShmPool* /*pool*/, IAMShmBlock* /*block*/)
{
    return -ENOTSUP;
}

size_t IAMFastReadAsync(int /*fd*/, int (* /*callback*/)(int fd, void* buf, unsigned long count))
{
    return static_cast<size_t>(-ENOTSUP);
}

#pragma GCC visibility pop
