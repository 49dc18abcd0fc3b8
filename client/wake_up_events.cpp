// The subscription to system events: made once in a process, and ended once.

#include <fcntl.h>
#include <ownerlink/enum_text.h>
#include <unistd.h>

#include "client/OwnerlinkClientImpl.h"
#include "client/client_unit.h"
#include "client/traced_open.h"
#include "foundation/text_reader.h"
#include "foundation/trace_points.h"
#include "platform/iam_queue.h"

namespace Ownerlink {
namespace {

const std::string kSysEventFile = "dp:/res/pm/sys_event";

}  // namespace

bool OwnerlinkClientImpl::RegSysmonitorEventImpl(std::function<void(const SysEvent&)> callback)
{
    if (hasRegistedSysEvent_.exchange(true)) {  // ahead of the open: a failed one is the only one
        CLIENT_LOG(kFailure, "WakeUpEvent RegSysMonitorEventImpl has registered SysEvent before");
        return false;
    }
    sysEventFd_ = TracedOpen(kSysEventFile, O_RDONLY);
    if (sysEventFd_ < 0) {
        CLIENT_LOG(kFailure, "WakeUpEvent Open file failed. resFile=%s fd=%d",
                   kSysEventFile.c_str(), sysEventFd_);
        return false;
    }
    CLIENT_LOG(kWarning, "WakeUpEvent Open file success. resFile=%s", kSysEventFile.c_str());
    regSysmonitorEventCb_ = std::move(callback);
    const size_t ret = IAMFastReadAsync(sysEventFd_, WakeUpEventCallback);
    CLIENT_MILESTONE("register async fastRead. resFile=%s, ret=%zu", kSysEventFile.c_str(), ret);
    return true;
}

bool OwnerlinkClientImpl::UnregSysmonitorEventImpl()
{
    if (hasUnregistedSysEvent_.exchange(true)) {
        CLIENT_LOG(kFailure,
                   "WakeUpEvent UnregSysMonitorEventImpl has unregistered SysEvent before");
        return false;
    }
    close(sysEventFd_);
    sysEventFd_ = -1;
    DlogFlush();
    return true;
}

int OwnerlinkClientImpl::WakeUpEventCallback(int /*fd*/, void* buf, unsigned long count)
{
    if (!hasRegistedSysEvent_ || hasUnregistedSysEvent_) {
        return 0;
    }
    if (buf == nullptr) {
        CLIENT_LOG(kFailure, "WakeUpEventCallback, buf is null, count=%zu", count);
        return -1;
    }
    SysEvent event;
    DeSerializeData(static_cast<const char*>(buf), event, count);
    HandleWakeupData(event);
    return 0;
}

// A text without a number is state 0.
void OwnerlinkClientImpl::DeSerializeData(const char* buf, SysEvent& event, unsigned long count)
{
    event.state = ProcMgr::LeadingNumber<uint32_t>({buf, count});
    CLIENT_MILESTONE("WakeUpEvent read wake state=%u(%s)", event.state,
                     ProcMgr::GetSysState(event.state).c_str());
}

void OwnerlinkClientImpl::HandleWakeupData(const SysEvent& event)
{
    if (!regSysmonitorEventCb_) {
        CLIENT_LOG(kFailure,
                   "WakeUpEvent HandleWakeupData failed, regSysmonitorEventCb_ is nullptr");
        return;
    }
    ProcMgr::trace::EventDelivery(kSysEventFile.c_str(), event.state);
    regSysmonitorEventCb_(event);
}

}  // namespace Ownerlink
