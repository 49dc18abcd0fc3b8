#include "foundation/log_routes.h"

#include <limits>

#include "tests/support/platform_test.h"

namespace RoutesUnderTest {

constexpr char kLogUnit[] = "some_unit";

int evaluations = 0;

int Evaluated()
{
    return ++evaluations;
}

}  // namespace RoutesUnderTest

namespace {

using namespace ProcMgr;
using RoutesUnderTest::Evaluated;
using RoutesUnderTest::evaluations;
using RoutesUnderTest::kLogUnit;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

struct LevelRow {
    const char* name;
    GrpOwnerLogLevel level;
    int value;
    int syslogPriority;
    int dlogLevel;
};

void PrintTo(const LevelRow& row, std::ostream* out)
{
    *out << row.name;
}

class LevelTables : public ::testing::TestWithParam<LevelRow> {};

TEST_P(LevelTables, GiveThePriorityAndTheLevel)
{
    const LevelRow& row = GetParam();

    EXPECT_EQ(row.level, row.value);
    EXPECT_EQ(GetSyslogLevel(row.level), row.syslogPriority);
    EXPECT_EQ(GetDLogLevel(row.level), row.dlogLevel);
}

constexpr auto Unknown(int value)
{
    return static_cast<GrpOwnerLogLevel>(value);
}

constexpr int kLeast = std::numeric_limits<int>::min();
constexpr int kMost = std::numeric_limits<int>::max();

INSTANTIATE_TEST_SUITE_P(Rows, LevelTables,
                         ::testing::Values(LevelRow{"Debug", GRP_LOG_DEBUG, 0, 7, 0},
                                           LevelRow{"Info", GRP_LOG_INFO, 1, 6, 1},
                                           LevelRow{"Warn", GRP_LOG_WARN, 2, 4, 2},
                                           LevelRow{"Error", GRP_LOG_ERROR, 3, 3, 3},
                                           LevelRow{"Notice", GRP_LOG_NOTICE, 4, 5, 16},
                                           LevelRow{"JustBelow", Unknown(-1), -1, 6, 1},
                                           LevelRow{"JustAbove", Unknown(5), 5, 6, 1},
                                           LevelRow{"TheNoticeOfTheLog", Unknown(16), 16, 6, 1},
                                           LevelRow{"Least", Unknown(kLeast), kLeast, 6, 1},
                                           LevelRow{"Most", Unknown(kMost), kMost, 6, 1}),
                         [](const auto& row) { return row.param.name; });

class LogRoutes : public PlatformTest {
protected:
    LogRoutes() { evaluations = 0; }
};

TEST_F(LogRoutes, AreThePlatformLogAtLoad)
{
    EXPECT_FALSE(IsSyslogEnable());
}

TEST_F(LogRoutes, PutUnitAndLineInFrontOfARecord)
{
    CLIENT_LOG(kWarning, "fd=%d", 7);
    const int line = __LINE__ - 1;

    ASSERT_THAT(platform::Records(), ElementsAre(FromUnit("some_unit", WarningRecord(54, "fd=7"))));
    EXPECT_EQ(platform::Records().front().line, line);
}

TEST_F(LogRoutes, WriteATextWithoutArguments)
{
    CLIENT_LOG(kProgress, "begin");
    SERVER_LOG(GRP_LOG_INFO, "begin");

    EXPECT_THAT(platform::Records(), ElementsAre(InfoRecord(54, "begin"), InfoRecord(27, "begin")));
}

TEST_F(LogRoutes, TakeClientLevelsAsTheyStand)
{
    CLIENT_LOG(kProgress, "one");
    CLIENT_LOG(kWarning, "two");
    CLIENT_LOG(kFailure, "three");

    EXPECT_THAT(platform::Records(), ElementsAre(InfoRecord(54, "one"), WarningRecord(54, "two"),
                                                 ErrorRecord(54, "three")));
    EXPECT_THAT(platform::LevelQueries(),
                ElementsAre(platform::LevelQuery{54, 1}, platform::LevelQuery{54, 2},
                            platform::LevelQuery{54, 3}));
}

TEST_F(LogRoutes, TranslateServerLevels)
{
    SERVER_LOG(GRP_LOG_DEBUG, "debug");
    SERVER_LOG(GRP_LOG_NOTICE, "notice");
    SERVER_LOG(Unknown(9), "unknown");

    EXPECT_THAT(platform::Records(),
                ElementsAre(RecordOf(platform::LogRoute::kDlog, 27, 0, "debug"),
                            RecordOf(platform::LogRoute::kDlog, 27, 16, "notice"),
                            InfoRecord(27, "unknown")));
    EXPECT_THAT(platform::LevelQueries(),
                ElementsAre(platform::LevelQuery{27, 0}, platform::LevelQuery{27, 16},
                            platform::LevelQuery{27, 1}));
}

TEST_F(LogRoutes, NameTheMarkedModuleInBothCallsOfAMilestone)
{
    CLIENT_MILESTONE("client");
    SERVER_MILESTONE("server");

    EXPECT_THAT(platform::Records(),
                ElementsAre(RecordOf(platform::LogRoute::kDlog, 16777270, 1, "client"),
                            RecordOf(platform::LogRoute::kDlog, 16777243, 1, "server")));
    EXPECT_THAT(platform::LevelQueries(),
                ElementsAre(platform::LevelQuery{16777270, 1}, platform::LevelQuery{16777243, 1}));
}

TEST_F(LogRoutes, LetAMilestonePassWhereThePlainModuleIsOff)
{
    platform::SetLogLevel(54, 1, 0);

    CLIENT_LOG(kProgress, "plain");
    CLIENT_MILESTONE("marked");

    EXPECT_THAT(platform::Records(), ElementsAre(MilestoneRecord(54, "marked")));
}

TEST_F(LogRoutes, IgnoreTheResultOfTheLog)
{
    platform::SetStanding("DlogRecord", platform::Fails(EIO));

    CLIENT_LOG(kFailure, "one");
    CLIENT_LOG(kFailure, "two");

    EXPECT_THAT(platform::Errors(), ElementsAre("one", "two"));
}

TEST_F(LogRoutes, EvaluateArgumentsOnceWhenARecordIsWritten)
{
    CLIENT_LOG(kProgress, "%d", Evaluated());
    CLIENT_MILESTONE("%d", Evaluated());
    SERVER_LOG(GRP_LOG_INFO, "%d", Evaluated());
    SERVER_MILESTONE("%d", Evaluated());

    EXPECT_EQ(evaluations, 4);
    EXPECT_THAT(platform::Records(), SizeIs(4));
}

// Only 1 means yes.
class LevelAnswers : public LogRoutes, public ::testing::WithParamInterface<int> {};

TEST_P(LevelAnswers, OtherThanOneWriteNothingAndEvaluateNothing)
{
    platform::SetLogLevels(GetParam());

    CLIENT_LOG(kFailure, "%d", Evaluated());
    CLIENT_MILESTONE("%d", Evaluated());
    SERVER_LOG(GRP_LOG_ERROR, "%d", Evaluated());
    SERVER_MILESTONE("%d", Evaluated());

    EXPECT_THAT(platform::LevelQueries(), SizeIs(4));
    EXPECT_THAT(platform::Records(), IsEmpty());
    EXPECT_EQ(evaluations, 0);
}

INSTANTIATE_TEST_SUITE_P(Answers, LevelAnswers, ::testing::Values(0, 2, -1),
                         [](const auto& answer) {
                             return answer.param < 0 ? "Negative" : std::to_string(answer.param);
                         });

TEST(MayWriteServerLog, IsNoneOfTheMasksBusinessAheadOfTheSwitch)
{
    const int former = setlogmask(LOG_UPTO(LOG_WARNING));

    EXPECT_TRUE(MayWriteServerLog(GRP_LOG_INFO));

    setlogmask(former);
}

}  // namespace
