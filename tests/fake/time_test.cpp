#include <cerrno>
#include <chrono>
#include <stdexcept>
#include <thread>

#include "tests/fake/bound_calls.h"
#include "tests/support/platform_test.h"

namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;

class Time : public PlatformTest {};

TEST_F(Time, TheSteadyClockRunsAtFirst)
{
    const auto before = std::chrono::steady_clock::now();
    const auto now = Bound::SteadyNow();

    EXPECT_GE(now, before);
    EXPECT_LE(now, std::chrono::steady_clock::now());
}

TEST_F(Time, AFrozenClockMovesOnlyWhenItIsMoved)
{
    platform::FreezeClock();
    const auto start = Bound::SteadyNow();
    EXPECT_EQ(Bound::SteadyNow(), start);

    platform::AdvanceClock(50ms);

    EXPECT_EQ(Bound::SteadyNow() - start, 50ms);
}

TEST_F(Time, ARunningClockCannotBeMoved)
{
    EXPECT_THROW(platform::AdvanceClock(1ms), std::logic_error);
    platform::FreezeClock();
    platform::RunClock();
    EXPECT_THROW(platform::AdvanceClock(1ms), std::logic_error);
}

TEST_F(Time, SleepsTakeNoTimeButMoveAFrozenClock)
{
    platform::FreezeClock();
    const auto start = Bound::SteadyNow();
    const timespec hour{3600, 0};

    EXPECT_EQ(Bound::Nanosleep(&hour, nullptr), 0);
    EXPECT_EQ(Bound::Usleep(10000), 0);

    EXPECT_EQ(Bound::SteadyNow() - start, 1h + 10ms);
    EXPECT_THAT(platform::Calls(), ElementsAre("nanosleep(3600000000000)", "usleep(10000)"));
}

TEST_F(Time, AHeldSleepMovesAFrozenClockWhenItEnds)
{
    platform::FreezeClock();
    const auto start = Bound::SteadyNow();
    platform::Hold("usleep");
    std::thread sleeper([] { Bound::Usleep(7); });
    ASSERT_TRUE(platform::WaitForHeld("usleep", 1));
    EXPECT_EQ(Bound::SteadyNow(), start);

    platform::ReleaseAll("usleep");
    sleeper.join();

    EXPECT_EQ(Bound::SteadyNow() - start, 7us);
}

TEST_F(Time, SleepsAreInterruptedOnDemand)
{
    platform::FreezeClock();
    const auto start = Bound::SteadyNow();
    platform::InterruptSleeps({30ms, 2ms});
    timespec time{0, 50000000};

    EXPECT_EQ(Bound::Nanosleep(&time, &time), -1);
    EXPECT_EQ(errno, EINTR);
    EXPECT_EQ(time.tv_nsec, 30000000);
    EXPECT_EQ(Bound::Nanosleep(&time, &time), -1);
    EXPECT_EQ(Bound::Nanosleep(&time, &time), 0);

    EXPECT_EQ(Bound::SteadyNow() - start, 50ms);
    EXPECT_THAT(platform::Calls(),
                ElementsAre("nanosleep(50000000)=-1 EINTR", "nanosleep(30000000)=-1 EINTR",
                            "nanosleep(2000000)"));
}

TEST_F(Time, SleepsFailAsSet)
{
    platform::SetNext("nanosleep", {platform::Fails(EFAULT)});
    const timespec pause{0, 5000000};
    const timespec invalid{0, 1000000000};

    EXPECT_EQ(Bound::Nanosleep(&pause, nullptr), -1);
    EXPECT_EQ(errno, EFAULT);
    EXPECT_EQ(Bound::Nanosleep(&invalid, nullptr), -1);
    EXPECT_EQ(errno, EINVAL);
}

TEST_F(Time, TheBootClockReadsWhatIsSet)
{
    platform::SetBootClock(12s + 345678us);
    timespec time{};

    EXPECT_EQ(Bound::Gettime(&time), 0);

    EXPECT_EQ(time.tv_sec, 12);
    EXPECT_EQ(time.tv_nsec, 345678000);
}

TEST_F(Time, TheBootClockIsTheSystemsAtFirstAndMayFail)
{
    timespec before{};
    timespec time{};
    clock_gettime(CLOCK_BOOTTIME, &before);

    EXPECT_EQ(Bound::Gettime(&time), 0);
    EXPECT_GE(time.tv_sec, before.tv_sec);
    platform::SetNext("clock_gettime", {platform::Fails(EINVAL)});
    EXPECT_EQ(Bound::Gettime(&time), -1);
    EXPECT_EQ(errno, EINVAL);
}

}  // namespace
