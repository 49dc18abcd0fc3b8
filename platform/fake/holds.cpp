// Threads that the test holds inside a call.
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <list>
#include <set>
#include <utility>

#include "platform/fake/call.h"
#include "platform/fake/history.h"

namespace OwnerlinkFake {

namespace detail {
namespace {

struct Held {
    std::string function;
    std::string resource;
    std::string text;
    uint64_t order = 0;
    bool isFlood = false;  // held only since too many sleeps went before
    bool isReleased = false;
};

struct Holds {
    std::set<std::pair<std::string, std::string>> rules;  // function, resource or ""
    std::list<Held> threads;
    uint64_t nextOrder = 0;
    std::size_t sleeps = 0;
    bool isExiting = false;
};

Holds& TheHolds()
{
    return Immortal<Holds>();
}

template <class Wanted>
void Release(const Lock& lock, const Wanted& wanted)
{
    for (Held& held : TheHolds().threads) {
        held.isReleased = held.isReleased || wanted(held);
    }
    Changed(lock);
}

void ReleaseForExit()
{
    const Lock lock = LockState();
    TheHolds().isExiting = true;
    Release(lock, [](const Held&) { return true; });
}

// Thread-local objects of the main thread go before all static objects, one of which may be about
// to join a thread that is held here.
struct ExitWatch {
    bool isArmed = false;

    ~ExitWatch()
    {
        if (isArmed && getpid() == gettid()) {
            ReleaseForExit();
        }
    }
};

// Covers exits by other threads. A handler registered by the held thread runs before the destructor
// of any object that was complete when it started the thread.
void WatchExit()
{
    thread_local ExitWatch watch;
    if (!watch.isArmed) {
        watch.isArmed = true;
        (void)std::atexit(ReleaseForExit);
    }
}

bool IsSleep(const std::string& function)
{
    return function == "usleep" || function == "nanosleep";
}

bool IsFlood(const std::string& function)
{
    return IsSleep(function) && ++TheHolds().sleeps > kMostInstantSleeps;
}

bool IsHeld(const std::string& function, const std::string& resource)
{
    const auto& rules = TheHolds().rules;
    return rules.contains({function, ""}) || rules.contains({function, resource});
}

std::size_t CountHeld(const std::string& function, uint64_t fromOrder = 0)
{
    const auto& threads = TheHolds().threads;
    const auto count = std::count_if(threads.begin(), threads.end(), [&](const Held& held) {
        return !held.isReleased && held.function == function && held.order >= fromOrder;
    });
    return static_cast<std::size_t>(count);
}

bool ReleaseFirst(const Lock& lock, const std::string& function, const std::string& resource)
{
    auto& threads = TheHolds().threads;
    const auto found = std::find_if(threads.begin(), threads.end(), [&](const Held& held) {
        return !held.isReleased && held.function == function &&
               (resource.empty() || held.resource == resource);
    });
    if (found == threads.end()) {
        return false;
    }
    found->isReleased = true;
    Changed(lock);
    return true;
}

bool StepOnce(const std::string& function)
{
    Lock lock = LockState();
    if (!WaitWithLimit(lock, [&] { return CountHeld(function) != 0; })) {
        return false;
    }
    const uint64_t next = TheHolds().nextOrder;
    ReleaseFirst(lock, function, "");
    return WaitWithLimit(lock, [&] { return CountHeld(function, next) != 0; });
}

}  // namespace

void WaitWhileHeld(Lock& lock, const std::string& function, const std::string& resource,
                   const std::string& text)
{
    Holds& holds = TheHolds();
    const bool isFlood = IsFlood(function);
    if (holds.isExiting || (!isFlood && !IsHeld(function, resource))) {
        return;
    }
    WatchExit();
    holds.threads.push_back({function, resource, text, holds.nextOrder++, isFlood, false});
    const auto self = std::prev(holds.threads.end());
    Changed(lock);
    WaitWithoutLimit(lock, [&] { return self->isReleased; });
    holds.threads.erase(self);
}

void ResetHolds()
{
    TheHolds().rules.clear();
    TheHolds().sleeps = 0;
    for (Held& held : TheHolds().threads) {
        held.isReleased = true;
    }
}

void ForgetSleeps()
{
    TheHolds().sleeps = 0;
    for (Held& held : TheHolds().threads) {
        held.isReleased = held.isReleased || held.isFlood;
    }
}

}  // namespace detail

void Hold(const std::string& function, const std::string& resource)
{
    detail::RequireFunction(function);
    detail::WatchExit();
    const detail::Lock lock = detail::LockState();
    detail::TheHolds().rules.insert({function, resource});
}

bool WaitForHeld(const std::string& function, std::size_t count)
{
    detail::RequireFunction(function);
    detail::Lock lock = detail::LockState();
    return detail::WaitWithLimit(lock, [&] { return detail::CountHeld(function) >= count; });
}

std::vector<std::string> HeldCalls()
{
    const detail::Lock lock = detail::LockState();
    std::vector<std::string> texts;
    for (const detail::Held& held : detail::TheHolds().threads) {
        if (!held.isReleased) {
            texts.push_back(held.text);
        }
    }
    return texts;
}

bool ReleaseOne(const std::string& function, const std::string& resource)
{
    detail::RequireFunction(function);
    const detail::Lock lock = detail::LockState();
    return detail::ReleaseFirst(lock, function, resource);
}

void ReleaseAll(const std::string& function)
{
    detail::RequireFunction(function);
    const detail::Lock lock = detail::LockState();
    detail::Release(lock, [&](const detail::Held& held) { return held.function == function; });
}

void StopHolding(const std::string& function)
{
    detail::RequireFunction(function);
    const detail::Lock lock = detail::LockState();
    auto& rules = detail::TheHolds().rules;
    for (auto rule = rules.begin(); rule != rules.end();) {
        rule = rule->first == function ? rules.erase(rule) : std::next(rule);
    }
    detail::Release(lock, [&](const detail::Held& held) { return held.function == function; });
}

bool Step(const std::string& function, std::size_t steps)
{
    detail::RequireFunction(function);
    for (std::size_t step = 0; step < steps; ++step) {
        if (!detail::StepOnce(function)) {
            return false;
        }
    }
    return true;
}

}  // namespace OwnerlinkFake
