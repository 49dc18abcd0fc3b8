// The owner's threads: how many there are, how many wait for events, and what each may do next.
//
// A thread that gets an event keeps it: it receives, runs the hook and answers. Before it does
// anything that may block it makes sure that another waits, so that no request ever waits for
// another's hook.
#ifndef OWNERLINK_PLATFORM_HOSTED_OWNER_THREADS_H
#define OWNERLINK_PLATFORM_HOSTED_OWNER_THREADS_H

#include <atomic>

#include "platform/hosted/message_buffer.h"
#include "platform/hosted/owner_service.h"
#include "platform/hosted/unique_fd.h"

namespace hosted {

inline constexpr int kMaxThreads = 256;
inline constexpr int kMaxCallbacks = kMaxThreads - 1;  // one thread is always free to receive
inline constexpr int kSpareThreads = 16;               // beyond those, while reads run
inline constexpr int kWaitingThreads = 2;              // kept when nothing is to be done
inline constexpr int kStickyThreads = 128;  // above, no thread stays with a silent connection

class OwnerThreads {
public:
    using Body = void (*)(MessageBuffer& buffer);

    // Makes the epoll and the first threads, each of which runs `body`. 0 or an errno number. Not
    // to be called by two threads at once.
    int Start(Body body);
    bool IsStarted() const { return static_cast<bool>(epoll_); }

    // Has the next event of `fd` delivered, once. 0 or an errno number.
    int Watch(int fd, EventSource* source, bool isFirst);
    void Rearm(int fd, EventSource* source) { Watch(fd, source, false); }

    // For a thread of the pool: the next event, or null when the thread is to end. `Wait` is for
    // the thread's first, `WaitAgain` for those behind.
    EventSource* Wait();
    EventSource* WaitAgain()
    {
        waiting_.fetch_add(1);
        return Wait();
    }

    // True when another thread waits, if need be a new one.
    bool EnsureWaiting() { return waiting_.load() > 0 || Spawn(); }

    // Whether the calling thread may stay in a blocking receive.
    bool MayStick() const { return waiting_.load() > 0 && threads_.load() < kStickyThreads; }

    // Ends each thread that waits or comes to wait.
    void Stop();

    // In the child: the threads are gone, but for `staying` that forked in a hook.
    void ForgetInChild(int staying);

private:
    bool Spawn();
    bool EndIdleThread();

    UniqueFd epoll_;
    UniqueFd stopEvent_;
    EventSource stopSource_{EventSource::Kind::kStop};
    Body body_ = nullptr;
    std::atomic<int> threads_{0};
    std::atomic<int> waiting_{0};  // in `Wait`, or on the way there from their start
    std::atomic<bool> stopping_{false};
};

}  // namespace hosted

#endif
