#include "platform/hosted/log/config.h"

#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::IsEmpty;
using namespace hosted::log;

namespace {

std::vector<std::string> Sinks(const Config& config)
{
    std::vector<std::string> sinks;
    for (const OutletOptions& outlet : config.outlets) {
        const SinkOptions& sink = outlet.sink;
        sinks.push_back(sink.kind != SinkKind::kFile ? SinkText(sink)
                                                     : sink.path + ' ' + std::to_string(sink.size) +
                                                           ' ' + std::to_string(sink.count));
    }
    return sinks;
}

LevelSet Levels(const Config& config, size_t outlet, uint32_t module)
{
    return config.outlets.at(outlet).levels.at(ModuleSlot(module));
}

std::vector<std::string> Complaints(const char* text)
{
    return ParseConfig(text).complaints;
}

}  // namespace

TEST(ParseConfig, SendsWarningsToSyslogWhenNothingIsSaid)
{
    for (const char* text : {static_cast<const char*>(nullptr), "", "  \t "}) {
        const Config config = ParseConfig(text);

        EXPECT_THAT(Sinks(config), ElementsAre("syslog"));
        EXPECT_EQ(Levels(config, 0, kClientModule), LevelsFrom(kWarning));
        EXPECT_THAT(config.complaints, IsEmpty());
    }
}

TEST(ParseConfig, SendsToStandardErrorWhenNoSinkIsNamed)
{
    const Config config = ParseConfig("client=debug");

    EXPECT_THAT(Sinks(config), ElementsAre("stderr"));
    EXPECT_EQ(Levels(config, 0, kClientModule), LevelsFrom(kDebug));
    EXPECT_EQ(Levels(config, 0, kServerModule), LevelsFrom(kWarning));
}

TEST(ParseConfig, GivesEverySinkOfAGroupTheGroupsLevels)
{
    const Config config = ParseConfig("stderr,info,syslog");

    EXPECT_THAT(Sinks(config), ElementsAre("stderr", "syslog"));
    EXPECT_EQ(Levels(config, 0, 3), LevelsFrom(kInformation));
    EXPECT_EQ(Levels(config, 1, 3), LevelsFrom(kInformation));
}

TEST(ParseConfig, KeepsGroupsApart)
{
    const Config config = ParseConfig("error,syslog;server=debug,off,stderr");

    EXPECT_THAT(Sinks(config), ElementsAre("syslog", "stderr"));
    EXPECT_EQ(Levels(config, 0, kServerModule), LevelsFrom(kError));
    EXPECT_EQ(Levels(config, 1, kServerModule), LevelsFrom(kDebug));
    EXPECT_EQ(Levels(config, 1, kClientModule), 0U);
}

TEST(ParseConfig, MergesASinkThatTwoGroupsName)
{
    const Config config = ParseConfig("off,client=info,stderr;off,server=debug,stderr");

    EXPECT_THAT(Sinks(config), ElementsAre("stderr"));
    EXPECT_EQ(Levels(config, 0, kClientModule), LevelsFrom(kInformation));
    EXPECT_EQ(Levels(config, 0, kServerModule), LevelsFrom(kDebug));
}

TEST(ParseConfig, ReadsFilesWithTheirOptions)
{
    const Config config = ParseConfig("file:/a/x=1.log,size=4K,count=2,file:b.log,file:c,size=1g");

    EXPECT_THAT(Sinks(config),
                ElementsAre("/a/x=1.log 4096 2", "b.log 10485760 5", "c 1073741824 5"));
}

TEST(ParseConfig, IgnoresBlanksCaseAndEmptyPieces)
{
    const Config config = ParseConfig(" ,INFO , Client = Debug,,STDERR; ;");

    EXPECT_THAT(config.complaints, IsEmpty());
    EXPECT_THAT(Sinks(config), ElementsAre("stderr"));
    EXPECT_EQ(Levels(config, 0, kClientModule), LevelsFrom(kDebug));
    EXPECT_EQ(Levels(config, 0, 1), LevelsFrom(kInformation));
}

TEST(ParseConfig, NamesEachBadPieceAndAppliesTheRest)
{
    const Config config = ParseConfig("loud,clinet=debug,server=info,client=blue,syslog");

    EXPECT_THAT(config.complaints,
                ElementsAre("\"loud\": is neither a level nor a sink",
                            "\"clinet=debug\": no such module (client, server, platform, or a "
                            "number up to 255)",
                            "\"client=blue\": no such level (debug, info, notice, warning, error, "
                            "off)"));
    EXPECT_THAT(Sinks(config), ElementsAre("syslog"));
    EXPECT_EQ(Levels(config, 0, kServerModule), LevelsFrom(kInformation));
    EXPECT_EQ(Levels(config, 0, kClientModule), LevelsFrom(kWarning));
}

TEST(ParseConfig, RefusesFileOptionsWithoutAFile)
{
    EXPECT_THAT(Complaints("size=4K"), ElementsAre("\"size=4K\": stands behind no file"));
    EXPECT_THAT(Complaints("stderr,count=2"), ElementsAre("\"count=2\": stands behind no file"));
    EXPECT_THAT(Complaints("file:x;count=2"), ElementsAre("\"count=2\": stands behind no file"));
    EXPECT_THAT(Complaints("file:"), ElementsAre("\"file:\": names no file"));
}

TEST(ParseConfig, BoundsFileOptions)
{
    for (const char* bad : {"", "0", "1023", "K", "1T", "-1", "1025G", "99999999999999999999"}) {
        const std::string piece = std::string("size=") + bad;
        EXPECT_THAT(Complaints(("file:x," + piece).c_str()),
                    ElementsAre("\"" + piece + "\": no such size (1K to 1024G)"));
    }
    for (const char* bad : {"", "0", "1001", "x"}) {
        const std::string piece = std::string("count=") + bad;
        EXPECT_THAT(Complaints(("file:x," + piece).c_str()),
                    ElementsAre("\"" + piece + "\": no such count (1 to 1000)"));
    }
    EXPECT_THAT(Sinks(ParseConfig("file:x,size=1024,count=1000")), ElementsAre("x 1024 1000"));
    EXPECT_THAT(Sinks(ParseConfig("file:x,size=1024G,count=1")), ElementsAre("x 1099511627776 1"));
}

TEST(ParseConfig, ReadsTheJournalAndDltWithAndWithoutTheirNames)
{
    EXPECT_THAT(Sinks(ParseConfig("journal,dlt")), ElementsAre("journal", "dlt"));
    EXPECT_THAT(Sinks(ParseConfig("Journal:/a/b, DLT:Ow1")),
                ElementsAre("journal:/a/b", "dlt:Ow1"));
    EXPECT_THAT(Complaints("journal:/a/b,dlt:OWN1"), IsEmpty());
}

TEST(ParseConfig, RefusesNamesThatTheJournalAndDltCannotHave)
{
    EXPECT_THAT(Complaints("journal: "), ElementsAre("\"journal:\": names no socket"));
    for (const char* bad : {"dlt:", "dlt:12345", "dlt:a-b", "dlt:\xc3\xa4"}) {
        EXPECT_THAT(Complaints(bad),
                    ElementsAre('"' + std::string(bad) +
                                "\": no such application (one to four letters and digits)"));
    }
}

TEST(ParseConfig, RefusesAColonBehindSinksThatTakeNone)
{
    for (const char* bad : {"stderr:x", "syslog:x", "file"}) {
        EXPECT_THAT(Complaints(bad),
                    ElementsAre('"' + std::string(bad) + "\": is neither a level nor a sink"));
    }
}
