/// \file
/// The plain records that cross the public interfaces of both ends.
///
/// All have value semantics: a copy owns its strings and containers, and whoever holds a record
/// owns it. None is synchronised; a record is used by one thread at a time.
#ifndef OWNERLINK_RECORDS_H
#define OWNERLINK_RECORDS_H

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

/// The operating-system domain of an owner. Only `DP` is served by a single-domain build.
enum SsOperSysType : uint32_t {
    DP = 0,
    SD = 1,
};

/// The groups of applications, each owned by one process in each domain.
enum GroupOwner : uint32_t {
    DATAMASTER = 0,
    IAM = 1,
    APPMGR = 2,
};

/// One requested change, as the client takes it.
///
/// `os` and `groupOwner` choose the owner and do not travel. No string may contain '#': the wire
/// format has no escape for it.
struct AppInfo {
    SsOperSysType os = DP;               ///< the owner's domain
    GroupOwner groupOwner = DATAMASTER;  ///< the owner
    std::string appName;                 ///< shares an item's 3887 bytes with all the texts below
    uint32_t optionType = 0;             ///< 0 start, 1 terminate, 2 restart
    std::vector<std::string> args;       ///< start arguments, at most 1024
    /// Dynamic parameters by index, with at most 1024 values each: indices 0 to 2 travel, one above
    /// has the whole change refused. What an index means is agreed between the manager and the
    /// owners.
    std::map<int, std::vector<std::string>> dynamicPara;
};

/// One requested change, as an owner's callback receives it.
///
/// Made empty, from a name and arguments (no dynamic parameters then), or from all three.
struct AppInfoForServer {
    /// @{
    /// Takes over what it is given.
    AppInfoForServer() = default;
    AppInfoForServer(std::string name, std::vector<std::string> arguments)
        : appName(std::move(name)), args(std::move(arguments))
    {
    }
    AppInfoForServer(std::string name, std::vector<std::string> arguments,
                     std::map<int, std::vector<std::string>> parameters)
        : appName(std::move(name)), args(std::move(arguments)), dynamicPara(std::move(parameters))
    {
    }
    /// @}

    std::string appName;            ///< the application
    std::vector<std::string> args;  ///< start arguments
    /// Dynamic parameters by index; always empty in a terminate list.
    std::map<int, std::vector<std::string>> dynamicPara;
};

/// How the change of one application went.
///
/// `INIT` is the client's own: no answer has reached this application, or no owner is configured
/// for it. All others come from the owner.
enum AppChangeState : uint32_t {
    SUCCESS = 0,
    TERM_FAILED = 1,
    START_FAILED = 2,
    RESTART_FAILED = 3,
    INIT = 4,
    PROCESSING = 5,           ///< accepted, and not done yet
    START_FAILED_BY_EIO = 6,  ///< the program could not be read
};

/// The result of one application's change: what an owner's callback appends for each application
/// that it was asked to change, and what a manager gets back.
struct AppChangeInfo {
    /// @{
    /// Takes over what it is given.
    AppChangeInfo() = default;
    AppChangeInfo(std::string name, AppChangeState changeState)
        : appName(std::move(name)), state(changeState)
    {
    }
    /// @}

    std::string appName;             ///< the application
    AppChangeState state = SUCCESS;  ///< how its change went
};

/// How one owner's share of a change went, or one application that has no owner.
enum ChangeAppResult : uint32_t {
    CHANGE_APP_SUCCEEDED = 0,
    CHANGE_APP_FAILED = 1,
};

/// A query as each owner gets it. A request holds 3888 bytes: eight, four for each name, and the
/// names.
struct QueryAppStatusMsg {
    std::vector<std::string> appList;  ///< the names as the caller gave them
    uint32_t queryType = 0;            ///< as the caller gave it
};

/// One answer to a query. An owner's answers share 3888 bytes: five, twelve for each, and the
/// names.
struct AppStatus {
    std::string appName;  ///< the application
    int32_t pid = 0;      ///< the process identifier that the owner gave
    uint32_t status = 0;  ///< the state that the owner gave; the library does not interpret it
};

/// One system event, such as a wake-up, as an owner reports it and every subscribed manager gets
/// it.
struct SysEvent {
    uint32_t state = 0;  ///< the reported system state: 0 off, 1 working, 2 suspend, ...
};

/// The processor affinity that a manager asks for. It is logged and reaches no owner.
struct CoreAffinityConfig {
    uint8_t state = 0;            ///< on or off, as the manager numbers it
    int8_t checkNum = 0;          ///< how many checks
    bool isWakeUpEnable = false;  ///< whether a wake-up starts them
    uint32_t checkInterval = 0;   ///< between two checks
};

#endif
