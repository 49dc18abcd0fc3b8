// Durations as people write them.
#ifndef OWNERLINK_TOOLS_CTL_DURATION_H
#define OWNERLINK_TOOLS_CTL_DURATION_H

#include <chrono>
#include <optional>
#include <string>

namespace ctl {

// Reads "250ms", "5s", "1.5s" or "2m"; a number alone counts as seconds. Nothing for anything else
// and beyond a day.
std::optional<std::chrono::milliseconds> ParseDuration(const std::string& text);

}  // namespace ctl

#endif
