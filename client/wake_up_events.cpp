// The subscription to system events: made once in a process, and ended once.

#include <fcntl.h>
#include <ownerlink/enum_text.h>
#include <unistd.h>

#include <functional>

#include "client/OwnerlinkClientImpl.h"
#include "client/client_unit.h"
#include "client/traced_open.h"
#include "foundation/plain_field.h"
#include "foundation/text_reader.h"
#include "foundation/trace_points.h"
#include "platform/iam_queue.h"

namespace Ownerlink {
namespace {

using ProcMgr::LoadPlain;
using ProcMgr::StorePlain;

using Callback = std::function<void(const SysEvent&)>;

const std::string kSysEventFile = "dp:/res/pm/sys_event";

// Stands for a function that is never destroyed: a delivery that outlasts the exit of the process
// still runs in it, when the static members have gone.
Callback Kept(Callback callback)
{
    if (!callback) {
        return callback;
    }
    const Callback& kept = *new const Callback(std::move(callback));
    return [&kept](const SysEvent& event) {
        kept(event);
    };
}

}  // namespace

bool OwnerlinkClientImpl::RegSysmonitorEventImpl(std::function<void(const SysEvent&)> callback)
{
    if (hasRegistedSysEvent_.exchange(true)) {  // ahead of the open: a failed one is the only one
        CLIENT_LOG(kFailure, "WakeUpEvent RegSysMonitorEventImpl has registered SysEvent before");
        return false;
    }
    const int fd = TracedOpen(kSysEventFile, O_RDONLY);
    StorePlain(sysEventFd_, fd);
    if (fd < 0) {
        CLIENT_LOG(kFailure, "WakeUpEvent Open file failed. resFile=%s fd=%d",
                   kSysEventFile.c_str(), fd);
        return false;
    }
    CLIENT_LOG(kWarning, "WakeUpEvent Open file success. resFile=%s", kSysEventFile.c_str());
    regSysmonitorEventCb_ = Kept(std::move(callback));
    // The field anew: an end that came since then has closed the descriptor.
    const size_t ret = IAMFastReadAsync(LoadPlain(sysEventFd_), WakeUpEventCallback);
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
    close(LoadPlain(sysEventFd_));
    StorePlain(sysEventFd_, -1);
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
