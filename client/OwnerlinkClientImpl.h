// The client end: one class, and one source file for each of its capabilities.
//
// `OwnerlinkClientImpl.cpp` holds its life and the owner table, `request_transport.cpp` the one
// road to an owner; the other sources are the public operations that travel it. The two objects of
// the process (one for each public interface) share the static members.
#ifndef OWNERLINK_CLIENT_OWNERLINKCLIENTIMPL_H
#define OWNERLINK_CLIENT_OWNERLINKCLIENTIMPL_H

#include <ownerlink/client.h>
#include <ownerlink/wire.h>
#include <ownerlink/yaml_node.h>

#include <atomic>
#include <future>
#include <map>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "client/owner_domain.h"
#include "foundation/mutex.h"
#include "platform/iam_file.h"
#include "wire/change_share.h"

namespace Ownerlink {

using ProcMgr::Mutex;
using ProcMgr::MutexLock;
using ProcMgr::OwnerlinkRequestMsg;
using ProcMgr::OwnerlinkRequestType;
using ProcMgr::OwnerlinkResponseMsg;

inline constexpr int kDefaultTimeOut = 5000;  // milliseconds

// The control commands that every owner takes.
enum CTRL_CMD : uint32_t {
    CTRL_CMD_UPDATE_CFG = 0,
    CTRL_CMD_STOP_ALL = 1,
    CTRL_CMD_DUMP = 2,
};

// One sender of a fan-out. Its promise is the only thing that it tells the caller.
struct SetSystemStateThreadInfo {
    std::thread thread;
    std::promise<int> promise;
    std::future<int> future;
};

// One owner's share of a change.
struct ChangeAppThreadInfo {
    ChangeShare appList;
    std::thread thread;
    std::promise<ChangeAppResult> promise;
    std::future<ChangeAppResult> future;
    ChangeStates states;  // written by the sender
};

// What the senders of a query ask for. The names are the caller's, who waits for the senders.
struct AppStateQuery {
    const std::vector<std::string>& appList;
    uint32_t queryType;
};

// One answer of an owner. The name lies in the record that has brought it.
struct AppStatusView {
    std::string_view appName;
    int32_t pid = 0;
    uint32_t status = 0;
};

// One owner's part in a query. Its sender writes the last two: strings for the answers are made by
// the caller, since those made by a thread so new cost it an allocator that is cold.
struct QueryAppStateThreadInfo {
    std::thread thread;
    std::promise<int> promise;
    std::future<int> future;
    OwnerlinkResponseMsg response;
    std::vector<AppStatusView> appStatus;
};

class OwnerlinkClientImpl : public OwnerlinkClientInner {
public:
    OwnerlinkClientImpl() = default;
    ~OwnerlinkClientImpl() override;

    uint32_t ChangeAppState(const std::vector<AppInfo>& appList, std::vector<AppChangeInfo>& result,
                            int timeOut) override;
    uint32_t SetSystemState(int state, int timeOut) override;
    uint32_t SetCoreAffinity(CoreAffinityConfig config) override;
    uint32_t QueryAppState(const std::vector<std::string>& appList,
                           std::vector<AppStatus>& appStatus, int timeOut, int queryType) override;
    uint32_t SetSystemCgroup(const std::string& name, unsigned char type, bool enable) override;
    bool RegSysmonitorEventImpl(std::function<void(const SysEvent&)> callback) override;
    bool UnregSysmonitorEventImpl() override;
    uint32_t UpdateCfg() override;
    uint32_t DumpApp() override;
    uint32_t QueryAppList(
        std::map<unsigned int, std::map<unsigned int, std::vector<std::string>>>& result) override;
    uint32_t StopAllApp() override;
    bool StopGrpApp(SsOperSysType os, GroupOwner owner) override;
    bool UpdateGrpCfg(SsOperSysType os, GroupOwner owner) override;
    bool DumpGrp(SsOperSysType os, GroupOwner owner) override;

    // The owner table.
    bool IsSingleDomain() const;
    bool LoadSecvfsCfg() EXCLUDES(secvfsMutex_);
    std::string GetResFileName(SsOperSysType os, GroupOwner owner);

    // One exchange with an owner.
    void SetTimedOut(int ms);
    bool GenerateRequest(IAMIoctlArg& arg, const OwnerlinkRequestMsg& req,
                         const std::string& resFileName) const;
    void DeleteRequest(IAMIoctlArg& arg) const;
    bool CloseVfsFd(int fd) const;
    // Sends `req` and fills `resp`. Opens and closes a descriptor of its own, but for VERIFY_APP,
    // which goes over `fd` and closes that.
    bool SendRequestToOwnerByVfs(OwnerlinkRequestType type, const std::string& resFileName,
                                 const OwnerlinkRequestMsg& req, OwnerlinkResponseMsg& resp,
                                 int fd) const;
    bool GetResultFromResponse(const OwnerlinkResponseMsg& resp) const;

    uint32_t CtrlRequest(CTRL_CMD cmd);
    bool QueryGrpAppList(SsOperSysType os, GroupOwner owner, std::vector<std::string>& apps);

private:
    friend struct ClientInternals;  // what tests and fuzzers reach past the operations

    using OwnerTable = std::map<OwnerDomain, std::string>;
    // The senders of a fan-out by resource file, on the caller's stack.
    using StateSenders = std::map<std::string, SetSystemStateThreadInfo>;
    using ChangeSenders = std::map<std::string, ChangeAppThreadInfo>;
    using QuerySenders = std::map<std::string, QueryAppStateThreadInfo>;

    const OwnerTable& LoadedTable() const;
    bool ReadOwnerTable() REQUIRES(secvfsMutex_);
    const std::string& FindResFileName(SsOperSysType os, GroupOwner owner);
    void FillOwnerTable(const ProcMgr::KvsTypeYaml& root);
    bool TakeTimeOut(int timeOut);

    int OpenOwner(const std::string& resFileName) const;
    int RetryOpen(const std::string& resFileName, int fd, int& error) const;
    void ApplyTimeOut(int fd, const std::string& resFileName) const;
    bool Exchange(OwnerlinkRequestType type, int fd, const std::string& resFileName,
                  IAMIoctlArg& arg, OwnerlinkResponseMsg& resp) const;
    bool TakeResponse(int fd, const std::string& resFileName, const IAMIoctlArg& arg,
                      OwnerlinkResponseMsg& resp) const;

    // Control commands.
    uint32_t ControlOwner(CTRL_CMD cmd, const OwnerDomain& domain);
    bool SendCommand(OwnerlinkRequestType type, const std::string& resFileName,
                     OwnerlinkResponseMsg& response) const;

    // The system state.
    uint32_t SetAdsExitState(int timeOut);
    bool AdmitStateChange(int state, int timeOut, bool isCancel) REQUIRES(setSystemStateMutex_);
    void FillSystemStateThreadInfos(StateSenders& infos) const;
    void InitSetSystemStateThreads(StateSenders& infos, int state, bool isCancel) const;
    void SetSystemStateThreadFunc(const std::string& resFileName, int state,
                                  std::promise<int> promise, bool isCancel) const;
    bool SendSystemState(const std::string& resFileName, int state, bool isCancel) const;
    bool TakeStateVerdict(const std::string& resFileName, int state,
                          const OwnerlinkResponseMsg& response) const;

    // Changes of applications.
    int SplitInputMsg(const std::vector<AppInfo>& appList, ChangeSenders& infos,
                      std::vector<ChangeAppResult>& results, std::vector<AppChangeInfo>& result);
    void StartChangAppThread(ChangeSenders& infos) const;
    void WaitChangeAppThread(ChangeSenders& infos, std::vector<ChangeAppResult>& results) const;
    void ChangeAppSendMessageHandler(const std::string& resFileName, const ChangeShare& appList,
                                     ChangeStates& states,
                                     std::promise<ChangeAppResult> promise) const;
    bool SendMessageToOwnerForChangeApp(const std::string& resFileName, const ChangeShare& appList,
                                        ChangeStates& states) const;
    bool SendChangeRecords(const std::string& resFileName, std::vector<OwnerlinkRequestMsg>& msgs,
                           ChangeStates& states) const;
    bool PrepareMsgForChangeApp(const ChangeShare& appList, std::vector<OwnerlinkRequestMsg>& msgs,
                                const std::string& resFileName) const;
    bool HandleResponseForChangeApp(const std::string& resFileName,
                                    const OwnerlinkResponseMsg& response,
                                    ChangeStates& states) const;

    // Queries.
    void FillQueryAppStateThreadInfo(QuerySenders& infos, int queryType) const;
    void StartQueryAppStateThread(QuerySenders& infos, const AppStateQuery& query) const;
    void QueryGrpAppState(const std::string& resFileName, const AppStateQuery& query,
                          QueryAppStateThreadInfo& info, std::promise<int> promise) const;
    bool QueryOwner(const std::string& resFileName, const AppStateQuery& query,
                    QueryAppStateThreadInfo& info) const;
    bool TakeAnswers(const std::string& resFileName, const OwnerlinkResponseMsg& response,
                     std::vector<AppStatusView>& appStatus) const;
    void FillQueryAppStateResult(const QuerySenders& infos, std::vector<AppStatus>& appStatus,
                                 int queryType) const;

    // The watch on the owners.
    void AddToVerifyRecord(ChangeSenders& infos) EXCLUDES(verifyMutex_);
    void RecordChanges(ChangeAppThreadInfo& share) REQUIRES(verifyMutex_);
    void InitConnectionToOwner();
    void SsCheckAndReconnet();
    void CheckOwner(int fd);
    bool TryReconnectOwner(int fd);
    int ReopenOwner(const std::string& resFileName) const;
    void SsVerifyProc(int fd, const OwnerDomain& domain, const std::string& resFileName)
        EXCLUDES(verifyMutex_);
    std::map<std::string, unsigned int> VerifyRecordOf(const OwnerDomain& domain)
        EXCLUDES(verifyMutex_);

    // System events.
    static int WakeUpEventCallback(int fd, void* buf, unsigned long count);
    static void DeSerializeData(const char* buf, SysEvent& event, unsigned long count);
    static void HandleWakeupData(const SysEvent& event);

    OwnerTable secvfsFromCfg_;  // written by the one load, read-only once `secvfsLoaded_` is true
    std::map<OwnerDomain, std::map<std::string, unsigned int>> verifyRecord_
        GUARDED_BY(verifyMutex_);  // the option type of each application's last successful change
    std::thread reconnectThread_;
    bool isExiting_ = false;                 // plain; by the destructor for the reconnect thread
    std::map<int, OwnerDomain> ownerFdMap_;  // the watch; the reconnect thread's once it runs
    std::atomic<bool> setSystemStateIng_{false};
    std::atomic<bool> secvfsLoaded_{false};
    Mutex secvfsMutex_;
    int sysEventFd_ = -1;  // plain; a subscription and its end may run at the same time
    std::atomic<int> timedOut_{kDefaultTimeOut};  // shared by all fan-outs
    int prevSystemState_ GUARDED_BY(setSystemStateMutex_) = 0;

    static Mutex setSystemStateMutex_;
    static Mutex changAppStateMutex_ ACQUIRED_BEFORE(verifyMutex_);
    static Mutex queryAppStateMutex_;
    static Mutex verifyMutex_;
    static std::function<void(const SysEvent&)> regSysmonitorEventCb_;
    static std::atomic<bool> hasRegistedSysEvent_;
    static std::atomic<bool> hasUnregistedSysEvent_;
};

}  // namespace Ownerlink

#endif
