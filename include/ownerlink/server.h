// The server end: what a group owner calls to serve a system-state manager.
//
// An owner registers one callback for each command that it serves. The first registration publishes
// its resource file; from then on requests arrive, and callbacks run on the platform's threads, two
// or more at the same time. A command without a callback is answered with a refusal. A callback
// must not throw: the platform answers such a request with an error.
//
// A callback's time-out is the manager's, in milliseconds, or -1 for the service's own: 5 seconds,
// or 30 minutes with DATAMASTER_RUN_MODE=1 in the environment.
#ifndef OWNERLINK_SERVER_H
#define OWNERLINK_SERVER_H

#include <ownerlink/export.h>
#include <ownerlink/records.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

class OWNERLINK_EXPORT OwnerlinkServer {
public:
    using ChangeAppCallBack = std::function<bool(
        const std::vector<AppInfoForServer>& terminate, const std::vector<AppInfoForServer>& start,
        const std::vector<AppInfoForServer>& restart, std::vector<AppChangeInfo>& results)>;
    using ChangeAppTimeoutCallBack = std::function<bool(
        const std::vector<AppInfoForServer>& terminate, const std::vector<AppInfoForServer>& start,
        const std::vector<AppInfoForServer>& restart, std::vector<AppChangeInfo>& results,
        int timeOut)>;
    using CommandCallBack = std::function<bool()>;
    using QueryAppListCallBack = std::function<bool(std::vector<std::string>& appList)>;
    using SetSystemStateCallBack = std::function<bool(int state)>;
    using SetSystemStateTimeoutCallBack = std::function<bool(int state, int timeOut)>;
    using VerifyAppCallBack =
        std::function<bool(const std::map<std::string, unsigned int>& optionTypeByApp)>;
    using QueryAppStateCallBack =
        std::function<bool(const std::vector<std::string>& appList,
                           std::vector<AppStatus>& appStatus, int timeOut, int queryType)>;

    virtual ~OwnerlinkServer();

    // Returns the server of this process, built on the first call and destroyed at exit.
    static OwnerlinkServer& GetInstance();

    // Sends the server end's log records to syslog from now on. Returns 0.
    virtual int EnableSyslog() = 0;

    // Publishes the event resource `serviceName`, which managers open as "dp:/res/pm/sys_event",
    // and turns on syslog. Returns 0, or 0xF10308 if the platform refuses.
    virtual int InitSysEventServer(const std::string& serviceName) = 0;

    // Reports `event` to every manager that has subscribed. Thread-safe. Returns 0, also without a
    // subscriber, or the code of the last subscriber that could not be reached: 0xF10209 no memory
    // block, 0xF10003 write failed, 0xF1020B queue full or gone.
    virtual int ReportSysEvent(const SysEvent& event) = 0;

    // The registrations. Each stores its callback, replacing the former one, and publishes
    // `resFileName` unless a resource file is up; the name counts in the first successful call
    // only. An empty function empties its place. Thread-safe; a request that is being served may
    // still run the former callback.
    //
    // Return 0, or 0xF1030A if the resource file could not be published: the callback is stored,
    // and the next registration tries again.

    // Of the two forms the one with a time-out wins where both are registered.
    virtual int RegSsChangeAppCallBackImpl(ChangeAppCallBack callback,
                                           const std::string& resFileName) = 0;
    virtual int RegSsChangeAppTimeoutCallBackImpl(ChangeAppTimeoutCallBack callback,
                                                  const std::string& resFileName) = 0;
    virtual int RegReloadCallBackImpl(CommandCallBack callback, const std::string& resFileName) = 0;
    virtual int RegDumpCallBackImpl(CommandCallBack callback, const std::string& resFileName) = 0;
    virtual int RegQueryAppListCallBackImpl(QueryAppListCallBack callback,
                                            const std::string& resFileName) = 0;
    virtual int RegStopAllAppCallBackImpl(CommandCallBack callback,
                                          const std::string& resFileName) = 0;
    virtual int RegSetSystemStateCallBackImpl(SetSystemStateCallBack callback,
                                              const std::string& resFileName) = 0;
    virtual int RegSetSystemStateTimeoutCallBackImpl(SetSystemStateTimeoutCallBack callback,
                                                     const std::string& resFileName) = 0;
    // Called with 1 (WORKING) when a manager takes back the SUSPEND_PRE that this owner has taken.
    virtual int RegSsCancelSuspendPreCallBackImpl(SetSystemStateTimeoutCallBack callback,
                                                  const std::string& resFileName) = 0;
    // Called after a reconnection with what was last changed through the manager, as option types.
    virtual int RegSsVerifyAppCallBackImpl(VerifyAppCallBack callback,
                                           const std::string& resFileName) = 0;
    virtual int RegSsQueryAppStateCallBackImpl(QueryAppStateCallBack callback,
                                               const std::string& resFileName) = 0;
};

#endif
