#include "platform/hosted/log/levels.h"

#include <gmock/gmock.h>

#include "platform/dlog.h"
#include "tests/hosted_log/log_world.h"

using testing::ElementsAre;
using namespace hosted::log;

namespace {

constexpr uint32_t kOther = 1000000;

// Which of debug, information, notice, warning and error are written.
std::vector<int> Answers(uint32_t module)
{
    std::vector<int> answers;
    for (const uint32_t level : {kDebug, kInformation, kNotice, kWarning, kError}) {
        answers.push_back(CheckLogLevel(module, level));
    }
    return answers;
}

class CheckLogLevelTest : public LogWorld {};

}  // namespace

TEST(LevelsFrom, RanksNoticeBetweenInformationAndWarning)
{
    const LevelSet highest = LevelBit(kError) | LevelBit(kWarning);

    EXPECT_EQ(LevelsFrom(kError), LevelBit(kError));
    EXPECT_EQ(LevelsFrom(kWarning), highest);
    EXPECT_EQ(LevelsFrom(kNotice), highest | LevelBit(kNotice));
    EXPECT_EQ(LevelsFrom(kInformation) & LevelBit(kNotice), LevelBit(kNotice));
    EXPECT_EQ(LevelsFrom(kInformation) & LevelBit(kDebug), 0U);
    EXPECT_EQ(LevelsFrom(kDebug), (1U << 31) - 1);
}

TEST(LevelsFrom, TakesMeaninglessNumbersAsInformation)
{
    for (const uint32_t level : {4U, 15U, 17U, 30U, 31U, 32U, 0xFFFFFFFFU}) {
        EXPECT_NE(LevelsFrom(kInformation) & LevelBit(level), 0U) << level;
        EXPECT_EQ(LevelsFrom(kNotice) & LevelBit(level), 0U) << level;
    }
}

TEST(ParseLevels, KnowsNamesAndNumbers)
{
    for (const char* text : {"warning", "warn", "WARN", "2"}) {
        EXPECT_EQ(ParseLevels(text), LevelsFrom(kWarning)) << text;
    }
    EXPECT_EQ(ParseLevels("notice"), LevelsFrom(kNotice));
    EXPECT_EQ(ParseLevels("16"), LevelsFrom(kNotice));
    EXPECT_EQ(ParseLevels("err"), LevelsFrom(kError));
    EXPECT_EQ(ParseLevels("off"), LevelSet{0});
}

TEST(ParseLevels, RefusesEverythingElse)
{
    for (const char* text : {"", "4", "15", "17", "-1", "1x", "warnings", "infos"}) {
        EXPECT_FALSE(ParseLevels(text)) << text;
    }
}

TEST(ParseModule, KnowsNamesAndNumbersUpTo255)
{
    EXPECT_EQ(ParseModule("client"), 54U);
    EXPECT_EQ(ParseModule("Server"), 27U);
    EXPECT_EQ(ParseModule("platform"), 90U);
    EXPECT_EQ(ParseModule("255"), 255U);
    EXPECT_FALSE(ParseModule("256"));
    EXPECT_FALSE(ParseModule("99999999999999999999999"));
    EXPECT_FALSE(ParseModule(""));
    EXPECT_FALSE(ParseModule("clinet"));
}

TEST_F(CheckLogLevelTest, LetsWarningsAndErrorsThroughWithoutTheVariable)
{
    EXPECT_THAT(Answers(kClientModule), ElementsAre(0, 0, 0, 1, 1));
    EXPECT_THAT(Answers(kOther), ElementsAre(0, 0, 0, 1, 1));
}

TEST_F(CheckLogLevelTest, LevelsEveryModuleByAPlainLevel)
{
    Configure("info");

    EXPECT_THAT(Answers(kServerModule), ElementsAre(0, 1, 1, 1, 1));
    EXPECT_THAT(Answers(kOther), ElementsAre(0, 1, 1, 1, 1));
}

TEST_F(CheckLogLevelTest, LevelsModulesByNameAndNumber)
{
    Configure("error,client=debug,27=notice,91=off");

    EXPECT_THAT(Answers(kClientModule), ElementsAre(1, 1, 1, 1, 1));
    EXPECT_THAT(Answers(kServerModule), ElementsAre(0, 0, 1, 1, 1));
    EXPECT_THAT(Answers(91), ElementsAre(0, 0, 0, 0, 0));
    EXPECT_THAT(Answers(kPlatformModule), ElementsAre(0, 0, 0, 0, 1));
}

TEST_F(CheckLogLevelTest, LevelsAMilestoneLikeItsPlainModule)
{
    Configure("client=debug,off");

    EXPECT_THAT(Answers(kClientModule | kMilestoneBit), ElementsAre(1, 1, 1, 1, 1));
    EXPECT_THAT(Answers(kServerModule | kMilestoneBit), ElementsAre(0, 0, 0, 0, 0));
}

TEST_F(CheckLogLevelTest, AnswersOneWhenAnySinkTakesTheRecord)
{
    Configure("error,stderr;client=debug,syslog");

    EXPECT_THAT(Answers(kClientModule), ElementsAre(1, 1, 1, 1, 1));
    EXPECT_THAT(Answers(kServerModule), ElementsAre(0, 0, 0, 1, 1));
}

TEST_F(CheckLogLevelTest, ReadsTheVariableOnlyOnce)
{
    Configure("off");
    ASSERT_EQ(CheckLogLevel(kClientModule, kError), 0);

    Configure("debug");

    EXPECT_EQ(CheckLogLevel(kClientModule, kError), 0);
}
