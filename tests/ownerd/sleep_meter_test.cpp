#include <gtest/gtest.h>

#include "tools/ownerd/resume_watch.h"

using namespace ownerd;
using namespace std::chrono_literals;

TEST(SleepMeter, KnowsNoSleepFromItsFirstReading)
{
    SleepMeter meter;

    EXPECT_EQ(meter.Take(1000s, 5000s, 1000s), std::nullopt);
}

TEST(SleepMeter, SeesNoSleepWhereBothClocksHaveGoneOn)
{
    SleepMeter meter;
    meter.Take(1000s, 5000s, 1000s);

    EXPECT_EQ(meter.Take(1600s, 5600s, 1600s), std::nullopt);
}

TEST(SleepMeter, MeasuresByHowMuchTheBootTimeClockHasJumped)
{
    SleepMeter meter;
    meter.Take(1000s, 5000s, 1000s);

    EXPECT_EQ(meter.Take(1010s, 5100s, 1010s), 90s);
}

TEST(SleepMeter, TellsEachSleepOnce)
{
    SleepMeter meter;
    meter.Take(1000s, 5000s, 1000s);
    meter.Take(1010s, 5100s, 1010s);

    EXPECT_EQ(meter.Take(1011s, 5101s, 1011s), std::nullopt);
    EXPECT_EQ(meter.Take(1012s, 5103s, 1012s), 1s);
}

TEST(SleepMeter, TakesTheTimeBetweenTwoReadingsForNoSleep)
{
    SleepMeter meter;
    meter.Take(1000s, 5000s, 1000s);

    EXPECT_EQ(meter.Take(1000s, 5000s + 49ms, 1000s), std::nullopt);
    EXPECT_EQ(meter.Take(1000s, 5000s + 99ms, 1000s), 50ms);
}

TEST(SleepMeter, IsNotMisledByAClockThatSeemsToGoBack)
{
    SleepMeter meter;
    meter.Take(1000s, 5000s, 1000s);

    EXPECT_EQ(meter.Take(1001s, 5000s, 1001s), std::nullopt);
}

TEST(SleepMeter, TakesNoReadingsOfAProcessThatWasHeldUpBetweenThem)
{
    SleepMeter meter;
    meter.Take(1000s, 5000s, 1000s);

    EXPECT_EQ(meter.Take(1001s, 5001s, 1001s + 50ms), std::nullopt);
    EXPECT_EQ(meter.Take(1002s, 5002s, 1002s), std::nullopt);
    EXPECT_EQ(meter.Take(1003s, 5004s, 1003s + 49ms), 951ms);
}
