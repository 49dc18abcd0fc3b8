// The one thread that owns all applications: descriptors, timers, and work that other threads hand
// over.
#ifndef OWNERLINK_TOOLS_OWNERD_EVENT_LOOP_H
#define OWNERLINK_TOOLS_OWNERD_EVENT_LOOP_H

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "tools/ownerd/unique_fd.h"

namespace ownerd {

using Clock = std::chrono::steady_clock;
using TimePoint = Clock::time_point;
using Work = std::function<void()>;

// All but `Post` belongs to the thread that runs the loop.
class EventLoop {
public:
    using TimerKey = std::pair<TimePoint, uint64_t>;

    EventLoop();
    EventLoop(const EventLoop&) = delete;
    EventLoop& operator=(const EventLoop&) = delete;

    // Hands work to the loop. Once the loop has ended the work is destroyed unrun.
    void Post(Work work);

    // Runs until `Stop`. `afterEach` runs behind each round of events, before the next wait.
    void Run(const Work& afterEach);
    void Stop() { isStopping_ = true; }

private:
    friend class FdWatch;
    friend class Timer;

    struct Watched {
        uint32_t generation = 0;
        std::shared_ptr<Work> handler;
    };

    void Add(int fd, uint32_t events, Work handler);
    void Remove(int fd);
    TimerKey AddTimer(TimePoint time, Work work);

    int WaitTime() const;
    void RunEvents();
    void RunTimers();
    void RunPosted();

    UniqueFd epoll_;
    UniqueFd wakeUp_;
    // A number that was closed and opened again within one round is told by its generation.
    std::map<int, Watched> watched_;
    uint32_t nextGeneration_ = 0;
    std::map<TimerKey, Work> timers_;
    uint64_t nextTimer_ = 0;
    bool isStopping_ = false;

    std::mutex mutex_;
    std::vector<Work> posted_;
    bool hasEnded_ = false;
};

// Calls `handler` while `fd` is readable, from construction to destruction.
class FdWatch {
public:
    FdWatch() = default;
    FdWatch(EventLoop& loop, UniqueFd fd, Work handler);
    FdWatch(FdWatch&& other) noexcept
        : loop_(std::exchange(other.loop_, nullptr)), fd_(std::move(other.fd_))
    {
    }
    FdWatch& operator=(FdWatch&& other) noexcept;
    ~FdWatch() { Reset(); }

    void Reset();
    int Get() const { return fd_.Get(); }
    explicit operator bool() const { return static_cast<bool>(fd_); }

private:
    EventLoop* loop_ = nullptr;
    UniqueFd fd_;
};

// One point of time that can be set, moved and cleared.
class Timer {
public:
    explicit Timer(EventLoop& loop) : loop_(loop) {}
    Timer(const Timer&) = delete;
    Timer& operator=(const Timer&) = delete;
    ~Timer() { Clear(); }

    void Set(TimePoint time, Work work);
    void SetIn(std::chrono::milliseconds time, Work work);
    void Clear();
    bool IsSet() const { return key_.second != 0; }

private:
    EventLoop& loop_;
    EventLoop::TimerKey key_{};
};

}  // namespace ownerd

#endif
