#include "tools/ctl/event_hub.h"

#include <fcntl.h>
#include <ownerlink/client.h>

#include <cerrno>
#include <utility>

#include "platform/iam_file.h"

namespace ctl {
namespace {

// A subscription that ends at once. The library's own counts even if nobody publishes yet.
int ProbePublisher()
{
    const int file = IAMFileOpen(kEventResource, O_RDONLY);
    if (file < 0) {
        return errno;
    }
    IAMFileClose(file);
    return 0;
}

}  // namespace

int EventHub::Subscribe()
{
    const std::lock_guard<std::mutex> lock(mutex_);
    if (isSubscribed_) {
        return 0;
    }
    if (isUsedUp_) {
        return EALREADY;
    }
    if (const int error = ProbePublisher()) {
        return error;
    }
    isUsedUp_ = true;
    isSubscribed_ = OwnerlinkClientInner::GetInstance().RegSysmonitorEventImpl(
        [this](const SysEvent& event) { Deliver(event.state); });
    return isSubscribed_ ? 0 : EALREADY;
}

void EventHub::Deliver(uint32_t state)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    for (EventListener* const listener : listeners_) {
        listener->states_.push_back(state);
        listener->arrived_.Request();
    }
}

EventListener::EventListener(EventHub& hub) : hub_(hub)
{
    const std::lock_guard<std::mutex> lock(hub_.mutex_);
    hub_.listeners_.insert(this);
}

EventListener::~EventListener()
{
    const std::lock_guard<std::mutex> lock(hub_.mutex_);
    hub_.listeners_.erase(this);
}

std::vector<uint32_t> EventListener::Take()
{
    const std::lock_guard<std::mutex> lock(hub_.mutex_);
    arrived_.Withdraw();
    return std::exchange(states_, {});
}

}  // namespace ctl
