#include <gmock/gmock.h>
#include <syslog.h>

#include "platform/dlog.h"
#include "platform/hosted/log/levels.h"
#include "tests/hosted_log/log_world.h"

using testing::ElementsAre;
using namespace hosted::log;

namespace {

class SyslogSinkTest : public LogWorld {
protected:
    static std::string Call(int priority, const std::string& head, const std::string& text)
    {
        return std::to_string(priority) + ' ' + head + " [" + Caller() + "] " + text;
    }
};

}  // namespace

TEST_F(SyslogSinkTest, GivesEachLevelItsPriorityAndNeverOpensTheLog)
{
    Configure("debug,syslog");

    for (const uint32_t level : {kDebug, kInformation, kNotice, kWarning, kError, 9U}) {
        EXPECT_EQ(DlogRecord(kClientModule, level, "[%s:%d]x", "Unit", 1), 0);
    }

    EXPECT_THAT(SyslogCalls(), ElementsAre(Call(LOG_DEBUG, "debug client", "[Unit:1]x"),
                                           Call(LOG_INFO, "info client", "[Unit:1]x"),
                                           Call(LOG_NOTICE, "notice client", "[Unit:1]x"),
                                           Call(LOG_WARNING, "warning client", "[Unit:1]x"),
                                           Call(LOG_ERR, "error client", "[Unit:1]x"),
                                           Call(LOG_INFO, "level9 client", "[Unit:1]x")));
    EXPECT_EQ(StderrText(), "");
}

TEST_F(SyslogSinkTest, MarksMilestonesAndShowsControlCharacters)
{
    Configure("info,syslog");

    DlogRecord(kServerModule | kMilestoneBit, kInformation, "100%%\n");

    EXPECT_THAT(SyslogCalls(), ElementsAre(Call(LOG_INFO, "info server milestone", "100%\\n")));
}

TEST_F(SyslogSinkTest, TakesWarningsWhenTheVariableIsNotSet)
{
    DlogRecord(kClientModule, kNotice, "quiet");
    DlogRecord(kClientModule, kWarning, "heard");

    EXPECT_THAT(SyslogCalls(), ElementsAre(Call(LOG_WARNING, "warning client", "heard")));
    EXPECT_EQ(StderrText(), "");
}

TEST_F(SyslogSinkTest, TakesOnlyWhatItsOwnGroupSays)
{
    Configure("error,syslog;client=info,stderr");

    DlogRecord(kClientModule, kInformation, "one");
    DlogRecord(kClientModule, kError, "two");

    EXPECT_THAT(SyslogCalls(), ElementsAre(Call(LOG_ERR, "error client", "two")));
    EXPECT_THAT(StderrLines(), ElementsAre("info client [" + Caller() + "] one",
                                           "error client [" + Caller() + "] two"));
}
