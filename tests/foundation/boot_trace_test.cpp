#include "foundation/boot_trace.h"

#include <ownerlink/log.h>

#include "tests/support/platform_test.h"

namespace {

using namespace ProcMgr;
using ::testing::ElementsAre;
using ::testing::MatchesRegex;

constexpr uint64_t kMegahertz = 1000000;

TEST(BootTraceFormat, IsSecondsWithSixDecimalsAndTheTag)
{
    EXPECT_EQ(FormatBootTrace({12345678, kMegahertz}, "SS_AGENT"),
              "[12.345678s][BOOT_TRACE][SS_AGENT]");
}

TEST(BootTraceFormat, RoundsToTheNearestMicrosecond)
{
    EXPECT_EQ(FormatBootTrace({2, 3}, "x"), "[0.666667s][BOOT_TRACE][x]");
}

TEST(BootTraceFormat, StartsAtZero)
{
    EXPECT_EQ(FormatBootTrace({0, kMegahertz}, "x"), "[0.000000s][BOOT_TRACE][x]");
}

TEST(BootTraceFormat, TakesTheLargestCounter)
{
    EXPECT_EQ(FormatBootTrace({UINT64_MAX, uint64_t{1} << 32}, "x"),
              "[4294967296.000000s][BOOT_TRACE][x]");
}

TEST(BootTraceFormat, EndsInEmptyBracketsForAnEmptyTag)
{
    EXPECT_EQ(FormatBootTrace({kMegahertz, kMegahertz}, ""), "[1.000000s][BOOT_TRACE][]");
}

TEST(BootTraceFormat, IsEmptyWithoutACounter)
{
    EXPECT_EQ(FormatBootTrace({12345678, 0}, "SS_AGENT"), "");
    EXPECT_EQ(FormatBootTrace({}, ""), "");
}

class BootTrace : public PlatformTest {};

TEST_F(BootTrace, HasThisShapeOnEveryMachine)
{
    EXPECT_THAT(BootStrace("SS_SERVER"),
                MatchesRegex("\\[[0-9]+\\.[0-9]{6}s\\]\\[BOOT_TRACE\\]\\[SS_SERVER\\]"));
    EXPECT_GT(ReadBootCounter().frequency, 0U);
}

TEST_F(BootTrace, NeverRunsBackwards)
{
    const BootCounter earlier = ReadBootCounter();
    const BootCounter later = ReadBootCounter();

    EXPECT_LE(earlier.ticks, later.ticks);
    EXPECT_EQ(earlier.frequency, later.frequency);
}

#if defined(__aarch64__)  // where the processor itself is the counter

uint64_t GenericTimer()
{
    uint64_t ticks = 0;
    asm volatile("mrs %0, cntvct_el0" : "=r"(ticks));
    return ticks;
}

TEST_F(BootTrace, ReadsTheGenericTimer)
{
    uint64_t frequency = 0;
    asm volatile("mrs %0, cntfrq_el0" : "=r"(frequency));
    const uint64_t before = GenericTimer();

    const BootCounter counter = ReadBootCounter();

    EXPECT_EQ(counter.frequency, frequency);
    EXPECT_LE(before, counter.ticks);
    EXPECT_LE(counter.ticks, GenericTimer());
}

TEST_F(BootTrace, AsksNoClockBesideTheGenericTimer)
{
    BootStrace("SS_AGENT");

    EXPECT_THAT(platform::Calls("clock_gettime"), ElementsAre());
}

#else

TEST_F(BootTrace, CountsSecondsSinceBoot)
{
    platform::SetBootClock(std::chrono::microseconds(12345678));

    EXPECT_EQ(BootStrace("SS_AGENT"), "[12.345678s][BOOT_TRACE][SS_AGENT]");
    EXPECT_THAT(platform::Calls("clock_gettime"),
                ElementsAre("clock_gettime(" + std::to_string(CLOCK_BOOTTIME) + ")=0"));
}

TEST_F(BootTrace, EndsInEmptyBracketsForAnEmptyTag)
{
    platform::SetBootClock(std::chrono::seconds(3));

    EXPECT_EQ(BootStrace(""), "[3.000000s][BOOT_TRACE][]");
}

TEST_F(BootTrace, IsEmptyWhereTheClockFails)
{
    platform::SetStanding("clock_gettime", platform::Fails(EINVAL));

    EXPECT_EQ(BootStrace("SS_AGENT"), "");
}

#endif

}  // namespace
