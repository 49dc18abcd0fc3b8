#include <fcntl.h>

#include <atomic>
#include <sstream>
#include <stdexcept>
#include <thread>

#include "platform/dlog.h"
#include "platform/securec.h"
#include "tests/fake/bound_calls.h"
#include "tests/support/platform_test.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class History : public PlatformTest {
protected:
    History() { platform::SetFirstDescriptor(7); }
};

void Write(uint32_t module, uint32_t level, const char* text)
{
    DlogRecord(module, level, "[%s:%d]%s", "Unit", 12, text);
}

TEST_F(History, KeepsCallsInOrderAsReadableTexts)
{
    Bound::Open("dp:/res/a", O_RDWR);
    Bound::Usleep(10000);
    Bound::Close(7);
    DlogFlush();

    EXPECT_THAT(platform::Calls(), ElementsAre("open(dp:/res/a,O_RDWR)=7", "usleep(10000)",
                                               "close(7)=0", "DlogFlush()=0"));
}

TEST_F(History, ShowsTheErrorOfAFailedCall)
{
    platform::SetNext("open", {platform::Fails(ENOENT), platform::Fails(99999)});

    Bound::Open("dp:/res/a", O_RDONLY);
    Bound::Open("dp:/res/a", O_RDONLY);

    EXPECT_THAT(platform::Calls(), ElementsAre("open(dp:/res/a,O_RDONLY)=-1 ENOENT",
                                               "open(dp:/res/a,O_RDONLY)=-1 errno 99999"));
}

TEST_F(History, FiltersByOneFunctionAndBySeveral)
{
    Bound::Open("dp:/res/a", O_RDWR);
    Bound::Usleep(1);
    Bound::Close(7);

    EXPECT_THAT(platform::Calls("usleep"), ElementsAre("usleep(1)"));
    EXPECT_THAT(platform::Calls({"close", "open"}),
                ElementsAre("open(dp:/res/a,O_RDWR)=7", "close(7)=0"));
}

TEST_F(History, ShowsQuietFunctionsOnlyWhenAsked)
{
    char byte = 0;
    memcpy_s(&byte, 1, "x", 1);

    EXPECT_THAT(platform::Calls(), IsEmpty());
    EXPECT_THAT(platform::Timeline(), IsEmpty());
    EXPECT_THAT(platform::Calls("memcpy_s"), ElementsAre("memcpy_s(1,1)=0"));
}

TEST_F(History, RefusesTheNameOfNoFunction)
{
    EXPECT_THROW(platform::Calls("opem"), std::invalid_argument);
    EXPECT_THROW(platform::SetNext("opem", {}), std::invalid_argument);
    EXPECT_THROW(platform::SetStanding("opem", platform::Usual()), std::invalid_argument);
    EXPECT_THROW(platform::ClearResults("opem"), std::invalid_argument);
    EXPECT_THROW(platform::Hold("opem"), std::invalid_argument);
    EXPECT_THROW(platform::WaitForHeld("opem", 0), std::invalid_argument);
    EXPECT_THROW(platform::ReleaseOne("opem"), std::invalid_argument);
    EXPECT_THROW(platform::ReleaseAll("opem"), std::invalid_argument);
    EXPECT_THROW(platform::StopHolding("opem"), std::invalid_argument);
    EXPECT_THROW(platform::Step("opem"), std::invalid_argument);
}

TEST_F(History, SortsRecordTextsByLevel)
{
    Write(54, 3, "an error");
    Write(54, 2, "a warning");
    Write(54, 1, "an information");
    Write(54 | kMilestoneBit, 1, "a milestone");
    Bound::Syslog(LOG_ERR, "a syslog error", 1);
    Bound::Syslog(LOG_WARNING, "a syslog warning", 2);
    Bound::Syslog(LOG_INFO, "a syslog information", 3);

    EXPECT_THAT(platform::Errors(), ElementsAre("an error", "a syslog error=1"));
    EXPECT_THAT(platform::Warnings(), ElementsAre("a warning", "a syslog warning=2"));
    EXPECT_THAT(platform::Infos(), ElementsAre("an information", "a syslog information=3"));
    EXPECT_THAT(platform::Milestones(), ElementsAre("a milestone"));
}

TEST_F(History, TellsOneTimelineOfCallsAndRecords)
{
    Bound::Open("dp:/res/a", O_RDWR);
    Write(54, 3, "ioctl failed");
    Bound::Syslog(LOG_INFO, "size", 5);
    Bound::Close(7);

    EXPECT_THAT(platform::Timeline(),
                ElementsAre("open(dp:/res/a,O_RDWR)=7", "log(54,3) ioctl failed",
                            "syslog(6) size=5", "close(7)=0"));
}

TEST_F(History, ComparesRecordsWithoutTheLine)
{
    platform::LogRecord record{platform::LogRoute::kDlog, 54, 3, "Unit", 12, "text"};
    platform::LogRecord other = record;
    other.line = 99;

    EXPECT_EQ(record, other);
    other.unit = "Other";
    EXPECT_NE(record, other);
}

TEST_F(History, PrintsRecordsForPeople)
{
    std::ostringstream out;
    out << platform::LogRecord{platform::LogRoute::kDlog, 54, 3, "Unit", 12, "text"} << '\n'
        << platform::LogRecord{platform::LogRoute::kSyslog, 0, 4, "", 0, "text"} << '\n'
        << platform::LevelQuery{27, 1};

    EXPECT_EQ(out.str(), "log(54,3) [Unit:12]text\nsyslog(4) text\nCheckLogLevel(27,1)");
}

TEST_F(History, ForgetsWhatHappenedAndKeepsWhatIsSet)
{
    platform::SetStanding("usleep", platform::Fails(EINVAL));
    Bound::Open("dp:/res/a", O_RDWR);
    CheckLogLevel(54, 1);

    platform::ClearHistory();

    EXPECT_THAT(platform::Calls(), IsEmpty());
    EXPECT_THAT(platform::LevelQueries(), IsEmpty());
    EXPECT_THAT(platform::OpenDescriptors(), ElementsAre(7));
    EXPECT_EQ(Bound::Usleep(1), -1);
}

TEST_F(History, MatchersTellRecordsApart)
{
    Write(54, 3, "an error");
    Write(27 | kMilestoneBit, 1, "a milestone");
    Bound::Syslog(LOG_WARNING, "number", 7);

    EXPECT_THAT(platform::Records(),
                ElementsAre(FromUnit("Unit", ErrorRecord(kClientModule, "an error")),
                            MilestoneRecord(kServerModule, ::testing::HasSubstr("mile")),
                            SyslogRecord(LOG_WARNING, "number=7")));
    EXPECT_THAT(platform::Records()[0], ::testing::Not(ErrorRecord(kServerModule, "an error")));
    EXPECT_THAT(platform::Records()[0], ::testing::Not(WarningRecord(kClientModule, "an error")));
    EXPECT_THAT(platform::Records()[0], ::testing::Not(InfoRecord(kClientModule, "an error")));
}

TEST_F(History, WaitUntilSeesWhatAnotherThreadDoes)
{
    std::thread other([] { Bound::Usleep(1); });

    EXPECT_TRUE(platform::WaitUntil([] { return platform::Calls("usleep").size() == 1; }));
    other.join();
}

TEST_F(History, WaitUntilSeesWhatHappensOutsideTheDouble)
{
    std::atomic<bool> isDone{false};
    std::thread other([&] { isDone = true; });

    EXPECT_TRUE(platform::WaitUntil([&] { return isDone.load(); }));
    other.join();
}

TEST_F(History, KeepsEveryCallOfManyThreads)
{
    std::thread threads[4];
    for (std::thread& thread : threads) {
        thread = std::thread([] {
            for (int i = 0; i < 100; ++i) {
                Bound::Usleep(5);
                Write(54, 1, "record");
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }

    EXPECT_THAT(platform::Calls("usleep"), SizeIs(400));
    EXPECT_THAT(platform::Infos(), SizeIs(400));
}

}  // namespace
