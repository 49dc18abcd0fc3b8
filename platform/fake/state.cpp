#include "platform/fake/state.h"

#include <chrono>

#include "platform/fake/fake_platform.h"

namespace OwnerlinkFake {

namespace detail {
namespace {

constexpr std::chrono::seconds kLongestWait(30);

// How soon WaitUntil asks again although nothing has happened here: conditions may look elsewhere.
constexpr std::chrono::milliseconds kAskAgain(5);

struct Shared {
    std::mutex mutex;
    std::condition_variable changed;
    uint64_t changes = 0;
};

void WaitForChange(uint64_t seen)
{
    auto& shared = Immortal<Shared>();
    Lock lock(shared.mutex);
    const auto until = std::chrono::system_clock::now() + kAskAgain;
    shared.changed.wait_until(lock, until, [&] { return shared.changes != seen; });
}

uint64_t Changes()
{
    const Lock lock = LockState();
    return Immortal<Shared>().changes;
}

}  // namespace

Lock LockState()
{
    return Lock(Immortal<Shared>().mutex);
}

void Changed(const Lock& /*lock*/)
{
    ++Immortal<Shared>().changes;
    Immortal<Shared>().changed.notify_all();
}

bool WaitWithLimit(Lock& lock, const std::function<bool()>& condition)
{
    const auto until = std::chrono::system_clock::now() + kLongestWait;
    return Immortal<Shared>().changed.wait_until(lock, until, condition);
}

void WaitWithoutLimit(Lock& lock, const std::function<bool()>& condition)
{
    Immortal<Shared>().changed.wait(lock, condition);
}

}  // namespace detail

void Reset()
{
    const detail::Lock lock = detail::LockState();
    detail::ResetHolds();
    detail::ResetHistory();
    detail::ResetResults();
    detail::ResetLogLevels();
    detail::ResetFiles();
    detail::ResetExchanges();
    detail::ResetQueues();
    detail::ResetPipes();
    detail::ResetCopies();
    detail::ResetConfig();
    detail::ResetTime();
    detail::Changed(lock);
}

void ClearHistory()
{
    const detail::Lock lock = detail::LockState();
    detail::ForgetEvents();
    detail::ForgetSleeps();
    detail::ForgetExchanges();
    detail::ForgetPipeCalls();
    detail::Changed(lock);
}

bool WaitUntil(const std::function<bool()>& condition)
{
    const auto until = std::chrono::steady_clock::now() + detail::kLongestWait;
    for (;;) {
        const uint64_t seen = detail::Changes();
        if (condition()) {
            return true;
        }
        if (std::chrono::steady_clock::now() >= until) {
            return false;
        }
        detail::WaitForChange(seen);
    }
}

}  // namespace OwnerlinkFake
