#include "tools/ownerd/restart_back_off.h"

#include <algorithm>

namespace ownerd {

std::optional<Milliseconds> RestartBackOff::Next(TimePoint now, const ApplicationConfig& config)
{
    while (!restarts_.empty() && now - restarts_.front() > config.restartWindow) {
        restarts_.pop_front();
    }
    if (restarts_.size() >= config.restartLimit) {
        return std::nullopt;
    }
    Milliseconds delay = config.restartDelay;
    for (size_t i = 0; i < restarts_.size() && delay < config.restartDelayMax; ++i) {
        delay *= 2;
    }
    restarts_.push_back(now);
    return std::min(delay, config.restartDelayMax);
}

}  // namespace ownerd
