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

class Line {
public:
    Line(const Record& record, const Origin& origin);

    uint32_t Level() const { return level_; }
    // With the time and the line feed.
    const std::string& Whole() const { return whole_; }
    // Without both, for a sink that sets its own time.
    std::string WithoutTime() const;

private:
    uint32_t level_;
    std::string whole_;
};

// Makes control characters visible: "\n", "\r", "\t", and "\xNN" for the others.
std::string Visible(std::string_view text);

// UTC, by plain arithmetic: the C library's functions take a lock that a forked child may find
// held for ever.
std::string FormatTime(const timespec& time);

}  // namespace hosted::log

#endif
