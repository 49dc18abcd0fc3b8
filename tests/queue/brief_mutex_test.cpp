// The mutex of short steps: one thread at a time, and nobody waits for ever.
#include "platform/hosted/brief_mutex.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <thread>
#include <vector>

using hosted::BriefMutex;
using hosted::MutexLock;

namespace {

constexpr int kThreads = 4;
constexpr int kRounds = 20000;

}  // namespace

TEST(BriefMutex, LetsOneThreadInAtATime)
{
    BriefMutex mutex;
    int count = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&] {
            for (int round = 0; round < kRounds; ++round) {
                const MutexLock lock(mutex);
                ++count;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }

    EXPECT_EQ(count, kThreads * kRounds);
}

TEST(BriefMutex, LetsAllInWhoHaveWaitedAndLeavesErrnoAlone)
{
    BriefMutex mutex;
    std::atomic<int> arrived = 0;
    std::vector<int> errors(kThreads, -1);
    std::vector<std::thread> threads;
    {
        const MutexLock lock(mutex);
        for (int& error : errors) {
            threads.emplace_back([&] {
                errno = ENOTTY;
                ++arrived;
                const MutexLock own(mutex);
                error = errno;
            });
        }
        while (arrived != kThreads) {
            std::this_thread::yield();
        }
        // Long enough for a sleep that has timed out; nothing depends on it.
        std::this_thread::sleep_for(3 * BriefMutex::kLookAgain);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }

    EXPECT_THAT(errors, testing::Each(ENOTTY));
}

TEST(BriefMutex, IsFreeAgainBehindThoseWhoHaveWaited)
{
    BriefMutex mutex;
    for (int round = 0; round < kRounds / 10; ++round) {
        std::thread other([&] { const MutexLock lock(mutex); });
        {
            const MutexLock lock(mutex);
        }
        other.join();
        const MutexLock lock(mutex);
    }
}
