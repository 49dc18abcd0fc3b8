// Starts, terminates and restarts applications across owners, each owner's share from its own
// thread.

#include <ownerlink/enum_text.h>
#include <sys/prctl.h>

#include <algorithm>

#include "client/OwnerlinkClientImpl.h"
#include "client/client_unit.h"
#include "client/result_codes.h"
#include "client/senders.h"
#include "foundation/make_room.h"
#include "wire/change_app_codec.h"
#include "wire/record_windows.h"

namespace Ownerlink {
namespace {

using ProcMgr::BootStrace;
using ProcMgr::GetAppState;
using ProcMgr::GetGroupOwner;
using ProcMgr::GetOptionType;
using ProcMgr::SS_AGENT_NAME;

std::string JoinArgs(const std::vector<std::string>& args)
{
    std::string text;
    for (const std::string& arg : args) {
        text += arg + " ";
    }
    return text;
}

std::string JoinNames(const ChangeShare& appList)
{
    std::string text;
    for (const AppInfo* const app : appList) {
        text += app->appName + ",";
    }
    return text;
}

size_t StatesOf(const std::map<std::string, ChangeAppThreadInfo>& infos)
{
    size_t states = 0;
    for (const auto& [resFileName, info] : infos) {
        states += info.states.Size();
    }
    return states;
}

void AppendStates(const std::map<std::string, ChangeAppThreadInfo>& infos,
                  std::vector<AppChangeInfo>& result)
{
    ProcMgr::MakeRoom(result, StatesOf(infos));
    for (const auto& [resFileName, info] : infos) {
        info.states.ForEach([&, &file = resFileName](std::string_view name, AppChangeState state) {
            result.emplace_back(std::string(name), state);
            CLIENT_MILESTONE("%s ChangeAppState: secVfs=%s appName=%s result=%u(%s)",
                             BootStrace(SS_AGENT_NAME).c_str(), file.c_str(),
                             result.back().appName.c_str(), static_cast<unsigned>(state),
                             GetAppState(state).c_str());
        });
    }
}

}  // namespace

uint32_t OwnerlinkClientImpl::ChangeAppState(const std::vector<AppInfo>& appList,
                                             std::vector<AppChangeInfo>& result, int timeOut)
{
    const MutexLock lock(changAppStateMutex_);
    if (!TakeTimeOut(timeOut)) {
        CLIENT_LOG(kFailure,
                   "ChangeAppState timeOut(%dms) should be -1 or at 100ms~60s, "
                   "set default value:%dms",
                   timeOut, kDefaultTimeOut);
    }
    ChangeSenders infos;
    // Nobody could tell the caller which applications a share that is under way has changed.
    const EndGuard guard(infos);
    std::vector<ChangeAppResult> results;
    SplitInputMsg(appList, infos, results, result);
    StartChangAppThread(infos);
    WaitChangeAppThread(infos, results);
    AppendStates(infos, result);
    // Also when the call fails: each application is recorded by its own state.
    AddToVerifyRecord(infos);
    const bool isFailed =
        std::find(results.begin(), results.end(), CHANGE_APP_FAILED) != results.end();
    if (isFailed) {
        CLIENT_LOG(kFailure, "ChangeAppState failed");
    }
    DlogFlush();
    return isFailed ? kChangeAppFailed : kSuccess;
}

int OwnerlinkClientImpl::SplitInputMsg(const std::vector<AppInfo>& appList, ChangeSenders& infos,
                                       std::vector<ChangeAppResult>& results,
                                       std::vector<AppChangeInfo>& result)
{
    std::map<const std::string*, ChangeShare*> shares;  // by where the owner table has the name
    for (const AppInfo& app : appList) {
        CLIENT_MILESTONE(
            "%s ChangeAppState os=%u appName=%s optionType=%u(%s) groupOwner=%u(%s) args=%s",
            BootStrace(SS_AGENT_NAME).c_str(), static_cast<unsigned>(app.os), app.appName.c_str(),
            app.optionType, GetOptionType(app.optionType).c_str(),
            static_cast<unsigned>(app.groupOwner), GetGroupOwner(app.groupOwner).c_str(),
            JoinArgs(app.args).c_str());
        const std::string& resFileName = FindResFileName(app.os, app.groupOwner);
        if (resFileName.empty()) {
            CLIENT_LOG(kFailure, "Yaml has no config. os=%u,groupOwner=%u(%s)",
                       static_cast<unsigned>(app.os), static_cast<unsigned>(app.groupOwner),
                       GetGroupOwner(app.groupOwner).c_str());
            results.push_back(CHANGE_APP_FAILED);
            result.emplace_back(app.appName, INIT);
            continue;
        }
        ChangeShare*& share = shares[&resFileName];
        if (share == nullptr) {
            share = &SenderOf(infos, resFileName).appList;
        }
        share->push_back(&app);
    }
    return 0;
}

void OwnerlinkClientImpl::StartChangAppThread(ChangeSenders& infos) const
{
    for (auto& [resFileName, info] : infos) {
        info.thread =
            std::thread(&OwnerlinkClientImpl::ChangeAppSendMessageHandler, this, resFileName,
                        std::cref(info.appList), std::ref(info.states), std::move(info.promise));
    }
}

// All values before any join.
void OwnerlinkClientImpl::WaitChangeAppThread(ChangeSenders& infos,
                                              std::vector<ChangeAppResult>& results) const
{
    for (auto& [resFileName, info] : infos) {
        results.push_back(info.future.get());
    }
    for (auto& [resFileName, info] : infos) {
        JoinIfRunning(info.thread);
    }
}

void OwnerlinkClientImpl::ChangeAppSendMessageHandler(const std::string& resFileName,
                                                      const ChangeShare& appList,
                                                      ChangeStates& states,
                                                      std::promise<ChangeAppResult> promise) const
{
    prctl(PR_SET_NAME, "CHANGE_APP");
    states.Init(appList);
    CLIENT_LOG(kProgress, "ChangeAppState fileName=%s,appList=%s", resFileName.c_str(),
               JoinNames(appList).c_str());
    const bool isSent = SendMessageToOwnerForChangeApp(resFileName, appList, states);
    if (!isSent) {
        CLIENT_LOG(kFailure, "ChangeAppState send message to %s failed", resFileName.c_str());
    }
    promise.set_value(isSent ? CHANGE_APP_SUCCEEDED : CHANGE_APP_FAILED);
}

bool OwnerlinkClientImpl::SendMessageToOwnerForChangeApp(const std::string& resFileName,
                                                         const ChangeShare& appList,
                                                         ChangeStates& states) const
{
    if (resFileName.empty()) {
        CLIENT_LOG(kFailure, "ChangeAppState resFileName is empty");
        return false;
    }
    if (appList.empty()) {
        CLIENT_LOG(kWarning, "ChangeAppState resFileName=%s appList is null.", resFileName.c_str());
        return true;
    }
    std::vector<OwnerlinkRequestMsg> msgs;
    if (!PrepareMsgForChangeApp(appList, msgs, resFileName)) {
        CLIENT_LOG(kFailure, "ChangeAppState PrepareMsgForChangeApp failed (file=%s)",
                   resFileName.c_str());
        return false;
    }
    return SendChangeRecords(resFileName, msgs, states);
}

// A refusal lets the rest of the share go on; a failed exchange ends it.
bool OwnerlinkClientImpl::SendChangeRecords(const std::string& resFileName,
                                            std::vector<OwnerlinkRequestMsg>& msgs,
                                            ChangeStates& states) const
{
    bool isAccepted = true;
    for (OwnerlinkRequestMsg& msg : msgs) {
        OwnerlinkResponseMsg response;
        msg.timeout = timedOut_;
        if (!SendRequestToOwnerByVfs(ProcMgr::CHANGE_APP, resFileName, msg, response, -1)) {
            return false;
        }
        if (!HandleResponseForChangeApp(resFileName, response, states)) {
            CLIENT_LOG(kFailure, "ChangeAppState HandleResponse failed. resFileName=%s",
                       resFileName.c_str());
            isAccepted = false;
        }
    }
    return isAccepted;
}

bool OwnerlinkClientImpl::PrepareMsgForChangeApp(const ChangeShare& appList,
                                                 std::vector<OwnerlinkRequestMsg>& msgs,
                                                 const std::string& resFileName) const
{
    ProcMgr::TextWriter texts;
    std::vector<ProcMgr::ItemView> items;
    if (!Serialization::PackChangeShare(appList, texts, items)) {
        CLIENT_LOG(kFailure, "ChangeAppState PackChangeAppInfoRequest Failed! (file=%s)",
                   resFileName.c_str());
        return false;
    }
    if (!Serialization::ProcMgrCombinePiecesMsg(items, msgs)) {
        CLIENT_LOG(kFailure, "ChangeAppState CombinePiecesMsg Failed! (file=%s)",
                   resFileName.c_str());
        return false;
    }
    return true;
}

bool OwnerlinkClientImpl::HandleResponseForChangeApp(const std::string& resFileName,
                                                     const OwnerlinkResponseMsg& response,
                                                     ChangeStates& states) const
{
    bool isAccepted = false;
    if (!Serialization::UnPackChangeStates(response, isAccepted, states)) {
        CLIENT_LOG(kFailure, "ChangeAppState UnPackChangeAppInfoResponseMsg failed, (file=%s)",
                   resFileName.c_str());
        return false;
    }
    return isAccepted;
}

}  // namespace Ownerlink
