// Tells links when their owners are gone: one thread of the process for all of them, since a reader
// that sleeps on its ring cannot watch a socket.
#ifndef OWNERLINK_PLATFORM_HOSTED_QUEUE_END_WATCH_H
#define OWNERLINK_PLATFORM_HOSTED_QUEUE_END_WATCH_H

#include <cstdint>
#include <map>
#include <memory>

#include "platform/hosted/mutex.h"
#include "platform/hosted/queue_link.h"
#include "platform/hosted/unique_fd.h"

namespace hosted {

class EndWatch {
public:
    // Built once, never destroyed.
    static EndWatch& Instance();

    // Calls `NoteEnd` when the other end of the link's socket is gone, once. 0, for a link that is
    // watched already too, or an errno number.
    int Watch(const std::shared_ptr<QueueLink>& link) HOSTED_EXCLUDES(mutex_);

    void LockForFork();
    void UnlockAfterFork();
    void ForgetInChild();

private:
    int StartOnce() HOSTED_REQUIRES(mutex_);
    void Run(int epoll);
    std::shared_ptr<QueueLink> TakeLink(uint64_t key) HOSTED_EXCLUDES(mutex_);

    Mutex mutex_;
    UniqueFd epoll_ HOSTED_GUARDED_BY(mutex_);
    uint64_t lastKey_ HOSTED_GUARDED_BY(mutex_) = 0;
    std::map<uint64_t, std::weak_ptr<QueueLink>> links_ HOSTED_GUARDED_BY(mutex_);
};

}  // namespace hosted

#endif
