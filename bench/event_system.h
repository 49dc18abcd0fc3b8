// A way to carry events from one process to many: the library's, the floor's or a peer's.
//
// An event is one number, as the library's is. The peers carry it as four bytes.
#ifndef OWNERLINK_BENCH_EVENT_SYSTEM_H
#define OWNERLINK_BENCH_EVENT_SYSTEM_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace bench {

inline constexpr size_t kMostSubscribers = 16;
inline constexpr size_t kEventSystems = 4;

class EventSender {
public:
    virtual ~EventSender() = default;

    // To all subscribers. Throws when it cannot.
    virtual void Send(uint32_t event) = 0;
};

// What a subscriber hands its events to.
using EventSink = std::function<void(uint32_t)>;

struct EventSystem {
    const char* name;
    // How many events may be on the way to a subscriber that does not take them yet.
    uint32_t depth;
    // In the sender's process. Empty when the system is not installed. Its files lie in
    // `directory`.
    std::function<std::unique_ptr<EventSender>(const std::string& directory)> makeSender;
    // In a subscriber's process, the `number`th from 0: takes events for ever. Throws.
    std::function<void(const std::string& directory, size_t number, const EventSink& sink)> receive;
    // When the subscribers are gone: removes what they have left outside of `directory`.
    std::function<void()> cleanUp = [] {
    };
};

// The library, the floor and the peers, in this order.
EventSystem LibraryEvents();
EventSystem BareRingEvents();
EventSystem ZeroMqEvents();
EventSystem IceoryxEvents();
std::array<EventSystem, kEventSystems> AllEventSystems();

}  // namespace bench

#endif
