#include <fcntl.h>

#include <cerrno>
#include <future>
#include <thread>

#include "platform/dlog.h"
#include "tests/fake/bound_calls.h"
#include "tests/support/platform_test.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr timespec kPause{0, 50000000};

class Holding : public PlatformTest {};

TEST_F(Holding, KeepsACallFromReturning)
{
    platform::Hold("usleep");
    std::thread sleeper([] { Bound::Usleep(10); });

    ASSERT_TRUE(platform::WaitForHeld("usleep", 1));
    EXPECT_THAT(platform::HeldCalls(), ElementsAre("usleep(10)"));
    EXPECT_TRUE(platform::ReleaseOne("usleep"));
    sleeper.join();
    EXPECT_THAT(platform::HeldCalls(), IsEmpty());
}

TEST_F(Holding, ShowsAHeldCallWithoutResult)
{
    platform::Hold("open");
    platform::SetFirstDescriptor(7);
    std::thread opener([] { Bound::Open("a", O_RDWR); });

    ASSERT_TRUE(platform::WaitForHeld("open", 1));
    EXPECT_THAT(platform::Calls(), ElementsAre("open(a,O_RDWR)"));
    platform::ReleaseAll("open");
    opener.join();
    EXPECT_THAT(platform::Calls(), ElementsAre("open(a,O_RDWR)=7"));
}

TEST_F(Holding, ChoosesTheResultWhenTheCallGoesOn)
{
    platform::Hold("open");
    std::promise<int> result;
    std::thread opener([&] { result.set_value(Bound::Open("a", O_RDWR)); });
    ASSERT_TRUE(platform::WaitForHeld("open", 1));

    platform::SetNext("open", {platform::Fails(ETIMEDOUT)});
    platform::ReleaseAll("open");

    EXPECT_EQ(result.get_future().get(), -1);
    opener.join();
}

TEST_F(Holding, ReleasesTheOneThatHasWaitedLongest)
{
    platform::Hold("usleep");
    std::thread first([] { Bound::Usleep(1); });
    ASSERT_TRUE(platform::WaitForHeld("usleep", 1));
    std::thread second([] { Bound::Usleep(2); });
    ASSERT_TRUE(platform::WaitForHeld("usleep", 2));

    EXPECT_TRUE(platform::ReleaseOne("usleep"));

    first.join();
    EXPECT_THAT(platform::HeldCalls(), ElementsAre("usleep(2)"));
    platform::ReleaseAll("usleep");
    second.join();
}

TEST_F(Holding, TellsResourcesApart)
{
    platform::Hold("open", "b");
    EXPECT_GT(Bound::Open("a", O_RDWR), 0);
    std::thread opener([] { Bound::Open("b", O_RDWR); });
    ASSERT_TRUE(platform::WaitForHeld("open", 1));

    EXPECT_FALSE(platform::ReleaseOne("open", "a"));
    EXPECT_TRUE(platform::ReleaseOne("open", "b"));
    opener.join();
}

TEST_F(Holding, ReleaseOneSaysThatNobodyIsHeld)
{
    EXPECT_FALSE(platform::ReleaseOne("usleep"));
}

TEST_F(Holding, EndsForAllWhenStopped)
{
    platform::Hold("usleep");
    std::thread first([] { Bound::Usleep(1); });
    std::thread second([] { Bound::Usleep(1); });
    ASSERT_TRUE(platform::WaitForHeld("usleep", 2));

    platform::StopHolding("usleep");

    first.join();
    second.join();
    EXPECT_EQ(Bound::Usleep(1), 0);
}

TEST_F(Holding, EndsForAllAtReset)
{
    platform::Hold("usleep");
    std::thread sleeper([] { Bound::Usleep(1); });
    ASSERT_TRUE(platform::WaitForHeld("usleep", 1));

    platform::Reset();

    sleeper.join();
    EXPECT_EQ(Bound::Usleep(1), 0);
}

TEST_F(Holding, HoldsLogRecordsToo)
{
    platform::Hold("DlogRecord");
    std::thread writer([] { DlogRecord(54, 1, "%s", "text"); });

    ASSERT_TRUE(platform::WaitForHeld("DlogRecord", 1));
    EXPECT_THAT(platform::HeldCalls(), ElementsAre("DlogRecord(text)"));
    platform::ReleaseAll("DlogRecord");
    writer.join();
}

TEST_F(Holding, StepTakesALoopFromSleepToSleep)
{
    platform::Hold("nanosleep");
    std::thread loop([] {
        for (int i = 0; i < 4; ++i) {
            Bound::Open("a", O_RDONLY);
            Bound::Nanosleep(&kPause, nullptr);
        }
    });

    ASSERT_TRUE(platform::Step("nanosleep"));
    EXPECT_EQ(platform::Calls("open").size(), 2U);
    ASSERT_TRUE(platform::Step("nanosleep", 2));
    EXPECT_EQ(platform::Calls("open").size(), 4U);

    platform::StopHolding("nanosleep");
    loop.join();
}

TEST_F(Holding, HoldsALoopThatSleepsTooOftenWithoutBeingAsked)
{
    std::atomic<bool> isEnding{false};
    std::thread loop([&] {
        while (!isEnding) {
            Bound::Nanosleep(&kPause, nullptr);
        }
    });

    // A slow machine needs longer for so many than the double waits.
    while (!platform::WaitForHeld("nanosleep", 1)) {}
    EXPECT_EQ(platform::Calls("nanosleep").size(), platform::kMostInstantSleeps + 1);

    isEnding = true;
    platform::ClearHistory();
    loop.join();
}

}  // namespace
