// What a report of an event says in syslog, and what may happen beside it.
#include <syslog.h>

#include <chrono>

#include "tests/server/report_event.h"

namespace {

using ProcMgr::OwnerlinkServerImpl;
using ProcMgr::ServerInternals;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

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

    EXPECT_EQ(close.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
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
