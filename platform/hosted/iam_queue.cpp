// The C border of queues as published and subscribed to: arguments are checked.
#include "platform/iam_queue.h"

#include "platform/hosted/queue_border.h"
#include "platform/hosted/queue_client.h"
#include "platform/hosted/queue_server.h"

using hosted::Guarded;

extern "C" {

HOSTED_EXPORT int IAMRegisterQueueService(const IAMQueueServiceDesc* desc)
{
    return Guarded(
        [&] { return desc == nullptr ? EINVAL : hosted::QueueServer::Instance().Register(*desc); });
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
