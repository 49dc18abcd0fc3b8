#include "tools/ownerd/event_loop.h"

#include <sys/epoll.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>

namespace ownerd {
namespace {

constexpr int kEventsInOneRound = 64;

UniqueFd Checked(int fd, const char* what)
{
    if (fd < 0) {
        throw std::system_error(errno, std::generic_category(), what);
    }
    return UniqueFd(fd);
}

}  // namespace

EventLoop::EventLoop()
    : epoll_(Checked(epoll_create1(EPOLL_CLOEXEC), "epoll_create1")),
      wakeUp_(Checked(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK), "eventfd"))
{
    Add(wakeUp_.Get(), EPOLLIN, [this] { RunPosted(); });
}

void EventLoop::Post(Work work)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    if (hasEnded_) {
        return;
    }
    posted_.push_back(std::move(work));
    eventfd_write(wakeUp_.Get(), 1);
}

void EventLoop::Run(const Work& afterEach)
{
    for (afterEach(); !isStopping_; afterEach()) {
        RunEvents();
        RunTimers();
    }
    std::vector<Work> unrun;
    const std::lock_guard<std::mutex> lock(mutex_);
    hasEnded_ = true;
    unrun.swap(posted_);
}

void EventLoop::Add(int fd, uint32_t events, Work handler)
{
    const uint32_t generation = ++nextGeneration_;
    watched_[fd] = {generation, std::make_shared<Work>(std::move(handler))};
    epoll_event event = {};
    event.events = events;
    event.data.u64 = (static_cast<uint64_t>(generation) << 32) | static_cast<uint32_t>(fd);
    if (epoll_ctl(epoll_.Get(), EPOLL_CTL_ADD, fd, &event) != 0) {
        watched_.erase(fd);
        throw std::system_error(errno, std::generic_category(), "epoll_ctl");
    }
}

void EventLoop::Remove(int fd)
{
    epoll_ctl(epoll_.Get(), EPOLL_CTL_DEL, fd, nullptr);
    watched_.erase(fd);
}

EventLoop::TimerKey EventLoop::AddTimer(TimePoint time, Work work)
{
    const TimerKey key{time, ++nextTimer_};
    timers_.emplace(key, std::move(work));
    return key;
}

int EventLoop::WaitTime() const
{
    if (timers_.empty()) {
        return -1;
    }
    using std::chrono::ceil;
    using std::chrono::milliseconds;
    const auto rest = ceil<milliseconds>(timers_.begin()->first.first - Clock::now()).count();
    return static_cast<int>(std::clamp<int64_t>(rest, 0, 60000));
}

void EventLoop::RunEvents()
{
    std::array<epoll_event, kEventsInOneRound> events{};
    const int count = epoll_wait(epoll_.Get(), events.data(), kEventsInOneRound, WaitTime());
    for (int i = 0; i < count; ++i) {
        const uint64_t data = events[static_cast<size_t>(i)].data.u64;
        const auto found = watched_.find(static_cast<int>(data & UINT32_MAX));
        if (found != watched_.end() && found->second.generation == data >> 32) {
            const std::shared_ptr<Work> handler = found->second.handler;  // may remove itself
            (*handler)();
        }
    }
}

void EventLoop::RunTimers()
{
    const TimePoint now = Clock::now();
    while (!timers_.empty() && timers_.begin()->first.first <= now) {
        const Work work = std::move(timers_.begin()->second);
        timers_.erase(timers_.begin());
        work();
    }
}

void EventLoop::RunPosted()
{
    eventfd_t ignored = 0;
    eventfd_read(wakeUp_.Get(), &ignored);
    std::vector<Work> posted;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        posted.swap(posted_);
    }
    for (const Work& work : posted) {
        work();
    }
}

FdWatch::FdWatch(EventLoop& loop, UniqueFd fd, Work handler) : loop_(&loop), fd_(std::move(fd))
{
    loop.Add(fd_.Get(), EPOLLIN, std::move(handler));
}

FdWatch& FdWatch::operator=(FdWatch&& other) noexcept
{
    Reset();
    loop_ = std::exchange(other.loop_, nullptr);
    fd_ = std::move(other.fd_);
    return *this;
}

void FdWatch::Reset()
{
    if (loop_ != nullptr && fd_) {
        loop_->Remove(fd_.Get());
    }
    fd_.Reset();
    loop_ = nullptr;
}

void Timer::Set(TimePoint time, Work work)
{
    Clear();
    key_ = loop_.AddTimer(time, [this, work = std::move(work)] {
        key_ = {};
        work();
    });
}

void Timer::SetIn(std::chrono::milliseconds time, Work work)
{
    Set(Clock::now() + time, std::move(work));
}

void Timer::Clear()
{
    loop_.timers_.erase(key_);
    key_ = {};
}

}  // namespace ownerd
