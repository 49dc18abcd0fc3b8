// One system's sender, here, and its subscribers, each a process of its own.
#ifndef OWNERLINK_BENCH_EVENT_WORLD_H
#define OWNERLINK_BENCH_EVENT_WORLD_H

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "bench/event_board.h"
#include "bench/event_system.h"
#include "bench/processes.h"

namespace bench {

class EventWorld {
public:
    // Throws when the system does not start.
    EventWorld(EventSystem system, const std::string& directory);
    ~EventWorld();
    EventWorld(const EventWorld&) = delete;
    EventWorld& operator=(const EventWorld&) = delete;

    // Starts subscribers until there are so many, each of which has seen an event.
    void GrowTo(size_t subscribers);

    // Sends so many events, one each `interval`, or back to back when that is 0, and returns when
    // all subscribers have all. Throws when one is lost.
    void Run(uint32_t events, std::chrono::nanoseconds interval);

    // Of the last run.
    std::vector<double> Latencies() const;
    double Rate() const;  // events a second that arrived, counted for each subscriber

    // Processor time that all subscribers have taken.
    std::chrono::nanoseconds SubscribersTime() const;

    const EventSystem& System() const { return system_; }
    size_t Subscribers() const { return subscribers_.size(); }

private:
    void AwaitReceived(uint32_t events) const;

    EventSystem system_;
    std::string directory_;
    EventBoard board_;
    std::unique_ptr<EventSender> sender_;
    std::vector<std::unique_ptr<RoleProcess>> subscribers_;
    uint32_t lastEvents_ = 0;
};

// A subscriber's part in it.
void ServeAsSubscriber(const std::string& system, const std::string& directory, size_t number);

}  // namespace bench

#endif
