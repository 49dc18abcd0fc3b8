// Clocks and sleeps.
#include <unistd.h>

#include <ctime>
#include <deque>
#include <optional>
#include <stdexcept>

#include "platform/fake/call.h"

namespace OwnerlinkFake {

namespace detail {
namespace {

using SteadyClock = std::chrono::steady_clock;
using std::chrono::nanoseconds;

constexpr long kNanosecondsOfSecond = 1000000000;

struct Time {
    std::optional<SteadyClock::time_point> frozen;
    std::optional<nanoseconds> sinceBoot;
    std::deque<nanoseconds> interruptions;
};

Time& TheTime()
{
    return Immortal<Time>();
}

SteadyClock::time_point SteadyNow()
{
    const Lock lock = LockState();
    return TheTime().frozen ? *TheTime().frozen : SteadyClock::now();
}

void PassTime(nanoseconds time)
{
    const Lock lock = LockState();
    if (TheTime().frozen) {
        *TheTime().frozen += time;
    }
}

std::optional<nanoseconds> TakeInterruption()
{
    const Lock lock = LockState();
    auto& interruptions = TheTime().interruptions;
    if (interruptions.empty()) {
        return std::nullopt;
    }
    const nanoseconds left = interruptions.front();
    interruptions.pop_front();
    return left;
}

std::optional<nanoseconds> SinceBoot()
{
    const Lock lock = LockState();
    return TheTime().sinceBoot;
}

timespec ToTimespec(nanoseconds time)
{
    timespec result{};
    result.tv_sec = static_cast<time_t>(time.count() / kNanosecondsOfSecond);
    result.tv_nsec = static_cast<long>(time.count() % kNanosecondsOfSecond);
    return result;
}

nanoseconds FromTimespec(const timespec& time)
{
    return std::chrono::seconds(time.tv_sec) + nanoseconds(time.tv_nsec);
}

bool IsValid(const timespec& time)
{
    return time.tv_sec >= 0 && time.tv_nsec >= 0 && time.tv_nsec < kNanosecondsOfSecond;
}

// Ends a sleep with a result that the test has set.
int EndAsSet(Call& call)
{
    call.Finish(call.Set()->value == 0 ? "" : std::to_string(call.Set()->value), call.Error());
    return static_cast<int>(call.Set()->value);
}

int EndInterrupted(Call& call, nanoseconds time, nanoseconds left, timespec* remaining)
{
    PassTime(time - left);
    // `remaining` may be the request itself, which has been read by now.
    if (remaining != nullptr) {
        *remaining = ToTimespec(left);
    }
    return static_cast<int>(call.Return(-1, EINTR));
}

int SleepAsUsual(Call& call, nanoseconds time, timespec* remaining)
{
    if (const auto left = TakeInterruption()) {
        return EndInterrupted(call, time, *left, remaining);
    }
    PassTime(time);
    call.Finish("");
    return 0;
}

}  // namespace

void ResetTime()
{
    TheTime() = {};
}

}  // namespace detail

void FreezeClock()
{
    const detail::Lock lock = detail::LockState();
    detail::TheTime().frozen = detail::SteadyClock::now();
}

void AdvanceClock(std::chrono::nanoseconds time)
{
    const detail::Lock lock = detail::LockState();
    if (!detail::TheTime().frozen) {
        throw std::logic_error("only a frozen clock can be moved");
    }
    *detail::TheTime().frozen += time;
}

void RunClock()
{
    const detail::Lock lock = detail::LockState();
    detail::TheTime().frozen.reset();
}

void SetBootClock(std::chrono::nanoseconds sinceBoot)
{
    const detail::Lock lock = detail::LockState();
    detail::TheTime().sinceBoot = sinceBoot;
}

void InterruptSleeps(const std::vector<std::chrono::nanoseconds>& left)
{
    const detail::Lock lock = detail::LockState();
    auto& interruptions = detail::TheTime().interruptions;
    interruptions.insert(interruptions.end(), left.begin(), left.end());
}

}  // namespace OwnerlinkFake

using OwnerlinkFake::detail::Call;

// In the place of std::chrono::steady_clock::now. A C++ type leaves it, so the name is set here.
std::chrono::steady_clock::time_point OwnerlinkFakeSteadyNow() noexcept
    __asm__("OwnerlinkFakeSteadyNow");

std::chrono::steady_clock::time_point OwnerlinkFakeSteadyNow() noexcept
{
    Call call("steady_clock::now", "");
    call.Finish("");
    return OwnerlinkFake::detail::SteadyNow();
}

extern "C" {

int OwnerlinkFakeClockGettime(clockid_t clock, timespec* time)
{
    Call call("clock_gettime", std::to_string(clock));
    if (call.Set()) {
        return static_cast<int>(call.Return(*call.Set()));
    }
    if (const auto sinceBoot = OwnerlinkFake::detail::SinceBoot()) {
        *time = OwnerlinkFake::detail::ToTimespec(*sinceBoot);
        return static_cast<int>(call.Return(0));
    }
    const int result = clock_gettime(clock, time);
    return static_cast<int>(call.Return(result, result == 0 ? 0 : errno));
}

int OwnerlinkFakeUsleep(useconds_t microseconds)
{
    Call call("usleep", std::to_string(microseconds));
    if (call.Set()) {
        return OwnerlinkFake::detail::EndAsSet(call);
    }
    OwnerlinkFake::detail::PassTime(std::chrono::microseconds(microseconds));
    call.Finish("");
    return 0;
}

int OwnerlinkFakeNanosleep(const timespec* request, timespec* remaining)
{
    const auto time = OwnerlinkFake::detail::FromTimespec(*request);
    Call call("nanosleep", std::to_string(time.count()));
    if (call.Set()) {
        return OwnerlinkFake::detail::EndAsSet(call);
    }
    return OwnerlinkFake::detail::IsValid(*request)
               ? OwnerlinkFake::detail::SleepAsUsual(call, time, remaining)
               : static_cast<int>(call.Return(-1, EINVAL));
}

}  // extern "C"
