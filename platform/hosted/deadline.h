// When a call must be back.
#ifndef OWNERLINK_PLATFORM_HOSTED_DEADLINE_H
#define OWNERLINK_PLATFORM_HOSTED_DEADLINE_H

#include <algorithm>
#include <chrono>
#include <climits>
#include <cstdint>

namespace hosted {

class Deadline {
public:
    using Clock = std::chrono::steady_clock;

    explicit Deadline(int64_t totalMs)
        : totalMs_(totalMs), end_(Clock::now() + std::chrono::milliseconds(totalMs))
    {
    }

    int64_t TotalMs() const { return totalMs_; }
    Clock::time_point End() const { return end_; }

    std::chrono::nanoseconds Remaining() const
    {
        return std::max(std::chrono::nanoseconds(end_ - Clock::now()), std::chrono::nanoseconds(0));
    }

    // Rounded up, so that 0 says that the time is over.
    int RemainingMs() const
    {
        const int64_t left = (Remaining().count() + 999999) / 1000000;
        return static_cast<int>(std::min<int64_t>(left, INT_MAX));
    }

    // This deadline, or `limitMs` from now if that is sooner.
    Deadline NoLaterThan(int limitMs) const { return Deadline(std::min(RemainingMs(), limitMs)); }

private:
    int64_t totalMs_;
    Clock::time_point end_;
};

}  // namespace hosted

#endif
