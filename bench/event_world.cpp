#include "bench/event_world.h"

#include <sched.h>

#include <algorithm>
#include <iostream>
#include <stdexcept>
#include <thread>

namespace bench {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kPatience{20};
constexpr std::chrono::milliseconds kBetweenProbes{2};

std::string BoardOf(const EventSystem& system, const std::string& directory)
{
    return directory + "/board of " + system.name;
}

void CheckPatience(Clock::time_point start, const EventSystem& system)
{
    if (Clock::now() - start > kPatience) {
        throw std::runtime_error(std::string("an event of ") + system.name + " did not arrive");
    }
}

}  // namespace

EventWorld::EventWorld(EventSystem system, const std::string& directory)
    : system_(std::move(system)),
      directory_(directory),
      board_(BoardOf(system_, directory)),
      sender_(system_.makeSender(directory))
{
}

EventWorld::~EventWorld()
{
    subscribers_.clear();
    system_.cleanUp();
}

void EventWorld::GrowTo(size_t subscribers)
{
    while (subscribers_.size() < subscribers) {
        subscribers_.push_back(std::make_unique<RoleProcess>(std::vector<std::string>{
            "event-subscriber", system_.name, directory_, std::to_string(subscribers_.size())}));
        subscribers_.back()->AwaitReady();
    }
    board_.Clear(subscribers);
    const Clock::time_point start = Clock::now();
    while (!board_.HaveAllSeenProbe(subscribers)) {
        sender_->Send(kProbe);
        std::this_thread::sleep_for(kBetweenProbes);
        CheckPatience(start, system_);
    }
}

// Looks at what has arrived only when its last look no longer allows the next event: a look is a
// cache line fetched from each subscriber.
void EventWorld::Run(uint32_t events, std::chrono::nanoseconds interval)
{
    board_.Clear(subscribers_.size());
    lastEvents_ = events;
    uint32_t allowed = system_.depth;
    Clock::time_point next = Clock::now();
    for (uint32_t event = 0; event < events; ++event) {
        if (event == allowed) {
            AwaitReceived(event - system_.depth / 2);
            allowed = board_.ReceivedByAll(subscribers_.size()) + system_.depth;
        }
        if (interval.count() != 0) {
            next += interval;
            std::this_thread::sleep_until(next);
        }
        board_.NoteSent(event);
        sender_->Send(event);
    }
    AwaitReceived(events);
}

// By yielding: on one core the subscribers get it, on two the sender stays awake.
void EventWorld::AwaitReceived(uint32_t events) const
{
    const Clock::time_point start = Clock::now();
    while (board_.ReceivedByAll(subscribers_.size()) < events) {
        sched_yield();
        CheckPatience(start, system_);
    }
}

std::vector<double> EventWorld::Latencies() const
{
    std::vector<double> latencies;
    latencies.reserve(lastEvents_ * subscribers_.size());
    board_.AddLatencies(subscribers_.size(), lastEvents_, latencies);
    return latencies;
}

double EventWorld::Rate() const
{
    const double delivered = static_cast<double>(lastEvents_ * subscribers_.size());
    return delivered * 1e9 / static_cast<double>(board_.Duration(subscribers_.size(), lastEvents_));
}

std::chrono::nanoseconds EventWorld::SubscribersTime() const
{
    std::chrono::nanoseconds time{0};
    for (const auto& subscriber : subscribers_) {
        time += subscriber->ProcessorTime();
    }
    return time;
}

void ServeAsSubscriber(const std::string& system, const std::string& directory, size_t number)
{
    const auto systems = AllEventSystems();
    const auto* const found =
        std::find_if(systems.begin(), systems.end(),
                     [&](const EventSystem& each) { return each.name == system; });
    if (found == systems.end() || number >= kMostSubscribers) {
        throw std::invalid_argument("no such subscriber");
    }
    EventBoard board(BoardOf(*found, directory));
    std::cout << "ready" << std::endl;
    found->receive(directory, number, [&](uint32_t event) { board.NoteReceived(number, event); });
}

}  // namespace bench
