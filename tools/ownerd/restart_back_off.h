// How long to wait before an application is restarted, and when to give up.
#ifndef OWNERLINK_TOOLS_OWNERD_RESTART_BACK_OFF_H
#define OWNERLINK_TOOLS_OWNERD_RESTART_BACK_OFF_H

#include <chrono>
#include <deque>
#include <optional>

#include "tools/ownerd/application_config.h"

namespace ownerd {

class RestartBackOff {
public:
    using TimePoint = std::chrono::steady_clock::time_point;

    // Counts a restart at `now`. Gives the delay before it, doubled with each restart of the
    // window, or nothing if the window holds as many as the limit allows.
    std::optional<Milliseconds> Next(TimePoint now, const ApplicationConfig& config);
    void Reset() { restarts_.clear(); }
    size_t Count() const { return restarts_.size(); }

private:
    std::deque<TimePoint> restarts_;
};

}  // namespace ownerd

#endif
