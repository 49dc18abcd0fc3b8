#include <cerrno>
#include <string>

#include "platform/dlog.h"
#include "tests/fake/bound_calls.h"
#include "tests/support/platform_test.h"

namespace {

using platform::LevelQuery;
using platform::LogRecord;
using platform::LogRoute;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class LogDouble : public PlatformTest {};

TEST_F(LogDouble, TakesTheHeadOffARecord)
{
    DlogRecord(54, 2, "[%s:%d]value=%d", "SomeUnit", 321, 5);

    const LogRecord expected{LogRoute::kDlog, 54, 2, "SomeUnit", 0, "value=5"};
    ASSERT_THAT(platform::Records(), ElementsAre(expected));
    EXPECT_EQ(platform::Records()[0].line, 321);
}

TEST_F(LogDouble, LeavesTextsAloneThatHaveNoHead)
{
    DlogRecord(54, 1, "%s", "[12.5s][BOOT_TRACE] plain");
    DlogRecord(54, 1, "%s", "[unit:12 plain");
    DlogRecord(54, 1, "%s", "");

    EXPECT_THAT(platform::Infos(), ElementsAre("[12.5s][BOOT_TRACE] plain", "[unit:12 plain", ""));
    EXPECT_EQ(platform::Records()[0].unit, "");
}

TEST_F(LogDouble, KeepsLongTextsWhole)
{
    const std::string text(5000, 'x');

    DlogRecord(54, 1, "[%s:%d]%s", "U", 1, text.c_str());

    EXPECT_THAT(platform::Infos(), ElementsAre(text));
}

TEST_F(LogDouble, AnswersOneForEveryLevelAtFirst)
{
    EXPECT_EQ(CheckLogLevel(54, 1), 1);
    EXPECT_EQ(CheckLogLevel(27, 16), 1);
    EXPECT_THAT(platform::LevelQueries(), ElementsAre(LevelQuery{54, 1}, LevelQuery{27, 16}));
    EXPECT_THAT(platform::Calls(), IsEmpty());
}

TEST_F(LogDouble, AnswersByModuleAndLevelBeforeTheRest)
{
    platform::SetLogLevels(0);
    platform::SetLogLevel(54, 3, 2);

    EXPECT_EQ(CheckLogLevel(54, 3), 2);
    EXPECT_EQ(CheckLogLevel(54, 2), 0);
    EXPECT_EQ(CheckLogLevel(54 | kMilestoneBit, 3), 0);
}

TEST_F(LogDouble, GivesTheResultsThatAreSet)
{
    platform::SetNext("DlogRecord", {platform::Gives(-3)});
    platform::SetNext("DlogFlush", {platform::Gives(-4)});

    EXPECT_EQ(DlogRecord(54, 1, "%s", "text"), -3);
    EXPECT_EQ(DlogFlush(), -4);
    EXPECT_THAT(platform::Infos(), ElementsAre("text"));
}

TEST_F(LogDouble, TakesSyslogUnderBothSpellings)
{
    Bound::Syslog(LOG_ERR, "plain", 1);
    Bound::FortifiedSyslog(LOG_WARNING, "fortified", 2);

    EXPECT_THAT(platform::Records(),
                ElementsAre(LogRecord{LogRoute::kSyslog, 0, LOG_ERR, "", 0, "plain=1"},
                            LogRecord{LogRoute::kSyslog, 0, LOG_WARNING, "", 0, "fortified=2"}));
}

TEST_F(LogDouble, LeavesErrnoAlone)
{
    errno = EXDEV;

    CheckLogLevel(54, 1);
    DlogRecord(54, 1, "[%s:%d]text", "U", 1);
    DlogFlush();
    Bound::Syslog(LOG_ERR, "text", 1);

    EXPECT_EQ(errno, EXDEV);
}

}  // namespace
