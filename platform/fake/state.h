// What the sources of the double share: one lock over all state, and objects that are never
// destroyed.
#ifndef OWNERLINK_PLATFORM_FAKE_STATE_H
#define OWNERLINK_PLATFORM_FAKE_STATE_H

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <utility>

namespace OwnerlinkFake::detail {

using Lock = std::unique_lock<std::mutex>;

// The lock of the double. No script, hook or callback is called with it held.
[[nodiscard]] Lock LockState();

// Wakes those who wait for something to happen. `lock` is held.
void Changed(const Lock& lock);

// Waits with `lock` until `condition` holds; false after 30 seconds.
bool WaitWithLimit(Lock& lock, const std::function<bool()>& condition);

// Waits with `lock` for as long as it takes.
void WaitWithoutLimit(Lock& lock, const std::function<bool()>& condition);

// The one object of type T, built at first use and valid through all destructors at process exit.
template <class T>
T& Immortal()
{
    static T& object = *new T;
    return object;
}

// A list whose entries are filled in later by number, also when it has been cleared meanwhile.
template <class T>
class Journal {
public:
    uint64_t Add(T entry)
    {
        entries_.push_back(std::move(entry));
        return first_ + entries_.size() - 1;
    }

    // The entry `number`, or null when it has been cleared.
    T* Find(uint64_t number)
    {
        return number < first_ ? nullptr : &entries_[static_cast<std::size_t>(number - first_)];
    }

    void Clear()
    {
        first_ += entries_.size();
        entries_.clear();
    }

    const std::deque<T>& Entries() const { return entries_; }

private:
    uint64_t first_ = 0;
    std::deque<T> entries_;
};

// Each puts its subject back to what it is in a fresh process. The lock is held.
void ResetHistory();
void ResetResults();
void ResetHolds();
void ResetLogLevels();
void ResetFiles();
void ResetExchanges();
void ResetQueues();
void ResetPipes();
void ResetCopies();
void ResetConfig();
void ResetTime();

// Forget what has happened in one subject. The lock is held.
void ForgetEvents();
void ForgetSleeps();
void ForgetExchanges();
void ForgetPipeCalls();

}  // namespace OwnerlinkFake::detail

#endif
