// The condition variable of the layer: whoever waits is woken, or sees its deadline.
#include "platform/hosted/condition.h"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <thread>

#include "platform/hosted/brief_mutex.h"

using hosted::MutexLock;

namespace {

template <typename AnyMutex>
class Condition : public testing::Test {
protected:
    AnyMutex mutex;
    hosted::Condition condition;
};

using Mutexes = testing::Types<hosted::Mutex, hosted::BriefMutex>;
TYPED_TEST_SUITE(Condition, Mutexes);

std::chrono::steady_clock::time_point Now()
{
    return std::chrono::steady_clock::now();
}

}  // namespace

TYPED_TEST(Condition, WakesAllWhoWait)
{
    constexpr int kThreads = 4;
    int waiting = 0;
    bool isOver = false;
    std::array<std::thread, kThreads> threads;
    for (std::thread& thread : threads) {
        thread = std::thread([&] {
            const MutexLock lock(this->mutex);
            ++waiting;
            this->condition.NotifyAll();
            while (!isOver) {
                this->condition.Wait(this->mutex);
            }
        });
    }
    {
        const MutexLock lock(this->mutex);
        while (waiting < kThreads) {
            this->condition.Wait(this->mutex);
        }
        isOver = true;
        this->condition.NotifyAll();
    }
    for (std::thread& thread : threads) {
        thread.join();
    }

    EXPECT_EQ(waiting, kThreads);
}

TYPED_TEST(Condition, LosesNoNotificationOfTwoWhoTakeTurns)
{
    constexpr int kRounds = 2000;
    int round = 0;
    const auto takeTurns = [&](int parity) {
        const MutexLock lock(this->mutex);
        while (round < kRounds) {
            if (round % 2 == parity) {
                ++round;
                this->condition.NotifyAll();
            } else {
                this->condition.Wait(this->mutex);
            }
        }
    };
    std::thread other(takeTurns, 1);
    takeTurns(0);
    other.join();

    EXPECT_EQ(round, kRounds);
}

TYPED_TEST(Condition, SaysThatTheDeadlineHasPassed)
{
    const auto deadline = Now() + std::chrono::milliseconds(5);
    const MutexLock lock(this->mutex);

    while (this->condition.WaitUntil(this->mutex, deadline)) {}

    EXPECT_GE(Now(), deadline);
    EXPECT_FALSE(this->condition.WaitUntil(this->mutex, Now() - std::chrono::seconds(1)));
}

TYPED_TEST(Condition, LeavesErrnoAsItWas)
{
    const MutexLock lock(this->mutex);
    errno = ENOTTY;

    this->condition.WaitUntil(this->mutex, Now());
    this->condition.NotifyAll();

    EXPECT_EQ(errno, ENOTTY);
}
