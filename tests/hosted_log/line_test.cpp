#include "platform/hosted/log/line.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include "platform/hosted/log/levels.h"

using namespace hosted::log;

namespace {

const Origin kOrigin{{1700000000, 123456789}, 12, 34, "SENDER"};

std::string WholeLine(uint32_t module, uint32_t level, std::string_view text)
{
    return Line({module, level, text}, kOrigin).Whole();
}

}  // namespace

// docs/logging.md shows lines of this form.
TEST(Line, CarriesTimeLevelModuleProcessThreadAndText)
{
    EXPECT_EQ(WholeLine(kClientModule, kWarning, "[OwnerlinkClientImpl:7]slow"),
              "2023-11-14T22:13:20.123456Z warning client [12:34 SENDER] "
              "[OwnerlinkClientImpl:7]slow\n");
}

TEST(Line, MarksMilestones)
{
    EXPECT_EQ(WholeLine(kServerModule | kMilestoneBit, kNotice, "up"),
              "2023-11-14T22:13:20.123456Z notice server milestone [12:34 SENDER] up\n");
}

TEST(Line, PrintsNumbersOfUnknownModulesAndLevels)
{
    EXPECT_EQ(WholeLine(300, 9, ""), "2023-11-14T22:13:20.123456Z level9 300 [12:34 SENDER] \n");
}

TEST(Line, LeavesTimeAndLineFeedToASinkThatHasItsOwn)
{
    const Line line({kPlatformModule, kError, "a\nb"}, kOrigin);

    EXPECT_EQ(line.WithoutTime(), "error platform [12:34 SENDER] a\\nb");
}

TEST(Line, CannotBeForgedByAThreadName)
{
    Origin origin = kOrigin;
    origin.threadName = "a\nb";

    EXPECT_EQ(Line({kClientModule, kDebug, "x"}, origin).WithoutTime(),
              "debug client [12:34 a\\nb] x");
}

TEST(Visible, ShowsControlCharactersAndLeavesTheRest)
{
    EXPECT_EQ(Visible(std::string_view("\0\x01\x1b\x1f\x7f", 5)), "\\x00\\x01\\x1b\\x1f\\x7f");
    EXPECT_EQ(Visible("a\tb\r\n"), "a\\tb\\r\\n");
    EXPECT_EQ(Visible(" ~\\ \xc3\xa4"), " ~\\ \xc3\xa4");
}

TEST(FormatTime, KnowsLeapDaysAndTheEpoch)
{
    EXPECT_EQ(FormatTime({0, 0}), "1970-01-01T00:00:00.000000Z");
    EXPECT_EQ(FormatTime({1709251199, 999999999}), "2024-02-29T23:59:59.999999Z");
    EXPECT_EQ(FormatTime({4102444800, 1000}), "2100-01-01T00:00:00.000001Z");
}

TEST(OriginOfCaller, NamesTheCallingThread)
{
    const Origin origin = OriginOfCaller();

    EXPECT_EQ(origin.process, getpid());
    EXPECT_EQ(origin.thread, gettid());
    EXPECT_FALSE(origin.threadName.empty());
}
