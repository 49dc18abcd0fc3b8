// The one line that a record becomes, whatever its sink:
//
//   2026-01-31T08:15:30.123456Z warning client milestone [1234:1240 QUERY_APP_STATE] text
#ifndef OWNERLINK_PLATFORM_HOSTED_LOG_LINE_H
#define OWNERLINK_PLATFORM_HOSTED_LOG_LINE_H

#include <sys/types.h>

#include <cstdint>
#include <ctime>
#include <string>
#include <string_view>

#include "platform/hosted/log/levels.h"

namespace hosted::log {

struct Record {
    uint32_t module = 0;
    uint32_t level = 0;
    std::string_view text;
};

// When and where a record was written.
struct Origin {
    timespec time{};
    pid_t process = 0;
    pid_t thread = 0;
    std::string threadName;
};

Origin OriginOfCaller();

// Used up before its origin is.
class Line {
public:
    Line(const Record& record, const Origin& origin);

    uint32_t Level() const { return level_; }
    // Without the milestone's bit.
    uint32_t Module() const { return PlainModule(module_); }
    bool IsMilestone() const { return (module_ & kMilestoneBit) != 0; }
    const Origin& WrittenBy() const { return origin_; }
    // The record's text alone, with its control characters made visible.
    std::string_view Text() const;
    // "[1234:1240 QUERY_APP_STATE] text"
    std::string_view TextWithThread() const;
    // With the time and the line feed.
    const std::string& Whole() const { return whole_; }
    // Without both, for a sink that sets its own time.
    std::string WithoutTime() const;

private:
    uint32_t level_;
    uint32_t module_;
    const Origin& origin_;
    std::string whole_;
    // Where its parts start.
    size_t thread_;
    size_t text_;
};

// Makes control characters visible: "\n", "\r", "\t", and "\xNN" for the others.
std::string Visible(std::string_view text);

// UTC, by plain arithmetic: the C library's functions take a lock that a forked child may find
// held for ever.
std::string FormatTime(const timespec& time);

}  // namespace hosted::log

#endif
