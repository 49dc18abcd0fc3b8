// Sees that the machine has resumed from a suspend.
#ifndef OWNERLINK_TOOLS_OWNERD_RESUME_WATCH_H
#define OWNERLINK_TOOLS_OWNERD_RESUME_WATCH_H

#include <chrono>
#include <functional>
#include <optional>

#include "tools/ownerd/event_loop.h"

namespace ownerd {

// While a machine sleeps its boot-time clock goes on and its monotonic one stands still.
class SleepMeter {
public:
    using Nanoseconds = std::chrono::nanoseconds;

    // A difference below this is the time between the two readings.
    static constexpr std::chrono::milliseconds kShortestSleep{50};

    // Takes both clocks' readings, and gives how long the machine has slept since the last ones;
    // nothing if it has not.
    std::optional<Nanoseconds> Take(Nanoseconds bootTime, Nanoseconds monotonic);

private:
    std::optional<Nanoseconds> offset_;
};

// Calls `resumed` on the loop's thread. The kernel cancels a timer of the wall clock when it sets
// that clock, as it does on each resume; a look at the two clocks tells the reason. A second look
// once a second serves kernels that do not.
class ResumeWatch {
public:
    ResumeWatch(EventLoop& loop, std::function<void(std::chrono::nanoseconds slept)> resumed);

private:
    void Arm();
    void Look();
    void LookAgainLater();

    std::function<void(std::chrono::nanoseconds)> resumed_;
    SleepMeter meter_;
    FdWatch clockWatch_;
    Timer timer_;
};

}  // namespace ownerd

#endif
