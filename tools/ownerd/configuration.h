// The program's one file, read and checked as a whole.
#ifndef OWNERLINK_TOOLS_OWNERD_CONFIGURATION_H
#define OWNERLINK_TOOLS_OWNERD_CONFIGURATION_H

#include <ownerlink/enum_text.h>
#include <ownerlink/records.h>
#include <syslog.h>

#include <string>
#include <vector>

#include "tools/ownerd/application_config.h"

namespace ownerd {

enum class WhenOwnerDies { Stop, Keep };

struct Configuration {
    GroupOwner group = APPMGR;
    std::string resource;
    std::string eventResource;  // empty: events are not reported
    uint32_t signalEvent = ProcMgr::WORKING;
    WhenOwnerDies whenOwnerDies = WhenOwnerDies::Stop;
    int logMask = LOG_DEBUG;
    std::vector<ApplicationConfig> applications;  // in the order in which they start
};

struct ReadResult {
    Configuration configuration;
    std::vector<std::string> errors;    // one line each; not empty: the rest counts for nothing
    std::vector<std::string> warnings;  // what may well be mended before it matters
};

// Reads the file at `path`. Nothing is changed, whatever it holds.
ReadResult ReadConfiguration(const std::string& path);

}  // namespace ownerd

#endif
