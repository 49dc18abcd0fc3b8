// Sets the system state on all owners at once.

#include <ownerlink/enum_text.h>
#include <sys/prctl.h>

#include <functional>

#include "client/OwnerlinkClientImpl.h"
#include "client/client_unit.h"
#include "client/result_codes.h"
#include "client/senders.h"

namespace Ownerlink {
namespace {

std::string StateText(int state)
{
    return ProcMgr::GetSysState(static_cast<unsigned long>(state));
}

uint32_t CombineResults(int state, const SenderResults& results)
{
    for (const auto& [resFileName, result] : results) {
        if (result != 0) {
            CLIENT_LOG(kFailure, "SetSystemState state=%d(%s) failed. because send to %s failed.",
                       state, StateText(state).c_str(), std::string(resFileName).c_str());
            return kSystemStateFailed;
        }
    }
    return kSuccess;
}

}  // namespace

uint32_t OwnerlinkClientImpl::SetSystemState(int state, int timeOut)
{
    if (state == ProcMgr::HIGH_LEVEL_ADS_EXIT) {
        return SetAdsExitState(timeOut);
    }
    StateSenders infos;
    const JoinGuard guard(infos);
    {
        const MutexLock lock(setSystemStateMutex_);
        const bool isCancel = state == ProcMgr::WORKING && prevSystemState_ == ProcMgr::SUSPEND_PRE;
        if (!AdmitStateChange(state, timeOut, isCancel)) {
            DlogFlush();
            return kSystemStateBusy;
        }
        if (!TakeTimeOut(timeOut)) {
            CLIENT_LOG(kFailure,
                       "SetSystemState timeOut(%dms) should be -1 or at 100ms~60s, "
                       "set default value:%dms",
                       timeOut, kDefaultTimeOut);
        }
        LoadSecvfsCfg();
        FillSystemStateThreadInfos(infos);
        InitSetSystemStateThreads(infos, state, isCancel);
    }  // Released before the wait: a cancel must be able to overtake this call.
    const uint32_t result = CombineResults(state, CollectResults(infos));
    setSystemStateIng_ = false;
    DlogFlush();
    return result;
}

bool OwnerlinkClientImpl::AdmitStateChange(int state, int timeOut, bool isCancel)
{
    if (isCancel) {
        CLIENT_MILESTONE(
            "SetSystemState: Cancel SUSPEND_PRE state, prevState = %d, timeOut = %dms !!!",
            prevSystemState_, timeOut);
    }
    // A refused state stays here all the same: WORKING after a refused SUSPEND_PRE is a cancel.
    prevSystemState_ = state;
    const bool wasRunning = setSystemStateIng_.exchange(true);
    if (wasRunning && !isCancel) {
        CLIENT_LOG(kFailure, "SetSystemState is in SetSystemStateIng !!!");
        return false;
    }
    return true;
}

void OwnerlinkClientImpl::FillSystemStateThreadInfos(StateSenders& infos) const
{
    for (const auto& [domain, resFileName] : LoadedTable()) {
        SenderOf(infos, resFileName);
    }
}

void OwnerlinkClientImpl::InitSetSystemStateThreads(StateSenders& infos, int state,
                                                    bool isCancel) const
{
    for (auto& [resFileName, info] : infos) {
        // The name is the map's, which outlives its senders.
        info.thread = std::thread(&OwnerlinkClientImpl::SetSystemStateThreadFunc, this,
                                  std::cref(resFileName), state, std::move(info.promise), isCancel);
    }
}

void OwnerlinkClientImpl::SetSystemStateThreadFunc(const std::string& resFileName, int state,
                                                   std::promise<int> promise, bool isCancel) const
{
    prctl(PR_SET_NAME, "SET_SYSTEM_STATE");
    CLIENT_LOG(kProgress, "SetSystemState begin. resFileName=%s, state=%d(%s)", resFileName.c_str(),
               state, StateText(state).c_str());
    promise.set_value(SendSystemState(resFileName, state, isCancel) ? 0 : -1);
}

bool OwnerlinkClientImpl::SendSystemState(const std::string& resFileName, int state,
                                          bool isCancel) const
{
    OwnerlinkRequestMsg request;
    if (!Serialization::PackSetSystemStateRequest(state, request)) {
        CLIENT_LOG(kFailure,
                   "SetSystemState PackSetSystemStateRequest failed. resFileName=%s, state=%d(%s)",
                   resFileName.c_str(), state, StateText(state).c_str());
        return false;
    }
    request.timeout = timedOut_;
    OwnerlinkResponseMsg response;
    const auto type = isCancel ? ProcMgr::CANCEL_SUSPEND : ProcMgr::SET_SYSTEM_STATE;
    if (!SendRequestToOwnerByVfs(type, resFileName, request, response, -1)) {
        CLIENT_LOG(kFailure,
                   "SetSystemState SendRequestToOwnerByVfs failed. resFileName=%s, state=%d(%s)",
                   resFileName.c_str(), state, StateText(state).c_str());
        return false;
    }
    return TakeStateVerdict(resFileName, state, response);
}

bool OwnerlinkClientImpl::TakeStateVerdict(const std::string& resFileName, int state,
                                           const OwnerlinkResponseMsg& response) const
{
    bool isAccepted = true;
    if (!Serialization::UnPackSetSystemStateResponse(response, isAccepted)) {
        CLIENT_LOG(kFailure,
                   "SetSystemState UnPackSetSystemStateResponse failed. resFileName=%s, "
                   "state=%d(%s)",
                   resFileName.c_str(), state, StateText(state).c_str());
        return false;
    }
    if (!isAccepted) {
        CLIENT_LOG(kFailure, "SetSystemState state=%d(%s) failed. resFileName=%s", state,
                   StateText(state).c_str(), resFileName.c_str());
        return false;
    }
    CLIENT_MILESTONE("SetSystemState state=%d(%s) success. resFileName=%s", state,
                     StateText(state).c_str(), resFileName.c_str());
    return true;
}

uint32_t OwnerlinkClientImpl::SetAdsExitState(int timeOut)
{
    CLIENT_MILESTONE("%s SetAdsExitState start. timeOut=%d",
                     ProcMgr::BootStrace(ProcMgr::SS_AGENT_NAME).c_str(), timeOut);
    CLIENT_MILESTONE("%s SetAdsExitState end.",
                     ProcMgr::BootStrace(ProcMgr::SS_AGENT_NAME).c_str());
    return kSuccess;
}

}  // namespace Ownerlink
