/// \file
/// The server end's log levels, their translations, and the switch that routes its records.
///
/// Records of the client end always go to the platform log. Those of the server end go there too,
/// until `EnableSyslogState` sends them to syslog for the rest of the process's life.
#ifndef OWNERLINK_LOG_H
#define OWNERLINK_LOG_H

#include <ownerlink/export.h>

#include <cstdint>
#include <string>

namespace ProcMgr {

/// How grave a record of the server end is. The library itself writes INFO, WARN and ERROR.
enum GrpOwnerLogLevel : int32_t {
    GRP_LOG_DEBUG = 0,
    GRP_LOG_INFO = 1,
    GRP_LOG_WARN = 2,
    GRP_LOG_ERROR = 3,
    GRP_LOG_NOTICE = 4,
};

/// Routes the server end's records to syslog. There is no way back. Thread-safe; a record that is
/// being written at that moment may take either route.
OWNERLINK_EXPORT void EnableSyslogState();

/// Says whether the server end's records go to syslog. Thread-safe.
OWNERLINK_EXPORT bool IsSyslogEnable();

/// Gives the syslog priority of a level: 7, 6, 4, 3 and 5 in the order of the enumerators, and 6
/// for any other value. Thread-safe.
OWNERLINK_EXPORT int GetSyslogLevel(GrpOwnerLogLevel level);

/// Gives the platform log's level: 0, 1, 2, 3 and 16 in the order of the enumerators, and 1 for any
/// other value. Thread-safe.
OWNERLINK_EXPORT int GetDLogLevel(GrpOwnerLogLevel level);

/// Makes the prefix of a boot-trace record, such as "[12.345678s][BOOT_TRACE][SS_AGENT]": seconds
/// since the machine's counter started, and `tag`. Empty where the machine has no such counter.
/// Thread-safe.
OWNERLINK_EXPORT std::string BootStrace(const std::string& tag);

}  // namespace ProcMgr

#endif
