#include <gmock/gmock.h>

#include "tools/ownerd/application_output.h"
#include "tools/ownerd/notify_socket.h"

using namespace ownerd;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

TEST(Notification, HoldsOneAssignmentOfEachLine)
{
    EXPECT_THAT(
        ParseNotification("READY=1\nSTATUS=all = well\nMAINPID=12\n"),
        ElementsAre(Pair("MAINPID", "12"), Pair("READY", "1"), Pair("STATUS", "all = well")));
}

TEST(Notification, LeavesOutWhatIsNoAssignment)
{
    EXPECT_THAT(ParseNotification(""), IsEmpty());
    EXPECT_THAT(ParseNotification("READY\n\n=\n"), ElementsAre(Pair("", "")));
}

TEST(LineLimit, LetsSoManyLinesOfASecondPassAndCountsTheRest)
{
    LineLimit limit;
    const TimePoint now = TimePoint() + std::chrono::hours(1);
    for (size_t i = 0; i < LineLimit::kLinesInOneSecond; ++i) {
        EXPECT_TRUE(limit.Pass(now));
    }

    EXPECT_FALSE(limit.Pass(now));
    EXPECT_FALSE(limit.Pass(now + std::chrono::milliseconds(999)));
    EXPECT_EQ(limit.TakeDropped(), 2U);
    EXPECT_EQ(limit.TakeDropped(), 0U);
}

TEST(LineLimit, BeginsAnewWithEachSecond)
{
    LineLimit limit;
    const TimePoint now = TimePoint() + std::chrono::hours(1);
    for (size_t i = 0; i <= LineLimit::kLinesInOneSecond; ++i) {
        limit.Pass(now);
    }

    EXPECT_TRUE(limit.Pass(now + std::chrono::seconds(1)));
}
