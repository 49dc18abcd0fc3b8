#include "platform/hosted/queue_end_watch.h"

#include <sys/epoll.h>

#include <cerrno>

#include "platform/hosted/detached_thread.h"

namespace hosted {

EndWatch& EndWatch::Instance()
{
    static auto* const watch = new EndWatch;
    return *watch;
}

int EndWatch::Watch(const std::shared_ptr<QueueLink>& link)
{
    const MutexLock lock(mutex_);
    if (const int error = StartOnce(); error != 0) {
        return error;
    }
    std::erase_if(links_, [](const auto& entry) { return entry.second.expired(); });
    links_[++lastKey_] = link;
    epoll_event event = {};
    event.events = EPOLLRDHUP | EPOLLONESHOT;  // not EPOLLIN: pools lie there until they are needed
    event.data.u64 = lastKey_;
    if (epoll_ctl(epoll_.Get(), EPOLL_CTL_ADD, link->Socket(), &event) == 0) {
        return 0;
    }
    const int error = errno;
    links_.erase(lastKey_);
    return error == EEXIST ? 0 : error;
}

int EndWatch::StartOnce()
{
    if (epoll_) {
        return 0;
    }
    UniqueFd epoll = UniqueFd::Make([] { return epoll_create1(EPOLL_CLOEXEC); });
    if (!epoll) {
        return errno;
    }
    const int error = StartDetached("ownerlink-ends", [this, fd = epoll.Get()] { Run(fd); });
    if (error == 0) {
        epoll_ = std::move(epoll);
    }
    return error;
}

void EndWatch::Run(int epoll)
{
    while (true) {
        epoll_event event = {};
        const int ready = epoll_wait(epoll, &event, 1, -1);
        if (ready < 0 && errno != EINTR) {
            return;
        }
        if (ready > 0) {
            const std::shared_ptr<QueueLink> link = TakeLink(event.data.u64);
            if (link != nullptr) {
                link->NoteEnd();
            }
        }
    }
}

std::shared_ptr<QueueLink> EndWatch::TakeLink(uint64_t key)
{
    const MutexLock lock(mutex_);
    const auto found = links_.find(key);
    if (found == links_.end()) {
        return nullptr;
    }
    std::shared_ptr<QueueLink> link = found->second.lock();
    links_.erase(found);
    return link;
}

void EndWatch::LockForFork() HOSTED_TSA(no_thread_safety_analysis)
{
    mutex_.lock();
}

void EndWatch::UnlockAfterFork() HOSTED_TSA(no_thread_safety_analysis)
{
    mutex_.unlock();
}

void EndWatch::ForgetInChild() HOSTED_TSA(no_thread_safety_analysis)
{
    links_.clear();
}

}  // namespace hosted
