#include "tools/ownerd/resume_watch.h"

#include <sys/timerfd.h>
#include <unistd.h>

#include <cstdint>
#include <ctime>
#include <limits>

namespace ownerd {
namespace {

constexpr std::chrono::seconds kBetweenLooks{1};

std::chrono::nanoseconds Now(clockid_t clock)
{
    timespec time = {};
    clock_gettime(clock, &time);
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

}  // namespace

std::optional<SleepMeter::Nanoseconds> SleepMeter::Take(Nanoseconds before, Nanoseconds bootTime,
                                                        Nanoseconds after)
{
    if (after - before >= kShortestSleep) {
        return std::nullopt;
    }
    const Nanoseconds offset = bootTime - after;
    const std::optional<Nanoseconds> last = std::exchange(offset_, offset);
    if (!last || offset - *last < kShortestSleep) {
        return std::nullopt;
    }
    return offset - *last;
}

ResumeWatch::ResumeWatch(EventLoop& loop, std::function<void(std::chrono::nanoseconds)> resumed)
    : resumed_(std::move(resumed)), timer_(loop)
{
    UniqueFd clock(timerfd_create(CLOCK_REALTIME, TFD_CLOEXEC | TFD_NONBLOCK));
    if (clock) {
        clockWatch_ = FdWatch(loop, std::move(clock), [this] {
            uint64_t ignored = 0;
            [[maybe_unused]] const ssize_t count =
                read(clockWatch_.Get(), &ignored, sizeof ignored);
            Arm();
            Look();
        });
        Arm();
    }
    Look();
    LookAgainLater();
}

void ResumeWatch::Arm()
{
    itimerspec never = {};
    never.it_value.tv_sec = std::numeric_limits<int32_t>::max();
    timerfd_settime(clockWatch_.Get(), TFD_TIMER_ABSTIME | TFD_TIMER_CANCEL_ON_SET, &never,
                    nullptr);
}

void ResumeWatch::Look()
{
    const std::chrono::nanoseconds before = Now(CLOCK_MONOTONIC);
    const std::chrono::nanoseconds bootTime = Now(CLOCK_BOOTTIME);
    if (const auto slept = meter_.Take(before, bootTime, Now(CLOCK_MONOTONIC))) {
        resumed_(*slept);
    }
}

void ResumeWatch::LookAgainLater()
{
    timer_.SetIn(kBetweenLooks, [this] {
        Look();
        LookAgainLater();
    });
}

}  // namespace ownerd
