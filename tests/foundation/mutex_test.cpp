#include "foundation/mutex.h"

#include <gmock/gmock.h>

#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "foundation/plain_field.h"

namespace {

using namespace ProcMgr;
using ::testing::ElementsAre;

std::vector<std::string> events;

struct RecordingMutex {
    void lock() { events.emplace_back("lock"); }
    void unlock() { events.emplace_back("unlock"); }
};

TEST(ScopedLocks, HoldTheirMutexForTheirScope)
{
    AnnotatedMutex<RecordingMutex> mutex;
    events.clear();
    {
        const ScopedLock lock(mutex);
        events.emplace_back("inside");
    }
    EXPECT_THAT(events, ElementsAre("lock", "inside", "unlock"));
}

struct FailingMutex {
    void lock()
    {
        throw std::system_error(std::make_error_code(std::errc::device_or_resource_busy));
    }
    void unlock() { events.emplace_back("unlock"); }
};

TEST(ScopedLocks, PassAFailureOnAndUnlockNothing)
{
    AnnotatedMutex<FailingMutex> mutex;
    events.clear();

    EXPECT_THROW(const ScopedLock lock(mutex), std::system_error);

    EXPECT_THAT(events, ElementsAre());
}

TEST(ScopedLocks, OfARecursiveMutexNest)
{
    RecursiveMutex mutex;
    // A function of its own: the analysis takes no mutex for recursive.
    const auto lockAgain = [&mutex] {
        const RecursiveMutexLock inner(mutex);
        return true;
    };
    const RecursiveMutexLock outer(mutex);

    EXPECT_TRUE(lockAgain());
}

TEST(ScopedLocks, KeepThreadsApart)
{
    constexpr int kRounds = 1000;
    Mutex mutex;
    int total = 0;
    const auto count = [&] {
        for (int i = 0; i < kRounds; ++i) {
            const MutexLock lock(mutex);
            ++total;
        }
    };

    std::thread other(count);
    count();
    other.join();

    EXPECT_EQ(total, 2 * kRounds);
}

TEST(PlainFields, CarryAValueToAnotherThread)
{
    bool field = false;

    std::thread other([&field] { StorePlain(field, true); });
    while (!LoadPlain(field)) {
        std::this_thread::yield();
    }
    other.join();

    EXPECT_TRUE(field);
}

}  // namespace
