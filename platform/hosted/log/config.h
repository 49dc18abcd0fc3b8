// What the environment variable OWNERLINK_LOG says, read into sinks and their levels. The grammar
// stands in docs/logging.md.
#ifndef OWNERLINK_PLATFORM_HOSTED_LOG_CONFIG_H
#define OWNERLINK_PLATFORM_HOSTED_LOG_CONFIG_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/hosted/log/levels.h"

namespace hosted::log {

enum class SinkKind { kStandardError, kSyslog, kFile };

struct SinkOptions {
    SinkKind kind = SinkKind::kStandardError;
    // For files only: "%p" is still unexpanded, `size` is in bytes, `count` is of old files.
    std::string path;
    uint64_t size = 10U << 20;
    uint32_t count = 5;
};

struct OutletOptions {
    SinkOptions sink;
    LevelTable levels{};
};

struct Config {
    // No sink stands here twice.
    std::vector<OutletOptions> outlets;
    // One text for each piece that was left out, which it names in quotes.
    std::vector<std::string> complaints;
};

// A null `text` is a variable that is not set; a blank one counts as the same.
Config ParseConfig(const char* text);

}  // namespace hosted::log

#endif
