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

enum class SinkKind { kStandardError, kSyslog, kFile, kJournal, kDlt };

struct SinkOptions {
    SinkKind kind = SinkKind::kStandardError;
    // A file's, in which "%p" is still unexpanded; or the journal's socket, where empty means its
    // usual one; or the name of the DLT application, where empty means the usual one.
    std::string path;
    // For files only: `size` is in bytes, `count` is of old files.
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
    // Nothing was said, so that the layer chooses.
    bool isDefault = false;
};

// A null `text` is a variable that is not set; a blank one counts as the same.
Config ParseConfig(const char* text);

// The sink as the variable names it.
std::string SinkText(const SinkOptions& sink);

// Adds a sink, or only its levels where the sink is there already.
void AddOutlet(std::vector<OutletOptions>& outlets, const OutletOptions& outlet);

}  // namespace hosted::log

#endif
