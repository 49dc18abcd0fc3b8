#include "platform/hosted/log/journal_stream.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>

#include "platform/dlog.h"
#include "platform/hosted/log/levels.h"
#include "tests/hosted_log/journal_double.h"
#include "tests/hosted_log/log_world.h"

using testing::ElementsAre;
using namespace hosted::log;

namespace {

class JournalStreamTest : public LogWorld {
protected:
    JournalStreamTest() : journal_(Path("journal")) {}

    static std::string StreamOf(int descriptor)
    {
        struct stat status {};
        fstat(descriptor, &status);
        return std::to_string(status.st_dev) + ':' + std::to_string(status.st_ino);
    }

    // The sinks that a variable's text leads to where standard error is the journal's.
    std::vector<std::string> SinksFor(const char* text)
    {
        Config config = ParseConfig(text);
        PreferJournal(config, {SinkKind::kJournal, Path("journal")});
        std::vector<std::string> sinks;
        for (const OutletOptions& outlet : config.outlets) {
            sinks.push_back(SinkText(outlet.sink));
        }
        return sinks;
    }

    std::string Journal() const { return "journal:" + Path("journal"); }

private:
    JournalDouble journal_;
};

}  // namespace

TEST_F(JournalStreamTest, KnowsTheStreamByItsDeviceAndInode)
{
    EXPECT_TRUE(IsJournalStream(StreamOf(STDERR_FILENO).c_str(), STDERR_FILENO));

    EXPECT_FALSE(IsJournalStream(nullptr, STDERR_FILENO));
    EXPECT_FALSE(IsJournalStream("", STDERR_FILENO));
    EXPECT_FALSE(IsJournalStream((StreamOf(STDERR_FILENO) + "0").c_str(), STDERR_FILENO));
    EXPECT_FALSE(IsJournalStream(StreamOf(STDIN_FILENO).c_str(), STDERR_FILENO));
    EXPECT_FALSE(IsJournalStream(StreamOf(STDERR_FILENO).c_str(), -1));
}

TEST_F(JournalStreamTest, PutsTheJournalInThePlaceOfStandardError)
{
    EXPECT_THAT(SinksFor("info"), ElementsAre(Journal()));
    EXPECT_THAT(SinksFor("info,stderr,file:a"), ElementsAre(Journal(), "file:a"));
}

TEST_F(JournalStreamTest, PutsTheJournalInThePlaceOfSyslogOnlyWhereNobodyHasChosen)
{
    EXPECT_THAT(SinksFor(nullptr), ElementsAre(Journal()));
    EXPECT_THAT(SinksFor("info,syslog"), ElementsAre("syslog"));
}

TEST_F(JournalStreamTest, NamesNoSinkTwice)
{
    const std::string text = "off,client=info,stderr;off,server=debug,journal:" + Path("journal");
    Config config = ParseConfig(text.c_str());

    PreferJournal(config, {SinkKind::kJournal, Path("journal")});

    ASSERT_EQ(config.outlets.size(), 1U);
    EXPECT_EQ(config.outlets[0].levels[kClientModule], LevelsFrom(kInformation));
    EXPECT_EQ(config.outlets[0].levels[kServerModule], LevelsFrom(kDebug));
}

TEST_F(JournalStreamTest, LeavesStandardErrorAloneWhereNoJournalListens)
{
    Config config = ParseConfig("info");

    PreferJournal(config, {SinkKind::kJournal, Path("none")});

    EXPECT_EQ(SinkText(config.outlets.at(0).sink), "stderr");
}

TEST_F(JournalStreamTest, WritesToStandardErrorWhenTheVariableNamesAnotherFile)
{
    setenv("JOURNAL_STREAM", "1:1", 1);
    Configure("info");

    EXPECT_EQ(DlogRecord(kClientModule, kError, "x"), 0);

    EXPECT_THAT(StderrLines(), ElementsAre("error client [" + Caller() + "] x"));
}
