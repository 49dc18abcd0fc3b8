// The three routes of a log record, each a macro so that a record's arguments are evaluated only
// when it is written, and its format is checked by the compiler at the place of the call.
//
//   CLIENT_LOG(level, "text", ...)     platform log, module 54, levels 1, 2 and 3 as they stand
//   SERVER_LOG(level, "text", ...)     platform log, module 27, or syslog once the switch is on
//   SYSLOG_RECORD(priority, "text", ...)   syslog, always
//
// The MILESTONE forms write a marked record of level 1. A message stands once in the source: the
// platform log's form is the same text behind the unit's name and the line. The name is `kLogUnit`
// of the innermost namespace that has one. A platform record counts as unlikely: its arguments are
// put together apart from the code that runs without it.
#ifndef OWNERLINK_FOUNDATION_LOG_ROUTES_H
#define OWNERLINK_FOUNDATION_LOG_ROUTES_H

#include <ownerlink/log.h>
#include <syslog.h>

#include <cstdint>

#include "foundation/constants.h"
#include "platform/dlog.h"

namespace ProcMgr {

inline constexpr uint32_t SS_LOG_MODULE = 54;
inline constexpr uint32_t GROUP_OWNER_LOG_MODULE = 27;
inline constexpr uint32_t kMilestone = 1U << 24U;  // added to the module of a marked record

// Levels of the client end's records.
inline constexpr uint32_t kProgress = 1;
inline constexpr uint32_t kWarning = 2;
inline constexpr uint32_t kFailure = 3;

// False when the server's route is syslog and its mask drops records of `level`. For a row of
// records: syslog takes its lock for each to find that it is to be dropped, and this look takes it
// once.
bool MayWriteServerLog(GrpOwnerLogLevel level);

}  // namespace ProcMgr

#define OWNERLINK_DLOG(module, level, text, ...)                    \
    do {                                                            \
        if (CheckLogLevel((module), (level)) == 1) [[unlikely]] {   \
            DlogRecord((module), (level), "[%s:%d]" text, kLogUnit, \
                       __LINE__ __VA_OPT__(, ) __VA_ARGS__);        \
        }                                                           \
    } while (false)

#define CLIENT_LOG(level, text, ...) \
    OWNERLINK_DLOG(ProcMgr::SS_LOG_MODULE, (level), text __VA_OPT__(, ) __VA_ARGS__)

#define CLIENT_MILESTONE(text, ...)                                                  \
    OWNERLINK_DLOG(ProcMgr::SS_LOG_MODULE | ProcMgr::kMilestone, ProcMgr::kProgress, \
                   text __VA_OPT__(, ) __VA_ARGS__)

#define OWNERLINK_SERVER_ROUTE(priority, module, level, text, ...)                           \
    do {                                                                                     \
        if (ProcMgr::IsSyslogEnable()) {                                                     \
            syslog((priority), text __VA_OPT__(, ) __VA_ARGS__);                             \
        } else {                                                                             \
            const uint32_t dlogLevel_ = static_cast<uint32_t>(ProcMgr::GetDLogLevel(level)); \
            OWNERLINK_DLOG((module), dlogLevel_, text __VA_OPT__(, ) __VA_ARGS__);           \
        }                                                                                    \
    } while (false)

#define SERVER_LOG(level, text, ...)                                                               \
    OWNERLINK_SERVER_ROUTE(ProcMgr::GetSyslogLevel(level), ProcMgr::GROUP_OWNER_LOG_MODULE, level, \
                           text __VA_OPT__(, ) __VA_ARGS__)

// Syslog knows no milestones: there a marked record is a notice.
#define SERVER_MILESTONE(text, ...)                                                           \
    OWNERLINK_SERVER_ROUTE(LOG_NOTICE, ProcMgr::GROUP_OWNER_LOG_MODULE | ProcMgr::kMilestone, \
                           ProcMgr::GRP_LOG_INFO, text __VA_OPT__(, ) __VA_ARGS__)

#define SYSLOG_RECORD(priority, text, ...) syslog((priority), text __VA_OPT__(, ) __VA_ARGS__)

#endif
