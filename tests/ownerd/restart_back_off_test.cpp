#include "tools/ownerd/restart_back_off.h"

#include <gtest/gtest.h>

using namespace ownerd;

namespace {

ApplicationConfig Config()
{
    ApplicationConfig config;
    config.restartDelay = Milliseconds(100);
    config.restartDelayMax = Milliseconds(500);
    config.restartLimit = 5;
    config.restartWindow = Milliseconds(10000);
    return config;
}

const RestartBackOff::TimePoint kStart{};

}  // namespace

TEST(RestartBackOff, DoublesTheDelayUpToItsMaximum)
{
    RestartBackOff backOff;

    for (const int expected : {100, 200, 400, 500, 500}) {
        EXPECT_EQ(backOff.Next(kStart, Config()), Milliseconds(expected));
    }
}

TEST(RestartBackOff, GivesUpAtTheLimitOfTheWindow)
{
    RestartBackOff backOff;
    for (int i = 0; i < 5; ++i) {
        backOff.Next(kStart, Config());
    }

    EXPECT_EQ(backOff.Next(kStart + Milliseconds(10000), Config()), std::nullopt);
}

TEST(RestartBackOff, ForgetsWhatLiesBeforeTheWindow)
{
    RestartBackOff backOff;
    for (int i = 0; i < 5; ++i) {
        backOff.Next(kStart, Config());
    }

    EXPECT_EQ(backOff.Next(kStart + Milliseconds(10001), Config()), Milliseconds(100));
}

TEST(RestartBackOff, BeginsAnewWhenItIsReset)
{
    RestartBackOff backOff;
    backOff.Next(kStart, Config());
    backOff.Next(kStart, Config());

    backOff.Reset();

    EXPECT_EQ(backOff.Next(kStart, Config()), Milliseconds(100));
    EXPECT_EQ(backOff.Count(), 1U);
}

TEST(RestartBackOff, WithoutADelayHasNone)
{
    RestartBackOff backOff;
    ApplicationConfig config = Config();
    config.restartDelay = Milliseconds(0);

    backOff.Next(kStart, config);

    EXPECT_EQ(backOff.Next(kStart, config), Milliseconds(0));
}
