// How a reader waits for its next entry: asleep until the owner wakes it, or, in the middle of a
// stream of entries, in a short nap that ends by itself. In a stream a wake-up for each entry would
// cost the owner more than all else; behind a nap several entries wait at once.
#ifndef OWNERLINK_PLATFORM_HOSTED_QUEUE_PAUSE_H
#define OWNERLINK_PLATFORM_HOSTED_QUEUE_PAUSE_H

#include <chrono>

namespace hosted {

// `System` has Now, Nap (so long) and Sleep (until there may be an entry). Belongs to one thread.
template <typename System>
class QueuePause {
public:
    static constexpr std::chrono::microseconds kNap{50};
    // Whoever waits again so soon after it has waited is in a stream.
    static constexpr std::chrono::microseconds kStream{100};

    explicit QueuePause(System system) : system_(system) {}

    void NoteEntry() { hasNapped_ = false; }

    // One step of waiting: the caller looks for an entry after each. A nap that brings none is not
    // repeated. The clock is read ahead of a sleep and not after it, when an entry waits.
    void Await()
    {
        const Time now = system_.Now();
        if (!hasNapped_ && now - lastWait_ < kStream) {
            hasNapped_ = true;
            system_.Nap(kNap);
            lastWait_ = system_.Now();
        } else {
            lastWait_ = now;
            system_.Sleep();
        }
    }

private:
    using Time = std::chrono::steady_clock::time_point;

    System system_;
    bool hasNapped_ = false;
    Time lastWait_;
};

}  // namespace hosted

#endif
