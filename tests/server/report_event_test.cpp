// One event to every open file: the bytes, the order, and each way to fail.
#include <syslog.h>

#include <algorithm>
#include <functional>

#include "tests/server/server_test.h"

namespace {

using ProcMgr::OwnerlinkServerImpl;
using ProcMgr::ServerInternals;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr int kNoFile = 15794177;
constexpr int kNoBlock = 15794697;
constexpr int kWriteFailed = 15794179;
constexpr int kEnqueueFailed = 15794699;

// Two open files, "a" at the lower address, in which order the server walks them.
class ReportEvent : public ServerTest {
protected:
    ReportEvent()
    {
        OwnerlinkServerImpl::OwnerlinkServerOpen(first);
        OwnerlinkServerImpl::OwnerlinkServerOpen(second);
        platform::ClearHistory();
    }

    ~ReportEvent() override
    {
        OwnerlinkServerImpl::OwnerlinkServerClose(first);
        OwnerlinkServerImpl::OwnerlinkServerClose(second);
    }

    void CloseSecond()
    {
        OwnerlinkServerImpl::OwnerlinkServerClose(second);
        platform::ClearHistory();
    }

    int Report(uint32_t state = 258) { return server.ReportSysEvent({state}); }

    // The server orders by address, so the records are brought into that order first.
    struct Pair {
        IamQfsMgrFile* low = platform::NewQueueFile("a");
        IamQfsMgrFile* high = platform::NewQueueFile("b");
    };
    Pair files;
    IamQfsMgrFile* first = std::min(files.low, files.high, std::less<>());
    IamQfsMgrFile* second = std::max(files.low, files.high, std::less<>());
    std::string a = first->name;
    std::string b = second->name;
};

TEST_F(ReportEvent, GoesToEachFileInTheOrderOfTheMap)
{
    EXPECT_EQ(Report(), 0);

    EXPECT_THAT(platform::Timeline(),
                ElementsAre("log(27,1) ReportSysEvent. (state=258,file=" + a + ")",
                            "IAMShmHandleMalloc(" + a + ",3)=0", "IAMShmWrite(" + a + ",3,0)=0",
                            "IAMDataEnqueue(" + a + ")=0",
                            "log(27,1) ReportSysEvent. (state=258,file=" + b + ")",
                            "IAMShmHandleMalloc(" + b + ",3)=0", "IAMShmWrite(" + b + ",3,0)=0",
                            "IAMDataEnqueue(" + b + ")=0"));
    EXPECT_THAT(platform::QueuedEvents(first), ElementsAre("258"));
    EXPECT_THAT(platform::QueuedEvents(second), ElementsAre("258"));
    EXPECT_THAT(platform::Records(),
                ElementsAre(Info("ReportSysEvent. (state=258,file=" + a + ")"),
                            Info("ReportSysEvent. (state=258,file=" + b + ")")));
    EXPECT_EQ(platform::BlocksInUse(), 0u);
}

TEST_F(ReportEvent, IsASyslogRecordForEachFileOnceSyslogIsOn)
{
    server.EnableSyslog();

    EXPECT_EQ(Report(), 0);

    EXPECT_THAT(platform::Records(),
                ElementsAre(SyslogRecord(LOG_INFO, "ReportSysEvent. (state=258,file=" + a + ")"),
                            SyslogRecord(LOG_INFO, "ReportSysEvent. (state=258,file=" + b + ")")));
}

TEST_F(ReportEvent, TroublesSyslogWithNoRecordThatItsMaskDrops)
{
    server.EnableSyslog();
    const int former = setlogmask(LOG_UPTO(LOG_ERR));
    platform::SetNext("IAMShmHandleMalloc", {platform::Gives(-7)});

    EXPECT_EQ(Report(), kNoBlock);

    EXPECT_THAT(platform::Records(),
                ElementsAre(SyslogRecord(
                    LOG_ERR, "ReportSysEvent, Malloc block failed. (err=-7,resFile=" + a + ")")));
    EXPECT_THAT(platform::QueuedEvents(second), ElementsAre("258"));
    setlogmask(former);
}

TEST_F(ReportEvent, SpeaksToSyslogAgainOnceItsMaskLetsItThrough)
{
    server.EnableSyslog();
    const int former = setlogmask(LOG_UPTO(LOG_NOTICE));
    EXPECT_EQ(Report(), 0);
    EXPECT_THAT(platform::Records(), IsEmpty());

    setlogmask(LOG_UPTO(LOG_INFO));
    EXPECT_EQ(Report(), 0);

    EXPECT_EQ(platform::Records().size(), 2u);
    setlogmask(former);
}

TEST_F(ReportEvent, IsTheStateInDecimalDigits)
{
    for (const uint32_t state : {0u, 1u, 9u, 10u, 258u, 4294967295u}) {
        EXPECT_EQ(Report(state), 0);
    }

    EXPECT_THAT(platform::QueuedEvents(first),
                ElementsAre("0", "1", "9", "10", "258", "4294967295"));
    EXPECT_THAT(platform::Infos(),
                ::testing::Contains("ReportSysEvent. (state=4294967295,file=" + a + ")"));
}

TEST_F(ReportEvent, WithNoOpenFileSucceedsInSilence)
{
    OwnerlinkServerImpl::OwnerlinkServerClose(first);
    CloseSecond();

    EXPECT_EQ(Report(), 0);

    EXPECT_THAT(platform::Timeline(), IsEmpty());
}

TEST_F(ReportEvent, NoBlockForTheFirstStillReachesTheSecond)
{
    platform::SetNext("IAMShmHandleMalloc", {platform::Gives(-12)}, a);

    EXPECT_EQ(Report(), kNoBlock);

    EXPECT_THAT(platform::QueuedEvents(first), IsEmpty());
    EXPECT_THAT(platform::QueuedEvents(second), ElementsAre("258"));
    EXPECT_THAT(
        platform::Records(),
        ElementsAre(Info("ReportSysEvent. (state=258,file=" + a + ")"),
                    Error("ReportSysEvent, Malloc block failed. (err=-12,resFile=" + a + ")"),
                    Info("ReportSysEvent. (state=258,file=" + b + ")")));
    EXPECT_THAT(platform::Calls("IAMShmFree"), IsEmpty());
}

TEST_F(ReportEvent, AnyOtherResultThanZeroIsNoBlock)
{
    CloseSecond();
    platform::SetNext("IAMShmHandleMalloc", {platform::Gives(1)});

    EXPECT_EQ(Report(), kNoBlock);

    EXPECT_THAT(platform::Errors(),
                ElementsAre("ReportSysEvent, Malloc block failed. (err=1,resFile=" + a + ")"));
    EXPECT_THAT(platform::Calls("IAMShmWrite"), IsEmpty());
}

TEST_F(ReportEvent, FailedWriteGivesTheBlockBack)
{
    CloseSecond();
    platform::SetNext("IAMShmWrite", {platform::Gives(-3)});

    EXPECT_EQ(Report(), kWriteFailed);

    EXPECT_THAT(platform::Calls(),
                ElementsAre("IAMShmHandleMalloc(" + a + ",3)=0", "IAMShmWrite(" + a + ",3,0)=-3",
                            "IAMShmFree(" + a + ")=0"));
    EXPECT_THAT(platform::Records(),
                ElementsAre(Info("ReportSysEvent. (state=258,file=" + a + ")"),
                            Error("ReportSysEvent: IAMShmWrite failed, err=-3, file=" + a)));
    EXPECT_EQ(platform::BlocksInUse(), 0u);
}

TEST_F(ReportEvent, PositiveResultOfAWriteIsAFailure)
{
    CloseSecond();
    platform::SetNext("IAMShmWrite", {platform::Gives(3)});

    EXPECT_EQ(Report(), kWriteFailed);
}

// The record of the free shows the error that led to it.
TEST_F(ReportEvent, FailedFreeAfterAWriteShowsTheWritesError)
{
    CloseSecond();
    platform::SetNext("IAMShmWrite", {platform::Gives(-3)});
    platform::SetNext("IAMShmFree", {platform::Gives(-99)});

    EXPECT_EQ(Report(), kWriteFailed);

    EXPECT_THAT(platform::Records(),
                ElementsAre(Info("ReportSysEvent. (state=258,file=" + a + ")"),
                            Error("ReportSysEvent: IAMShmFree failed, err=-3, file=" + a),
                            Error("ReportSysEvent: IAMShmWrite failed, err=-3, file=" + a)));
}

TEST_F(ReportEvent, FailedEnqueueGivesTheBlockBack)
{
    CloseSecond();
    platform::SetNext("IAMDataEnqueue", {platform::Gives(-4)});

    EXPECT_EQ(Report(), kEnqueueFailed);

    EXPECT_THAT(platform::Calls(),
                ElementsAre("IAMShmHandleMalloc(" + a + ",3)=0", "IAMShmWrite(" + a + ",3,0)=0",
                            "IAMDataEnqueue(" + a + ")=-4", "IAMShmFree(" + a + ")=0"));
    EXPECT_THAT(platform::Records(),
                ElementsAre(Info("ReportSysEvent. (state=258,file=" + a + ")"),
                            Error("ReportSysEvent: IAMDataEnqueue failed, err=-4, file=" + a)));
    EXPECT_EQ(platform::BlocksInUse(), 0u);
}

TEST_F(ReportEvent, FailedFreeAfterAnEnqueueShowsTheEnqueuesError)
{
    CloseSecond();
    platform::SetNext("IAMDataEnqueue", {platform::Gives(-4)});
    platform::SetNext("IAMShmFree", {platform::Gives(7)});

    EXPECT_EQ(Report(), kEnqueueFailed);

    EXPECT_THAT(platform::Records(),
                ElementsAre(Info("ReportSysEvent. (state=258,file=" + a + ")"),
                            Error("ReportSysEvent: IAMShmFree failed, err=-4, file=" + a),
                            Error("ReportSysEvent: IAMDataEnqueue failed, err=-4, file=" + a)));
}

TEST_F(ReportEvent, PositiveResultOfAnEnqueueIsSuccess)
{
    CloseSecond();
    platform::SetNext("IAMDataEnqueue", {platform::Gives(4)});

    EXPECT_EQ(Report(), 0);

    EXPECT_THAT(platform::Calls("IAMShmFree"), IsEmpty());
}

TEST_F(ReportEvent, ResultIsThatOfTheLastFailure)
{
    platform::SetNext("IAMShmHandleMalloc", {platform::Gives(-1)}, a);
    platform::SetNext("IAMDataEnqueue", {platform::Gives(-1)}, b);
    EXPECT_EQ(Report(), kEnqueueFailed);

    platform::SetNext("IAMShmWrite", {platform::Gives(-1)}, a);
    platform::SetNext("IAMShmHandleMalloc", {platform::Gives(-1)}, b);
    EXPECT_EQ(Report(), kNoBlock);
}

TEST_F(ReportEvent, LaterReportIsNotHeldToAnEarlierFailure)
{
    platform::SetNext("IAMShmHandleMalloc", {platform::Gives(-1)});
    EXPECT_EQ(Report(), kNoBlock);

    EXPECT_EQ(Report(), 0);
}

// No hook stores a null file; should one stand there all the same, the others are still served.
TEST_F(ReportEvent, NullFileIsPassedOver)
{
    ServerInternals::AddFile(nullptr);
    CloseSecond();

    EXPECT_EQ(Report(), kNoFile);

    EXPECT_THAT(platform::Records(),
                ElementsAre(Error("ReportSysEvent: Please wait to open the resFile"),
                            Info("ReportSysEvent. (state=258,file=" + a + ")")));
    EXPECT_THAT(platform::QueuedEvents(first), ElementsAre("258"));
}

TEST_F(ReportEvent, TriesThePoolThatCouldNotBeRegistered)
{
    CloseSecond();
    platform::SetNext("IAMShmRegisterPoolWithConfig", {platform::Gives(-1)});
    OwnerlinkServerImpl::OwnerlinkServerOpen(second);
    platform::ClearHistory();

    EXPECT_EQ(Report(), kNoBlock);

    EXPECT_THAT(platform::Calls("IAMShmHandleMalloc"),
                ElementsAre("IAMShmHandleMalloc(" + a + ",3)=0", "IAMShmHandleMalloc(,3)=-22"));
    EXPECT_THAT(platform::Errors(),
                ElementsAre("ReportSysEvent, Malloc block failed. (err=-22,resFile=" + b + ")"));
}

TEST_F(ReportEvent, SucceedsWithSuchAPoolWhereThePlatformTakesIt)
{
    CloseSecond();
    platform::SetNext("IAMShmRegisterPoolWithConfig", {platform::Gives(-1)});
    OwnerlinkServerImpl::OwnerlinkServerOpen(first);
    platform::SetNext("IAMShmHandleMalloc", {platform::Gives(0)});
    platform::SetNext("IAMShmWrite", {platform::Gives(0)});
    platform::SetNext("IAMDataEnqueue", {platform::Gives(0)});
    platform::ClearHistory();

    EXPECT_EQ(Report(), 0);

    EXPECT_THAT(platform::Calls(), ElementsAre("IAMShmHandleMalloc(,3)=0", "IAMShmWrite(,3,0)=0",
                                               "IAMDataEnqueue(" + a + ")=0"));
}

TEST_F(ReportEvent, GoesToTheFilesOfTheProcessFromAnyServerObject)
{
    OwnerlinkServerImpl other;

    EXPECT_EQ(other.ReportSysEvent({3}), 0);

    EXPECT_THAT(platform::QueuedEvents(first), ElementsAre("3"));
    EXPECT_THAT(platform::QueuedEvents(second), ElementsAre("3"));
}

TEST_F(ReportEvent, FullPoolFailsForThatFileAlone)
{
    for (int event = 0; event < 1000; ++event) {
        ASSERT_EQ(Report(1), 0);
        platform::TakeEvents(second);
    }

    EXPECT_EQ(Report(2), kNoBlock);

    EXPECT_THAT(platform::TakeEvents(second), ElementsAre("2"));
    EXPECT_EQ(platform::TakeEvents(first).size(), 1000u);
    EXPECT_EQ(Report(3), 0);
    EXPECT_THAT(platform::QueuedEvents(first), ElementsAre("3"));
}

TEST_F(ReportEvent, NamelessFileIsLoggedAsEmpty)
{
    CloseSecond();
    OwnerlinkServerImpl::OwnerlinkServerClose(first);
    IamQfsMgrFile* const nameless = platform::NewQueueFile(nullptr);
    OwnerlinkServerImpl::OwnerlinkServerOpen(nameless);
    platform::ClearHistory();
    platform::SetNext("IAMShmFree", platform::Times(2, platform::Gives(-1)));
    platform::SetNext("IAMShmHandleMalloc", {platform::Gives(-1)});
    platform::SetNext("IAMShmWrite", {platform::Gives(-2)});
    platform::SetNext("IAMDataEnqueue", {platform::Gives(-3)});

    Report();
    Report();
    Report();

    EXPECT_THAT(platform::Errors(),
                ElementsAre("ReportSysEvent, Malloc block failed. (err=-1,resFile=)",
                            "ReportSysEvent: IAMShmFree failed, err=-2, file=",
                            "ReportSysEvent: IAMShmWrite failed, err=-2, file=",
                            "ReportSysEvent: IAMShmFree failed, err=-3, file=",
                            "ReportSysEvent: IAMDataEnqueue failed, err=-3, file="));
    OwnerlinkServerImpl::OwnerlinkServerClose(nameless);
}

TEST_F(ReportEvent, IsLoggedToSyslogInTheSameWords)
{
    CloseSecond();
    ServerInternals::AddFile(nullptr);
    server.EnableSyslog();
    platform::SetNext("IAMShmWrite", {platform::Gives(-2)});
    platform::SetNext("IAMShmFree", {platform::Gives(-9)});

    Report();

    EXPECT_THAT(
        platform::Records(),
        ElementsAre(
            SyslogRecord(LOG_ERR, "ReportSysEvent: Please wait to open the resFile"),
            SyslogRecord(LOG_INFO, "ReportSysEvent. (state=258,file=" + a + ")"),
            SyslogRecord(LOG_ERR, "ReportSysEvent: IAMShmFree failed, err=-2, file=" + a),
            SyslogRecord(LOG_ERR, "ReportSysEvent: IAMShmWrite failed, err=-2, file=" + a)));
    EXPECT_THAT(platform::LevelQueries(), IsEmpty());
}

TEST_F(ReportEvent, FileCannotCloseInTheMiddleOfAReport)
{
    platform::Hold("IAMDataEnqueue", b);
    auto report = InBackground([this] { return Report(); });
    ASSERT_TRUE(platform::WaitForHeld("IAMDataEnqueue", 1));
    auto close = InBackground([this] { return OwnerlinkServerImpl::OwnerlinkServerClose(second); });

    platform::StopHolding("IAMDataEnqueue");

    EXPECT_EQ(report.get(), 0);
    EXPECT_EQ(close.get(), 0);
    EXPECT_THAT(platform::Calls({"IAMDataEnqueue", "IAMShmDestroyPool"}),
                ElementsAre("IAMDataEnqueue(" + a + ")=0", "IAMDataEnqueue(" + b + ")=0",
                            "IAMShmDestroyPool(" + b + ")=0"));
}

TEST_F(ReportEvent, RequestsAreServedDuringAReport)
{
    platform::Hold("IAMDataEnqueue", a);
    auto report = InBackground([this] { return Report(); });
    ASSERT_TRUE(platform::WaitForHeld("IAMDataEnqueue", 1));

    EXPECT_EQ(Send(ProcMgr::CANCEL_SUSPEND).Payload(), "0#");
    EXPECT_EQ(Send(ProcMgr::DUMP_APP).Payload(), "0");

    platform::StopHolding("IAMDataEnqueue");
    EXPECT_EQ(report.get(), 0);
}

TEST_F(ReportEvent, ReportsAndHooksMeet)
{
    constexpr int kRounds = 100;
    auto hooks = InBackground([this] {
        for (int round = 0; round < kRounds; ++round) {
            OwnerlinkServerImpl::OwnerlinkServerClose(second);
            OwnerlinkServerImpl::OwnerlinkServerOpen(second);
        }
    });
    auto reports = InBackground([this] {
        for (int round = 0; round < kRounds; ++round) {
            EXPECT_EQ(Report(), 0);
        }
    });
    for (int round = 0; round < kRounds; ++round) {
        EXPECT_EQ(Report(), 0);
    }

    reports.get();
    hooks.get();
    EXPECT_EQ(platform::QueuedEvents(first).size(), 2u * kRounds);
}

}  // namespace
