// Every place of the codecs that logs, each with a call that reaches it and the records that this
// call writes.
#ifndef OWNERLINK_TESTS_WIRE_LOG_SITES_H
#define OWNERLINK_TESTS_WIRE_LOG_SITES_H

#include <ostream>
#include <string>
#include <vector>

enum class SiteLevel { kInfo, kWarning, kError, kMilestone };

struct SiteRecord {
    SiteLevel level;
    std::string text;
    std::string bootTag = {};  // of the prefix in front of the text, if there is one
};

struct LogSite {
    const char* name;
    void (*reach)();
    std::vector<SiteRecord> records;
};

inline void PrintTo(const LogSite& site, std::ostream* out)
{
    *out << site.name;
}

std::vector<LogSite> ClientSites();
std::vector<LogSite> ServerSites();

#endif
