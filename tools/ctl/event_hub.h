// The process's one subscription to system events, shared by the verbs that want them.
#ifndef OWNERLINK_TOOLS_CTL_EVENT_HUB_H
#define OWNERLINK_TOOLS_CTL_EVENT_HUB_H

#include <cstdint>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "tools/ctl/stop.h"

namespace ctl {

inline constexpr char kEventResource[] = "dp:/res/pm/sys_event";

class EventListener;

// Thread-safe. Lives as long as the process, since the library may call to its very end.
class EventHub {
public:
    // Subscribes, unless that has been done. 0, or the errno number that says why not; it may then
    // be tried again. The library's single attempt is made only if an owner publishes events.
    int Subscribe();

private:
    friend class EventListener;

    void Deliver(uint32_t state);

    std::mutex mutex_;
    std::set<EventListener*> listeners_;
    bool isSubscribed_ = false;
    bool isUsedUp_ = false;
};

// Collects events from its construction on. Used by one thread.
class EventListener {
public:
    explicit EventListener(EventHub& hub);
    ~EventListener();
    EventListener(const EventListener&) = delete;
    EventListener& operator=(const EventListener&) = delete;

    int File() const { return arrived_.File(); }  // readable when there is something to take
    std::vector<uint32_t> Take();

private:
    friend class EventHub;

    EventHub& hub_;
    Stop arrived_;
    std::vector<uint32_t> states_;  // under the hub's lock
};

}  // namespace ctl

#endif
