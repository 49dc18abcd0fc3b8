/// \file
/// The client end: what the system-state manager calls.
///
/// The library finds the group owners in /etc/tnv/ownerlink_vfs_cfg.yaml, which it reads at the
/// first operation that needs it; a load that failed is tried again by the next. All operations may
/// be called from any thread, and block until the owners asked have answered or their exchanges
/// have timed out. Operations on all owners never stop at the first failure; the log (module 54)
/// names the owner that failed and the reason.
///
/// A time-out is in milliseconds, 100 to 60000, or -1 for the limit of the owner's service; any
/// other value counts as 5000 and is logged. It bounds each exchange, not the call, and stays in
/// force for the object's later exchanges, until an operation that takes one sets another.
#ifndef OWNERLINK_CLIENT_H
#define OWNERLINK_CLIENT_H

#include <ownerlink/export.h>
#include <ownerlink/records.h>

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

/// The operations on all owners. One object in a process, which `GetInstance` gives.
class OWNERLINK_EXPORT OwnerlinkClient {
public:
    /// Runs at exit, for the library alone.
    virtual ~OwnerlinkClient();

    /// Returns the client of this process, built on the first call and destroyed at exit. Its owner
    /// is the library.
    static OwnerlinkClient& GetInstance();

    /// Starts, terminates or restarts the applications of `appList`, each through its owner, and
    /// appends one result for each to `result`: first those without a configured owner (`INIT`), in
    /// the order given, then the others by resource file and name. `result` is not cleared. Calls
    /// run one after the other.
    ///
    /// A list that is too long for one record is cut into several, which an owner sees as requests
    /// of their own, the shortest items first. A refusal lets the rest go on; a failed exchange
    /// leaves the applications that no answer has reached at `INIT`.
    ///
    /// The first call of a process, also with an empty list, starts the watch on the owners: one
    /// that dies and is back within five seconds is told, up to three times, what was last changed
    /// through this object. Told so, or back later than that, it is watched no more.
    ///
    /// Returns 0 if every owner accepted, 0xF10303 otherwise, also if an application has no owner.
    /// Throws std::system_error if no thread could be started; the process ends by std::terminate
    /// if one could not while others run, since nobody could tell what their owners have done. The
    /// watch's own thread comes last: then `result` is whole, and the next call tries again.
    virtual uint32_t ChangeAppState(const std::vector<AppInfo>& appList,
                                    std::vector<AppChangeInfo>& result, int timeOut) = 0;

    /// Sets `state` on every configured owner at once and waits for all of them.
    ///
    /// A second call while one runs is refused, except the WORKING (1) that takes back a
    /// SUSPEND_PRE (0x102): it overtakes, and reaches the owners as a cancel. A refused state still
    /// counts as the last one for that rule. HIGH_LEVEL_ADS_EXIT (0x101) is logged and sent to
    /// nobody. Other numbers are sent as they stand.
    ///
    /// Returns 0 if all owners accepted or none is configured, 0xF10300 if refused, 0xF10301 if an
    /// owner refused or could not be reached; the log names the first. An exception (a thread that
    /// could not be started) leaves the guard closed until a cancel frees it.
    virtual uint32_t SetSystemState(int state, int timeOut) = 0;

    /// Logs `config`, which reaches no owner, and returns 0.
    virtual uint32_t SetCoreAffinity(CoreAffinityConfig config) = 0;

    /// Asks owners for the state of the applications in `appList` and appends their answers to
    /// `appStatus`, grouped by resource file, those of a failed owner included.
    ///
    /// `queryType` 0 asks the owner of domain (DP, DATAMASTER) alone; any other value asks every
    /// owner, and its meaning is theirs. Calls run one after the other. Returns 0, or 0xF1030D if
    /// an owner failed. Throws std::future_error if a thread could not be started, which the log
    /// tells; the other owners have then been asked to no effect, and `appStatus` is as it was.
    virtual uint32_t QueryAppState(const std::vector<std::string>& appList,
                                   std::vector<AppStatus>& appStatus, int timeOut,
                                   int queryType) = 0;

    /// Logs its arguments, changes no control group, and returns 0.
    virtual uint32_t SetSystemCgroup(const std::string& name, unsigned char type, bool enable) = 0;

    /// Subscribes `callback` to the system events that an owner reports. It runs on a thread of the
    /// platform, one event at a time, and is never destroyed: it may still run while the process
    /// exits.
    ///
    /// A process can subscribe once. True if the events could be opened, and no more: whether the
    /// platform reads them is in the log alone, and behind an end (see below) none is delivered.
    /// False if a subscription was tried before, also by a call that failed, or if no owner
    /// publishes events.
    virtual bool RegSysmonitorEventImpl(std::function<void(const SysEvent&)> callback) = 0;

    /// Ends the subscription for the rest of the process's life, also if none was made. An event
    /// that is being delivered at this moment may still reach the function. False if it was ended
    /// before.
    virtual bool UnregSysmonitorEventImpl() = 0;

    /// Has every owner but IAM reload its configuration, one after the other, under the object's
    /// current time-out. Returns 0, or 0xF10307 if an owner failed.
    virtual uint32_t UpdateCfg() = 0;

    /// Has every owner but IAM dump its state, likewise. Returns 0, or 0xF10306 if an owner failed.
    virtual uint32_t DumpApp() = 0;

    /// Appends the names of every owner's applications to `result`, by `os` and then group. An
    /// owner without applications gets no entry, and neither does one that failed. `result` is not
    /// cleared. Returns 0, or 0xF10305 if an owner failed.
    virtual uint32_t QueryAppList(
        std::map<unsigned int, std::map<unsigned int, std::vector<std::string>>>& result) = 0;

    /// Has every owner but IAM stop all its applications. Returns 0, or 0xF10304 if an owner
    /// failed.
    virtual uint32_t StopAllApp() = 0;
};

/// The client with the operations on one owner, IAM included. A second object beside that of
/// OwnerlinkClient, with a table and a time-out of its own.
class OWNERLINK_EXPORT OwnerlinkClientInner : public OwnerlinkClient {
public:
    ~OwnerlinkClientInner() override;

    /// Returns the second client of this process, built on the first call and destroyed at exit.
    static OwnerlinkClientInner& GetInstance();

    /// Has the owner of one domain stop all its applications. True if it accepted; false if it
    /// refused, could not be reached or is not configured, which the log tells apart.
    virtual bool StopGrpApp(SsOperSysType os, GroupOwner owner) = 0;

    /// Has it reload its configuration, with the same results.
    virtual bool UpdateGrpCfg(SsOperSysType os, GroupOwner owner) = 0;

    /// Has it dump its state, with the same results.
    virtual bool DumpGrp(SsOperSysType os, GroupOwner owner) = 0;
};

#endif
