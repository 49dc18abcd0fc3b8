/// \file
/// The server end: what a group owner calls to serve a system-state manager.
///
/// An owner registers one callback for each command that it serves. The first registration
/// publishes its resource file; from then on requests arrive, and callbacks run on the platform's
/// threads, two or more at the same time. A command without a callback is answered with a refusal.
/// A callback must not throw: the platform answers such a request with an error.
///
/// A callback's time-out is the manager's, in milliseconds, or -1 for the service's own: 5 seconds,
/// or 30 minutes with DATAMASTER_RUN_MODE=1 in the environment.
#ifndef OWNERLINK_SERVER_H
#define OWNERLINK_SERVER_H

#include <ownerlink/export.h>
#include <ownerlink/records.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

/// The registrations of an owner. One object in a process, which `GetInstance` gives.
class OWNERLINK_EXPORT OwnerlinkServer {
public:
    /// Changes applications, and appends one result for each to `results`, which arrives empty. One
    /// that is left out keeps the state that the manager gave it. The lists are in the request's
    /// order; those to be terminated carry no dynamic parameters. The result is the verdict on all.
    /// The results of a call share 3888 bytes: each its name, its state and two more. Where they do
    /// not fit the manager's exchange fails, whatever has been changed.
    using ChangeAppCallBack = std::function<bool(
        const std::vector<AppInfoForServer>& terminate, const std::vector<AppInfoForServer>& start,
        const std::vector<AppInfoForServer>& restart, std::vector<AppChangeInfo>& results)>;
    /// The same, with the time-out of the request.
    using ChangeAppTimeoutCallBack = std::function<bool(
        const std::vector<AppInfoForServer>& terminate, const std::vector<AppInfoForServer>& start,
        const std::vector<AppInfoForServer>& restart, std::vector<AppChangeInfo>& results,
        int timeOut)>;

    /// Carries out a command without arguments.
    using CommandCallBack = std::function<bool()>;

    /// Appends the names of this owner's applications, which share 3886 bytes: each its own and one
    /// more. Where they do not fit the manager's exchange fails. With a false verdict the names are
    /// dropped.
    using QueryAppListCallBack = std::function<bool(std::vector<std::string>& appList)>;

    /// Takes a system state: 0 off, 1 working, 2 suspend, ... or a number that no table knows.
    using SetSystemStateCallBack = std::function<bool(int state)>;
    /// The same, with the time-out of the request.
    using SetSystemStateTimeoutCallBack = std::function<bool(int state, int timeOut)>;

    /// Compares what the manager last changed (application name to option type: 0 started, 1
    /// terminated, 2 restarted) with what runs. May come several times for one reconnection.
    using VerifyAppCallBack =
        std::function<bool(const std::map<std::string, unsigned int>& optionTypeByApp)>;

    /// Appends the state of the named applications to `appStatus`, which arrives empty. What an
    /// empty list and `queryType` mean is agreed with the manager. Entries go out with a false
    /// verdict too.
    using QueryAppStateCallBack =
        std::function<bool(const std::vector<std::string>& appList,
                           std::vector<AppStatus>& appStatus, int timeOut, int queryType)>;

    /// Runs at exit, for the library alone.
    virtual ~OwnerlinkServer();

    /// Returns the server of this process, built on the first call and destroyed at exit.
    static OwnerlinkServer& GetInstance();

    /// Sends the server end's log records to syslog from now on. Returns 0.
    virtual int EnableSyslog() = 0;

    /// Publishes the event resource `serviceName`, which managers open as "dp:/res/pm/sys_event",
    /// and turns on syslog. Returns 0, or 0xF10308 if the platform refuses; syslog stays on then.
    virtual int InitSysEventServer(const std::string& serviceName) = 0;

    /// Reports `event` to every manager that has subscribed. Thread-safe. Returns 0, also without a
    /// subscriber, or the code of the last subscriber that could not be reached: 0xF10209 no memory
    /// block, 0xF10003 write failed, 0xF1020B queue full or broken.
    virtual int ReportSysEvent(const SysEvent& event) = 0;

    /// \name The registrations
    /// Each stores its callback, replacing the former one, and publishes
    /// `resFileName` unless a resource file is up; the name counts in the first successful call
    /// only. An empty function empties its place. Thread-safe. Requests run the stored callback
    /// itself, several at once where they come so; one that is being served may still run the
    /// former callback, which is destroyed behind it.
    ///
    /// Return 0, or 0xF1030A if the resource file could not be published: the callback is stored,
    /// and the next registration tries again.

    /// @{
    /// Starts, terminates and restarts applications. Of the two forms the one with a time-out wins
    /// where both are registered.
    virtual int RegSsChangeAppCallBackImpl(ChangeAppCallBack callback,
                                           const std::string& resFileName) = 0;
    virtual int RegSsChangeAppTimeoutCallBackImpl(ChangeAppTimeoutCallBack callback,
                                                  const std::string& resFileName) = 0;

    /// Reloads the configuration.
    virtual int RegReloadCallBackImpl(CommandCallBack callback, const std::string& resFileName) = 0;
    /// Dumps the owner's state.
    virtual int RegDumpCallBackImpl(CommandCallBack callback, const std::string& resFileName) = 0;
    /// Lists the owner's applications.
    virtual int RegQueryAppListCallBackImpl(QueryAppListCallBack callback,
                                            const std::string& resFileName) = 0;
    /// Stops all of them.
    virtual int RegStopAllAppCallBackImpl(CommandCallBack callback,
                                          const std::string& resFileName) = 0;

    /// Takes a system state. Of the two forms the one with a time-out wins where both are
    /// registered. A SUSPEND_PRE that comes within 50 ms of a cancel is answered without a
    /// callback.
    virtual int RegSetSystemStateCallBackImpl(SetSystemStateCallBack callback,
                                              const std::string& resFileName) = 0;
    virtual int RegSetSystemStateTimeoutCallBackImpl(SetSystemStateTimeoutCallBack callback,
                                                     const std::string& resFileName) = 0;

    /// Called with 1 (WORKING) when a manager takes back the SUSPEND_PRE that this owner has taken.
    virtual int RegSsCancelSuspendPreCallBackImpl(SetSystemStateTimeoutCallBack callback,
                                                  const std::string& resFileName) = 0;

    /// Called after a reconnection with what was last changed through the manager. A manager that
    /// watches calls it as soon as the resource is up, which the first registration sees to: this
    /// should be that one.
    virtual int RegSsVerifyAppCallBackImpl(VerifyAppCallBack callback,
                                           const std::string& resFileName) = 0;

    /// Called for the state of applications.
    virtual int RegSsQueryAppStateCallBackImpl(QueryAppStateCallBack callback,
                                               const std::string& resFileName) = 0;
    /// @}
};

#endif
