// Waits for a sign that an owner may have come up: the kernel's word of a change in the runtime
// directory, or, while that is missing, above it.
#ifndef OWNERLINK_PLATFORM_HOSTED_QUEUE_NEXT_LIFE_H
#define OWNERLINK_PLATFORM_HOSTED_QUEUE_NEXT_LIFE_H

#include <string>

#include "platform/hosted/unique_fd.h"

namespace hosted {

// Belongs to one thread.
class NextLifeWatch {
public:
    // To be called before each look: what changes afterwards ends the next `Wait`. False when the
    // kernel cannot watch, so that the caller must look again by itself.
    bool Renew();

    // Until there is a sign, `wake` is readable or the time is over; -1: no limit.
    void Wait(int wake, int timeoutMs);

private:
    int WatchNearest(const std::string& directory, std::string* missing);
    void Drain();

    UniqueFd inotify_;
    int watched_ = -1;
};

}  // namespace hosted

#endif
