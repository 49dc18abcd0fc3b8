/// \file
/// The numbers and texts of the system's enumerations, as log records print them: "state=%d(%s)".
///
/// Each text is also its enumerator's name. A value that a table lacks gives the empty string; no
/// function here fails. All may be called from any thread.
#ifndef OWNERLINK_ENUM_TEXT_H
#define OWNERLINK_ENUM_TEXT_H

#include <ownerlink/export.h>

#include <cstdint>
#include <string>

namespace ProcMgr {

/// The states of the whole system, as `SetSystemState` takes them and a `SysEvent` reports them.
enum SysState : uint32_t {
    OFF = 0,
    WORKING = 1,
    SUSPEND = 2,
    UPGRADE = 3,
    CALIBRATION = 4,
    HIGH_LEVEL_ADS_EXIT = 0x101,  ///< never sent to an owner
    SUSPEND_PRE = 0x102,          ///< a suspend is near; WORKING takes it back
};

/// What is asked for an application.
enum OptionType : uint32_t {
    START = 0,
    TERM = 1,
    RESTART = 2,
};

/// The state that an application reports of itself.
enum ReportAppStateType : uint32_t {
    RUNNING_NORMAL_START = 0,
    RUNNING_NORMAL_RESTART = 1,
    RUNNING_ABNORMAL_TERM_TIMEOUT = 2,
    TERMINATED_NORMAL_EXIT = 3,
    TERMINATED_ABNORMAL_EXIT = 4,
    INVALID_INTERMEDIATE_STATE = 5,
};

/// The state of a process.
enum ProcessState : uint32_t {
    INITSTATE = 0,
    STARTING = 1,
    RUNNING = 2,
    TERMINATING = 3,
    TERMINATED = 4,
    RESTARTING = 5,
};

/// The text of a `SysState`. A negative state that was widened to `unsigned long` has none.
OWNERLINK_EXPORT std::string GetSysState(unsigned long value);

/// The text of a `GroupOwner`: "DATAMASTER", "IAM" or "APPMGR".
OWNERLINK_EXPORT std::string GetGroupOwner(unsigned long value);

/// The text of an `OptionType`.
OWNERLINK_EXPORT std::string GetOptionType(unsigned long value);

/// The text of an `AppChangeState`, such as "START_FAILED_BY_EIO".
OWNERLINK_EXPORT std::string GetAppState(unsigned long value);

/// The text of a `ReportAppStateType`.
OWNERLINK_EXPORT std::string GetReportAppStateTypeStr(unsigned long value);

/// The text of a `ProcessState`.
OWNERLINK_EXPORT std::string GetProcessStateStr(unsigned long value);

/// The text of a base service's state: 0 "INIT", 1 "RESTARTING", 2 "RUNNING", 3 "TERMINATING".
OWNERLINK_EXPORT std::string GetBaseServiceStateTypeStr(unsigned long value);

/// The text of an application's execution state: 0 "RUNNING", 1 "TERMINATED".
OWNERLINK_EXPORT std::string GetAppExecStateStr(unsigned long value);

/// Says whether every character of `text` is a decimal digit; true for an empty text.
OWNERLINK_EXPORT bool IsStrDigits(const std::string& text);

}  // namespace ProcMgr

#endif
