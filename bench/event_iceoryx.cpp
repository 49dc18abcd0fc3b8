// iceoryx's publish/subscribe: chunks of shared memory, and a daemon that introduces the ends.

#include <iceoryx_posh/popo/publisher.hpp>
#include <iceoryx_posh/popo/subscriber.hpp>
#include <iceoryx_posh/popo/wait_set.hpp>
#include <stdexcept>

#include "bench/event_system.h"
#include "bench/iceoryx_daemon.h"

namespace bench {
namespace {

struct Event {
    uint32_t number;
};

constexpr uint32_t kDepth = 250;  // its subscribers' queues hold 256

constexpr const char* kPublisher = "ownerlink-bench-publisher";

std::string SubscriberName(size_t number)
{
    return "ownerlink-bench-subscriber-" + std::to_string(number);
}

iox::capro::ServiceDescription Service()
{
    return {"ownerlink-bench", "events", "number"};
}

class Publisher : public EventSender {
public:
    Publisher() : publisher_(Service()) {}

    void Send(uint32_t event) override
    {
        auto loan = publisher_.loan();
        if (loan.has_error()) {
            throw std::runtime_error("iceoryx has no chunk");
        }
        loan.value()->number = event;
        loan.value().publish();
    }

private:
    iox::popo::Publisher<Event> publisher_;
};

std::unique_ptr<EventSender> Publish(const std::string& /*directory*/)
{
    StartIceoryxDaemon();
    JoinIceoryx(kPublisher);
    return std::make_unique<Publisher>();
}

void RemoveLeftovers()
{
    for (size_t number = 0; number < kMostSubscribers; ++number) {
        RemoveIceoryxLeftovers(SubscriberName(number));
    }
}

void TakeAll(iox::popo::Subscriber<Event>& subscriber, const EventSink& sink)
{
    for (auto sample = subscriber.take(); !sample.has_error(); sample = subscriber.take()) {
        sink(sample.value()->number);
    }
}

void Receive(const std::string& /*directory*/, size_t number, const EventSink& sink)
{
    JoinIceoryx(SubscriberName(number));
    iox::popo::Subscriber<Event> subscriber(Service());
    iox::popo::WaitSet<> waitSet;
    if (waitSet.attachState(subscriber, iox::popo::SubscriberState::HAS_DATA).has_error()) {
        throw std::runtime_error("iceoryx cannot wait");
    }
    while (true) {
        waitSet.wait();
        TakeAll(subscriber, sink);
    }
}

}  // namespace

EventSystem IceoryxEvents()
{
    return {"iceoryx", kDepth, Publish, Receive, RemoveLeftovers};
}

}  // namespace bench
