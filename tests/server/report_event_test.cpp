// One event to every open file: the bytes, the order, and each way to fail.
#include "tests/server/report_event.h"

namespace {

using ProcMgr::OwnerlinkServerImpl;
using ProcMgr::ServerInternals;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

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

}  // namespace
