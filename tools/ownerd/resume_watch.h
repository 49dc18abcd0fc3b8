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

    // A difference below this is the time between the readings.
    static constexpr std::chrono::milliseconds kShortestSleep{50};

    // Takes the boot-time clock's reading and the monotonic one's from before and after it, and
    // gives how long the machine has slept since the last ones; nothing if it has not. Readings of
    // a process that was held up between them count for nothing: the next ones tell as well.
    std::optional<Nanoseconds> Take(Nanoseconds before, Nanoseconds bootTime, Nanoseconds after);

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
