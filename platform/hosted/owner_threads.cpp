#include "platform/hosted/owner_threads.h"

#include <pthread.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <new>

#include "platform/hosted/detached_thread.h"
#include "platform/hosted/hosted_log.h"

namespace hosted {
namespace {

constexpr int kIdleMs = 1000;  // after which a thread too many ends

// Made ahead of the thread: one that found no memory for its buffer could only end, and others
// would count on it.
struct Start {
    OwnerThreads::Body body;
    MessageBuffer buffer;
};

void* Run(void* argument)
{
    const std::unique_ptr<Start> start(static_cast<Start*>(argument));
    pthread_setname_np(pthread_self(), "ownerlink-owner");
    start->body(start->buffer);
    return nullptr;
}

int StartOne(OwnerThreads::Body body)
{
    std::unique_ptr<Start> start(new (std::nothrow) Start);
    if (start == nullptr) {
        return ENOMEM;
    }
    start->body = body;
    const int error = StartDetached(Run, start.get());
    if (error == 0) {
        (void)start.release();
    }
    return error;
}

}  // namespace

int OwnerThreads::Start(Body body)
{
    UniqueFd epoll = UniqueFd::Make([] { return epoll_create1(EPOLL_CLOEXEC); });
    UniqueFd stopEvent = UniqueFd::Make([] { return eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK); });
    if (!epoll || !stopEvent) {
        return errno;
    }
    epoll_event event = {};
    event.events = EPOLLIN;
    event.data.ptr = &stopSource_;
    if (epoll_ctl(epoll.Get(), EPOLL_CTL_ADD, stopEvent.Get(), &event) != 0) {
        return errno;
    }
    body_ = body;
    epoll_ = std::move(epoll);
    stopEvent_ = std::move(stopEvent);
    for (int i = 0; i < kWaitingThreads; ++i) {
        if (!Spawn() && i == 0) {
            epoll_.Reset();
            return EAGAIN;
        }
    }
    return 0;
}

int OwnerThreads::Watch(int fd, EventSource* source, bool isFirst)
{
    epoll_event event = {};
    event.events = EPOLLIN | EPOLLRDHUP | EPOLLONESHOT;
    event.data.ptr = source;
    return epoll_ctl(epoll_.Get(), isFirst ? EPOLL_CTL_ADD : EPOLL_CTL_MOD, fd, &event) == 0
               ? 0
               : errno;
}

EventSource* OwnerThreads::Wait()
{
    while (true) {
        const int timeoutMs = waiting_.load() > kWaitingThreads ? kIdleMs : -1;
        epoll_event event = {};
        const int ready = epoll_wait(epoll_.Get(), &event, 1, timeoutMs);
        if (stopping_.load() || (ready < 0 && errno != EINTR)) {
            break;
        }
        if (ready == 0 && EndIdleThread()) {
            threads_.fetch_sub(1);
            return nullptr;
        }
        if (ready > 0) {
            waiting_.fetch_sub(1);
            return static_cast<EventSource*>(event.data.ptr);
        }
    }
    waiting_.fetch_sub(1);
    threads_.fetch_sub(1);
    return nullptr;
}

// True when the calling thread is one too many; it then counts as waiting no more.
bool OwnerThreads::EndIdleThread()
{
    int waiting = waiting_.load();
    while (waiting > kWaitingThreads) {
        if (waiting_.compare_exchange_weak(waiting, waiting - 1)) {
            return true;
        }
    }
    return false;
}

bool OwnerThreads::Spawn()
{
    if (stopping_.load()) {
        return false;
    }
    if (threads_.fetch_add(1) >= kMaxThreads + kSpareThreads) {
        threads_.fetch_sub(1);
        return false;
    }
    waiting_.fetch_add(1);  // already: else everybody in need would start one
    const int error = StartOne(body_);
    if (error == 0) {
        return true;
    }
    waiting_.fetch_sub(1);
    threads_.fetch_sub(1);
    HOSTED_LOG(kLogError, "a thread of the owner cannot be started: %s", strerror(error));
    return false;
}

void OwnerThreads::Stop()
{
    stopping_.store(true);
    const uint64_t one = 1;
    (void)!write(stopEvent_.Get(), &one, sizeof one);
}

void OwnerThreads::ForgetInChild(int staying)
{
    epoll_.Reset();
    stopEvent_.Reset();
    threads_.store(staying);
    waiting_.store(0);
    stopping_.store(false);
}

}  // namespace hosted
