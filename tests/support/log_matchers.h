// Matchers for log records, such as
//
//     EXPECT_THAT(platform::Records(), Contains(ErrorRecord(54, "CloseVfsFd, close failed. ...")));
//
// `text` is a text or a matcher of one. The line is never compared; the unit only where it is
// given.
#ifndef OWNERLINK_TESTS_SUPPORT_LOG_MATCHERS_H
#define OWNERLINK_TESTS_SUPPORT_LOG_MATCHERS_H

#include <gmock/gmock.h>
#include <syslog.h>

#include <cstdint>
#include <string>

#include "platform/fake/fake_platform.h"

using TextMatcher = ::testing::Matcher<const std::string&>;
using RecordMatcher = ::testing::Matcher<const OwnerlinkFake::LogRecord&>;

// The library's modules, plain and marked as milestones.
inline constexpr uint32_t kClientModule = 54;
inline constexpr uint32_t kServerModule = 27;
inline constexpr uint32_t kMilestoneBit = 1U << 24;

inline RecordMatcher RecordOf(OwnerlinkFake::LogRoute route, uint32_t module, uint32_t level,
                              const TextMatcher& text)
{
    using OwnerlinkFake::LogRecord;
    using ::testing::Field;
    return ::testing::AllOf(
        Field("route", &LogRecord::route, route), Field("module", &LogRecord::module, module),
        Field("level", &LogRecord::level, level), Field("text", &LogRecord::text, text));
}

inline RecordMatcher InfoRecord(uint32_t module, const TextMatcher& text)
{
    return RecordOf(OwnerlinkFake::LogRoute::kDlog, module, 1, text);
}

inline RecordMatcher WarningRecord(uint32_t module, const TextMatcher& text)
{
    return RecordOf(OwnerlinkFake::LogRoute::kDlog, module, 2, text);
}

inline RecordMatcher ErrorRecord(uint32_t module, const TextMatcher& text)
{
    return RecordOf(OwnerlinkFake::LogRoute::kDlog, module, 3, text);
}

// `module` is the plain number.
inline RecordMatcher MilestoneRecord(uint32_t module, const TextMatcher& text)
{
    return RecordOf(OwnerlinkFake::LogRoute::kDlog, module | kMilestoneBit, 1, text);
}

// `priority` is LOG_ERR, LOG_WARNING, LOG_INFO and so on.
inline RecordMatcher SyslogRecord(int priority, const TextMatcher& text)
{
    return RecordOf(OwnerlinkFake::LogRoute::kSyslog, 0, static_cast<uint32_t>(priority), text);
}

inline RecordMatcher FromUnit(const std::string& unit, const RecordMatcher& record)
{
    return ::testing::AllOf(record,
                            ::testing::Field("unit", &OwnerlinkFake::LogRecord::unit, unit));
}

#endif
