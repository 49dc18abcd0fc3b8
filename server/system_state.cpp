// System states and the cancellation of a coming suspend, in whichever order the two arrive.

#include <ownerlink/enum_text.h>

#include "server/ownerlink_server_impl.h"
#include "server/server_unit.h"

namespace ProcMgr {
namespace {

constexpr int kCancelInterval = 50;  // milliseconds, whole ones
constexpr long kNanosecondsPerMillisecond = 1'000'000;

std::string StateText(int state)
{
    return GetSysState(static_cast<unsigned long>(state));
}

}  // namespace

void OwnerlinkServerImpl::SetSystemStateHandle(const OwnerlinkRequestMsg* request,
                                               OwnerlinkResponseMsg& response)
{
    int state = -1;
    if (!SS::UnPackSetSystemStateRequest(request, state)) {
        // Goes on: the callback sees the -1.
        SERVER_LOG(GRP_LOG_ERROR,
                   "SetSystemStateHandle: UnPackSetSystemStateRequest fail, state=%d(%s)", state,
                   StateText(state).c_str());
    }
    if (DropSuspendPre(state, response)) {
        return;
    }
    SS::PackSetSystemStateResponse(CallSetSystemState(state, request->timeout), response);
}

// Takes the state. True if it is a SUSPEND_PRE that a cancel has overtaken: then it is answered
// here and must not reach the owner.
bool OwnerlinkServerImpl::DropSuspendPre(int state, OwnerlinkResponseMsg& response)
{
    const MutexLock lock(cancelMutex_);
    currentSysState_ = state;
    SetCancelSuspendTimer();
    if (state != SUSPEND_PRE || !cancelSuspendPending_) {
        return false;
    }
    SS::PackSetSystemStateResponse(false, response);
    SERVER_LOG(GRP_LOG_ERROR,
               "WORKING to SUSPEND_PRE interval within 50ms, current SUSPEND_PRE is canceled.");
    cancelSuspendPending_ = false;
    currentSysState_ = WORKING;
    return true;
}

// Ends the interval that a cancel has opened, when it is over. No timer runs: the mark stands until
// the next state looks at it.
void OwnerlinkServerImpl::SetCancelSuspendTimer()
{
    if (!cancelSuspendPending_) {
        return;
    }
    const std::chrono::nanoseconds since = std::chrono::steady_clock::now() - cancelSuspendTime_;
    const auto milliseconds = static_cast<int32_t>(since.count() / kNanosecondsPerMillisecond);
    if (milliseconds > kCancelInterval) {
        cancelSuspendPending_ = false;
    }
}

bool OwnerlinkServerImpl::CallSetSystemState(int state, int timeOut)
{
    if (const auto callback = Share(setSystemStateTimeoutCb_)) {
        SERVER_LOG(GRP_LOG_WARN, "SetSystemStateHandle with timeout callback begin. state=%d(%s)",
                   state, StateText(state).c_str());
        const bool verdict = CallOwner(SET_SYSTEM_STATE, callback, state, timeOut);
        SERVER_LOG(GRP_LOG_WARN, "SetSystemStateHandle with timeout callback end. ret=%u",
                   static_cast<unsigned>(verdict));
        return verdict;
    }
    if (const auto callback = Share(setSystemStateCb_)) {
        SERVER_LOG(GRP_LOG_WARN, "SetSystemStateHandle callback begin. state=%d(%s)", state,
                   StateText(state).c_str());
        const bool verdict = CallOwner(SET_SYSTEM_STATE, callback, state);
        SERVER_LOG(GRP_LOG_WARN, "SetSystemStateHandle callback end. ret=%u",
                   static_cast<unsigned>(verdict));
        return verdict;
    }
    SERVER_LOG(GRP_LOG_ERROR, "SetSystemStateHandle failed, callback is nullptr");
    return false;
}

void OwnerlinkServerImpl::CancelSuspendStateHandle(const OwnerlinkRequestMsg* request,
                                                   OwnerlinkResponseMsg& response)
{
    if (AnswerEarlyCancel(response)) {
        return;
    }
    SS::PackSetSystemStateResponse(CallCancelSuspendPre(request->timeout), response);
}

// Marks the cancel, whatever the state. True if there is no SUSPEND_PRE to undo: the cancel has
// overtaken it, and false is the answer although nothing went wrong.
bool OwnerlinkServerImpl::AnswerEarlyCancel(OwnerlinkResponseMsg& response)
{
    const MutexLock lock(cancelMutex_);
    cancelSuspendTime_ = std::chrono::steady_clock::now();
    cancelSuspendPending_ = true;
    if (currentSysState_ == SUSPEND_PRE) {
        currentSysState_ = WORKING;
        return false;
    }
    SS::PackSetSystemStateResponse(false, response);
    SERVER_LOG(GRP_LOG_ERROR,
               "Groupowner receive CANCEL before SUSPEND_PRE, upcoming SUSPEND_PRE will be "
               "canceled.");
    currentSysState_ = WORKING;
    return true;
}

bool OwnerlinkServerImpl::CallCancelSuspendPre(int timeOut)
{
    const auto callback = Share(cancelSuspendPreCb_);
    if (!callback) {
        SERVER_LOG(GRP_LOG_ERROR, "CancelSuspendStateHandle failed, callback is nullptr");
        return false;
    }
    SERVER_LOG(GRP_LOG_WARN, "CancelSuspendStateHandle with timeout callback begin.");
    const bool verdict = CallOwner(CANCEL_SUSPEND, callback, static_cast<int>(WORKING), timeOut);
    SERVER_LOG(GRP_LOG_WARN, "CancelSuspendStateHandle with timeout callback end. ret=%u",
               static_cast<unsigned>(verdict));
    return verdict;
}

}  // namespace ProcMgr
