#include "platform/dlog.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <climits>
#include <cwchar>

#include "platform/hosted/log/levels.h"
#include "tests/hosted_log/log_world.h"

using testing::ElementsAre;
using testing::IsEmpty;
using namespace hosted::log;

namespace {

class DlogTest : public LogWorld {
protected:
    static std::string Line(const std::string& text)
    {
        return "error client [" + Caller() + "] " + text;
    }
};

}  // namespace

// docs/logging.md shows the first of these lines.
TEST_F(DlogTest, NamesEachBadPieceOfTheVariableOnce)
{
    Configure("clinet=debug,error,blue\n,stderr");

    EXPECT_EQ(CheckLogLevel(kClientModule, kWarning), 0);
    EXPECT_EQ(DlogRecord(kClientModule, kError, "x"), 0);

    EXPECT_THAT(StderrLines(),
                ElementsAre("ownerlink: OWNERLINK_LOG: \"clinet=debug\": no such module (client, "
                            "server, platform, or a number up to 255); ignored",
                            "ownerlink: OWNERLINK_LOG: \"blue\": is neither a level nor a sink; "
                            "ignored",
                            Line("x")));
}

TEST_F(DlogTest, WritesTextsOfEveryLengthWhole)
{
    Configure("stderr");
    for (const size_t length : {0U, 1U, 2046U, 2047U, 2048U, 2049U, 16384U, 32768U}) {
        const std::string text(length, 'x');

        EXPECT_EQ(DlogRecord(kClientModule, kError, "%s", text.c_str()), 0);

        const std::string written = StderrText();
        const std::string end = "] " + text + "\n";
        ASSERT_GE(written.size(), end.size());
        EXPECT_EQ(written.substr(written.size() - end.size()), end) << length;
    }
}

TEST_F(DlogTest, CutsTextsAbove32KiBAndSaysSo)
{
    Configure("stderr");
    const std::string text(32768, 'x');

    DlogRecord(kClientModule, kError, "%syyy", text.c_str());

    const std::string written = StderrText();
    EXPECT_EQ(written.substr(written.size() - text.size() - 20),
              "] " + text + "... (3 bytes cut)\n");
}

TEST_F(DlogTest, WritesTheFormatOfATextThatCannotBeFormatted)
{
    Configure("stderr");
    const wchar_t unspeakable[] = {static_cast<wchar_t>(0x7fffffff), 0};

    EXPECT_EQ(DlogRecord(kClientModule, kError, "name=%ls", unspeakable), -1);

    EXPECT_THAT(StderrLines(), ElementsAre(Line("name=%ls")));
}

TEST_F(DlogTest, RefusesAMissingFormat)
{
    Configure("stderr");
    const char* volatile format = nullptr;

    EXPECT_EQ(DlogRecord(kClientModule, kError, format, 0), -1);

    EXPECT_EQ(StderrText(), "");
}

TEST_F(DlogTest, LeavesErrnoAlone)
{
    Configure("stderr,file:" + Path("none/a"));

    errno = EXDEV;
    CheckLogLevel(kClientModule, kError);
    EXPECT_EQ(errno, EXDEV);
    DlogRecord(kClientModule, kError, "x");
    EXPECT_EQ(errno, EXDEV);
    DlogFlush();
    EXPECT_EQ(errno, EXDEV);
}

TEST_F(DlogTest, WritesARecordOnceToEverySinkThatTakesIt)
{
    Configure("stderr,syslog,file:" + Path("a") + ";debug,stderr");

    EXPECT_EQ(DlogRecord(kClientModule, kError, "x"), 0);

    EXPECT_THAT(StderrLines(), ElementsAre(Line("x")));
    EXPECT_THAT(FileLines("a"), ElementsAre(Line("x")));
    EXPECT_THAT(SyslogCalls(), ElementsAre("3 " + Line("x")));
}

TEST_F(DlogTest, KeepsOtherSinksGoingWhenOneFails)
{
    Configure("file:" + Path("none/a") + ",syslog");

    EXPECT_EQ(DlogRecord(kClientModule, kError, "x"), -1);

    EXPECT_THAT(SyslogCalls(), ElementsAre("3 " + Line("x")));
}

TEST_F(DlogTest, WritesNothingWhenOff)
{
    Configure("off,stderr,syslog");

    EXPECT_EQ(DlogRecord(kClientModule, kError, "x"), 0);
    EXPECT_EQ(DlogFlush(), 0);

    EXPECT_EQ(StderrText(), "");
    EXPECT_THAT(SyslogCalls(), IsEmpty());
}

TEST_F(DlogTest, FlushesBeforeTheFirstRecord)
{
    EXPECT_EQ(DlogFlush(), 0);

    EXPECT_EQ(StderrText(), "");
    EXPECT_THAT(SyslogCalls(), IsEmpty());
}
