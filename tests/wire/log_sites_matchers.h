// The records of a log site, as matchers for one route or the other.
#ifndef OWNERLINK_TESTS_WIRE_LOG_SITES_MATCHERS_H
#define OWNERLINK_TESTS_WIRE_LOG_SITES_MATCHERS_H

#include <stdexcept>
#include <vector>

#include "tests/wire/codec_test.h"
#include "tests/wire/log_sites.h"

inline TextMatcher SiteText(const SiteRecord& record)
{
    return record.bootTag.empty() ? TextMatcher(record.text)
                                  : BootTraced(record.bootTag, record.text);
}

inline RecordMatcher InThePlatformLog(uint32_t module, const SiteRecord& record)
{
    switch (record.level) {
        case SiteLevel::kInfo:
            return InfoRecord(module, SiteText(record));
        case SiteLevel::kWarning:
            return WarningRecord(module, SiteText(record));
        case SiteLevel::kError:
            return ErrorRecord(module, SiteText(record));
        case SiteLevel::kMilestone:
            return MilestoneRecord(module, SiteText(record));
    }
    throw std::invalid_argument("unknown level");
}

inline int Priority(SiteLevel level)
{
    switch (level) {
        case SiteLevel::kInfo:
            return LOG_INFO;
        case SiteLevel::kWarning:
            return LOG_WARNING;
        case SiteLevel::kError:
            return LOG_ERR;
        case SiteLevel::kMilestone:
            return LOG_NOTICE;
    }
    throw std::invalid_argument("unknown level");
}

inline std::vector<RecordMatcher> PlatformLogOf(const LogSite& site, uint32_t module,
                                                const std::string& unit)
{
    std::vector<RecordMatcher> matchers;
    for (const SiteRecord& record : site.records) {
        matchers.push_back(FromUnit(unit, InThePlatformLog(module, record)));
    }
    return matchers;
}

inline std::vector<RecordMatcher> SyslogOf(const LogSite& site)
{
    std::vector<RecordMatcher> matchers;
    for (const SiteRecord& record : site.records) {
        matchers.push_back(SyslogRecord(Priority(record.level), SiteText(record)));
    }
    return matchers;
}

inline std::string SiteName(const ::testing::TestParamInfo<LogSite>& site)
{
    return site.param.name;
}

#endif
