// The server end: one class, and one source file for each of its capabilities.
//
// `ownerlink_server_impl.cpp` holds its life and the dispatch, `registrations.cpp` what owners
// call, `system_events.cpp` what is published to subscribers. The other sources hold the handlers,
// each of which unpacks a record, calls the owner's callback and packs the answer. Requests arrive
// on the platform's threads, and callbacks run there, with no lock held.
#ifndef OWNERLINK_SERVER_OWNERLINK_SERVER_IMPL_H
#define OWNERLINK_SERVER_OWNERLINK_SERVER_IMPL_H

#include <ownerlink/server.h>
#include <ownerlink/wire.h>

#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "foundation/mutex.h"
#include "foundation/trace_points.h"
#include "platform/iam_file.h"
#include "platform/iam_queue.h"

namespace ProcMgr {

class OwnerlinkServerImpl : public OwnerlinkServer {
public:
    OwnerlinkServerImpl();
    ~OwnerlinkServerImpl() override;

    static OwnerlinkServerImpl* GetThis();

    int EnableSyslog() override;
    int InitSysEventServer(const std::string& serviceName) override;
    int ReportSysEvent(const SysEvent& event) override;

    int RegSsChangeAppCallBackImpl(ChangeAppCallBack callback,
                                   const std::string& resFileName) override;
    int RegSsChangeAppTimeoutCallBackImpl(ChangeAppTimeoutCallBack callback,
                                          const std::string& resFileName) override;
    int RegReloadCallBackImpl(CommandCallBack callback, const std::string& resFileName) override;
    int RegDumpCallBackImpl(CommandCallBack callback, const std::string& resFileName) override;
    int RegQueryAppListCallBackImpl(QueryAppListCallBack callback,
                                    const std::string& resFileName) override;
    int RegStopAllAppCallBackImpl(CommandCallBack callback,
                                  const std::string& resFileName) override;
    int RegSetSystemStateCallBackImpl(SetSystemStateCallBack callback,
                                      const std::string& resFileName) override;
    int RegSetSystemStateTimeoutCallBackImpl(SetSystemStateTimeoutCallBack callback,
                                             const std::string& resFileName) override;
    int RegSsCancelSuspendPreCallBackImpl(SetSystemStateTimeoutCallBack callback,
                                          const std::string& resFileName) override;
    int RegSsVerifyAppCallBackImpl(VerifyAppCallBack callback,
                                   const std::string& resFileName) override;
    int RegSsQueryAppStateCallBackImpl(QueryAppStateCallBack callback,
                                       const std::string& resFileName) override;

    int RegisterResService(const std::string& resFileName);
    uint32_t GetVfsServiceTimeout() const;

    // What the platform calls. All static: it holds plain function pointers.
    static int MyOpen(IAMMgrFile* file);
    static int MyClose(IAMMgrFile* file);
    static long MyRead(IAMMgrFile* file, char* buf, unsigned long size, long* out);
    static int MyIoctl(IAMMgrFile* file, unsigned int cmd, IAMIoctlArg* arg);
    static void HandleRequestFromClient(unsigned int cmd, const OwnerlinkRequestMsg* request,
                                        OwnerlinkResponseMsg& response);
    static int OwnerlinkServerOpen(IamQfsMgrFile* file) EXCLUDES(poolMutex_);
    static int OwnerlinkServerClose(IamQfsMgrFile* file) EXCLUDES(poolMutex_);

private:
    friend struct ServerInternals;  // the unit tests' view of what no operation shows

    // A callback, or null. The first registration publishes the service while the others are still
    // to come, so that requests and registrations do meet: a request shares the callback that it
    // calls, whose state is one from request to request, and calls it without the lock.
    template <typename CallBack>
    using Slot = std::shared_ptr<const CallBack>;

    template <typename CallBack>
    int Register(Slot<CallBack>& slot, CallBack callback, const std::string& resFileName)
        EXCLUDES(callbackMutex_)
    {
        Slot<CallBack> other;
        if (callback) {
            other = std::make_shared<const CallBack>(std::move(callback));
        }
        {
            const MutexLock lock(callbackMutex_);
            slot.swap(other);
        }
        other.reset();  // the old one goes ahead of the service's registration, outside the lock
        return RegisterResService(resFileName);
    }

    template <typename CallBack>
    Slot<CallBack> Share(const Slot<CallBack>& slot) EXCLUDES(callbackMutex_)
    {
        const MutexLock lock(callbackMutex_);
        return slot;
    }

    // Calls an owner's callback between its two trace points.
    template <typename CallBack, typename... Arguments>
    bool CallOwner(OwnerlinkRequestType command, const Slot<CallBack>& callback,
                   Arguments&&... arguments) const
    {
        trace::CallbackBegin(resFileName_.c_str(), command);
        const bool verdict = (*callback)(std::forward<Arguments>(arguments)...);
        trace::CallbackEnd(resFileName_.c_str(), command, verdict);
        return verdict;
    }

    static int CopyOut(const OwnerlinkResponseMsg& response, const IAMIoctlArg& arg);
    void Dispatch(unsigned int cmd, const OwnerlinkRequestMsg* request,
                  OwnerlinkResponseMsg& response);

    void ChangeApp(const OwnerlinkRequestMsg* request, OwnerlinkResponseMsg& response);
    bool CallChangeApp(std::vector<AppInfo> appList, std::vector<AppChangeInfo>& results,
                       int timeOut);
    void SetSystemStateHandle(const OwnerlinkRequestMsg* request, OwnerlinkResponseMsg& response);
    void CancelSuspendStateHandle(const OwnerlinkRequestMsg* request,
                                  OwnerlinkResponseMsg& response);
    bool DropSuspendPre(int state, OwnerlinkResponseMsg& response) EXCLUDES(cancelMutex_);
    bool AnswerEarlyCancel(OwnerlinkResponseMsg& response) EXCLUDES(cancelMutex_);
    void SetCancelSuspendTimer() REQUIRES(cancelMutex_);
    bool CallSetSystemState(int state, int timeOut);
    bool CallCancelSuspendPre(int timeOut);
    void ReloadCfg(OwnerlinkResponseMsg& response);
    void DumpHandle(OwnerlinkResponseMsg& response);
    void StopAllApp(OwnerlinkResponseMsg& response);
    void QueryAppList(OwnerlinkResponseMsg& response);
    void QueryAppState(const OwnerlinkRequestMsg* request, OwnerlinkResponseMsg& response);
    void VerifyApp(const OwnerlinkRequestMsg* request, OwnerlinkResponseMsg& response);
    bool CallVerifyApp(const OwnerlinkRequestMsg* request);

    bool resServiceRegistered_ = false;  // plain: set by a registration, cleared by the destructor
    Slot<ChangeAppCallBack> changeAppCb_;
    Slot<ChangeAppTimeoutCallBack> changeAppTimeoutCb_;
    Slot<CommandCallBack> reloadCb_;
    Slot<CommandCallBack> dumpCb_;
    Slot<QueryAppListCallBack> queryAppListCb_;
    Slot<CommandCallBack> stopAllAppCb_;
    Slot<SetSystemStateCallBack> setSystemStateCb_;
    Slot<SetSystemStateTimeoutCallBack> setSystemStateTimeoutCb_;
    Slot<VerifyAppCallBack> verifyAppCb_;
    Slot<QueryAppStateCallBack> queryAppStateCb_;
    Slot<SetSystemStateTimeoutCallBack> cancelSuspendPreCb_;
    int currentSysState_ GUARDED_BY(cancelMutex_) = 0;
    bool cancelSuspendPending_ GUARDED_BY(cancelMutex_) = false;
    std::chrono::steady_clock::time_point cancelSuspendTime_ GUARDED_BY(cancelMutex_);

    Mutex callbackMutex_;  // the callbacks, while one is shared or replaced
    RecursiveMutex registrationMutex_;
    // For the trace points: set before the platform knows of it, and no more once it does.
    std::string resFileName_;

    static OwnerlinkServerImpl* pThis_;
    static std::map<IamQfsMgrFile*, IAMShmPool> procQfsFileMap_ GUARDED_BY(poolMutex_);
    static Mutex poolMutex_;
    static Mutex cancelMutex_;
    static IAMShmBlock blockHandle_;  // no road leads to these two; they keep their place
    static IAMShmPool poolHandle_;
};

}  // namespace ProcMgr

#endif
