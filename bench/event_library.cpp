// The library's events: an owner that reports, managers that have subscribed.

#include <ownerlink/client.h>
#include <ownerlink/server.h>
#include <unistd.h>

#include <stdexcept>

#include "bench/event_system.h"

namespace bench {
namespace {

constexpr const char* kResource = "dp:/res/pm/sys_event";

class Reporter : public EventSender {
public:
    Reporter() : server_(OwnerlinkServer::GetInstance())
    {
        if (server_.InitSysEventServer(kResource) != 0) {
            throw std::runtime_error("cannot publish the event resource");
        }
    }

    void Send(uint32_t event) override
    {
        if (server_.ReportSysEvent(SysEvent{event}) != 0) {
            throw std::runtime_error("ReportSysEvent did not succeed");
        }
    }

private:
    OwnerlinkServer& server_;
};

void Subscribe(const std::string& /*directory*/, size_t /*number*/, const EventSink& sink)
{
    const bool isSubscribed = OwnerlinkClient::GetInstance().RegSysmonitorEventImpl(
        [sink](const SysEvent& event) { sink(event.state); });
    if (!isSubscribed) {
        throw std::runtime_error("cannot subscribe to events");
    }
    while (true) {
        pause();
    }
}

}  // namespace

EventSystem LibraryEvents()
{
    return {"ownerlink", 500,
            [](const std::string& /*directory*/) { return std::make_unique<Reporter>(); },
            Subscribe};
}

std::array<EventSystem, kEventSystems> AllEventSystems()
{
    return {LibraryEvents(), BareRingEvents(), ZeroMqEvents(), IceoryxEvents()};
}

}  // namespace bench
