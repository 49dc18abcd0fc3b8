// The event queue's registration, and the files that open and close it.
#include <cstdlib>

#include "tests/server/server_test.h"

namespace {

using ProcMgr::OwnerlinkServerImpl;
using ProcMgr::ServerInternals;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr char kQueue[] = "dp:/res/pm/sys_event";
constexpr int kQueueNotRegistered = 15794952;

bool IsZero(const IAMShmPool& pool)
{
    const IAMShmPool zero{};
    return std::memcmp(&pool, &zero, sizeof(pool)) == 0;
}

class EventQueue : public ServerTest {};

TEST_F(EventQueue, IsRegisteredWithItsHooks)
{
    EXPECT_EQ(server.InitSysEventServer(kQueue), 0);

    ASSERT_EQ(platform::QueueServices().size(), 1u);
    const platform::QueueService service = platform::QueueServices()[0];
    EXPECT_EQ(service.name, kQueue);
    EXPECT_EQ(service.timeoutMs, 5000u);
    EXPECT_EQ(service.reserved, 0u);
    EXPECT_EQ(service.ops.reserved0, nullptr);
    EXPECT_EQ(service.ops.reserved1, nullptr);
    EXPECT_EQ(service.ops.open, &OwnerlinkServerImpl::OwnerlinkServerOpen);
    EXPECT_EQ(service.ops.close, &OwnerlinkServerImpl::OwnerlinkServerClose);
    EXPECT_EQ(service.ops.reserved4, nullptr);
}

TEST_F(EventQueue, RegistrationSpeaksToSyslogFromItsFirstWord)
{
    server.InitSysEventServer(kQueue);

    EXPECT_THAT(platform::Timeline(),
                ElementsAre("syslog(6) InitSysEventServer IAMRegisterQueueService begin. "
                            "serviceName=dp:/res/pm/sys_event",
                            "IAMRegisterQueueService(dp:/res/pm/sys_event)=0",
                            "syslog(6) InitSysEventServer IAMRegisterQueueService success, "
                            "serviceName=dp:/res/pm/sys_event"));
    EXPECT_THAT(platform::LevelQueries(), IsEmpty());
}

TEST_F(EventQueue, FailedRegistrationHasItsCodeAndLeavesSyslogOn)
{
    platform::SetNext("IAMRegisterQueueService", {platform::Gives(-7)});

    EXPECT_EQ(server.InitSysEventServer("q"), kQueueNotRegistered);

    EXPECT_THAT(platform::Records(),
                ElementsAre(SyslogRecord(LOG_INFO,
                                         "InitSysEventServer IAMRegisterQueueService begin. "
                                         "serviceName=q"),
                            SyslogRecord(LOG_ERR,
                                         "InitSysEventServer IAMRegisterQueueService failed "
                                         "err=-7,file=q")));
    platform::ClearHistory();
    Send(7);
    EXPECT_THAT(platform::Records(),
                ElementsAre(SyslogRecord(LOG_ERR, "OwnerlinkServer recvs invalid cmd=7")));
}

// The switch is the object's to turn: whoever derives from the server may leave it off.
TEST_F(EventQueue, TurnsOnSyslogThroughTheServersOwnSwitch)
{
    struct QuietServer : OwnerlinkServerImpl {
        int EnableSyslog() override { return ++switched; }
        int switched = 0;
    } quiet;

    EXPECT_EQ(quiet.InitSysEventServer("q"), 0);

    EXPECT_EQ(quiet.switched, 1);
    EXPECT_THAT(platform::Records(),
                ElementsAre(Info("InitSysEventServer IAMRegisterQueueService begin. serviceName=q"),
                            Info("InitSysEventServer IAMRegisterQueueService success, "
                                 "serviceName=q")));
}

TEST_F(EventQueue, FailedRegistrationIsAnErrorOfThePlatformLogToo)
{
    struct QuietServer : OwnerlinkServerImpl {
        int EnableSyslog() override { return 0; }
    } quiet;
    platform::SetNext("IAMRegisterQueueService", {platform::Gives(-7)});

    EXPECT_EQ(quiet.InitSysEventServer("q"), kQueueNotRegistered);

    EXPECT_THAT(platform::Errors(),
                ElementsAre("InitSysEventServer IAMRegisterQueueService failed err=-7,file=q"));
}

TEST_F(EventQueue, TakesAPositiveResultForSuccess)
{
    platform::SetNext("IAMRegisterQueueService", {platform::Gives(1)});

    EXPECT_EQ(server.InitSysEventServer("q"), 0);
}

TEST_F(EventQueue, IsRegisteredAgainByASecondCall)
{
    server.InitSysEventServer("a");
    server.InitSysEventServer("b");

    EXPECT_THAT(platform::Calls(),
                ElementsAre("IAMRegisterQueueService(a)=0", "IAMRegisterQueueService(b)=0"));
}

TEST_F(EventQueue, HasFiveSecondsInEveryRunMode)
{
    ::setenv("DATAMASTER_RUN_MODE", "1", 1);

    server.InitSysEventServer("q");

    ::unsetenv("DATAMASTER_RUN_MODE");
    EXPECT_EQ(platform::QueueServices().at(0).timeoutMs, 5000u);
}

TEST_F(EventQueue, PublishesNoResourceFile)
{
    server.InitSysEventServer("q");
    server.RegDumpCallBackImpl({}, kResFile);

    EXPECT_THAT(platform::Calls("IAMRegisterService"),
                ElementsAre("IAMRegisterService(dp:/res/app)=0"));
}

class EventFiles : public ServerTest {
protected:
    // Open files and their pools outlast the server.
    ~EventFiles() override { OwnerlinkServerImpl::OwnerlinkServerClose(file); }

    int Open() { return OwnerlinkServerImpl::OwnerlinkServerOpen(file); }
    int Close() { return OwnerlinkServerImpl::OwnerlinkServerClose(file); }

    IamQfsMgrFile* file = platform::NewQueueFile("f");
    IamQfsMgrFile* nameless = platform::NewQueueFile(nullptr);
};

TEST_F(EventFiles, OpenMakesAPool)
{
    EXPECT_EQ(Open(), 0);

    EXPECT_THAT(platform::Calls(), ElementsAre("IAMShmRegisterPoolWithConfig(f,160,1000)=0"));
    EXPECT_THAT(platform::Records(),
                ElementsAre(Warning("OwnerlinkServerOpen is called file=f"),
                            Info("OwnerlinkServerOpen: Register ShmPool success, fileName=f")));
    EXPECT_EQ(ServerInternals::Files(), 1u);
    EXPECT_FALSE(IsZero(ServerInternals::PoolOf(file)));
}

TEST_F(EventFiles, FailedOpenLeavesAnEntryWithAZeroedPool)
{
    platform::SetNext("IAMShmRegisterPoolWithConfig", {platform::Gives(-12)});

    EXPECT_EQ(Open(), -12);

    EXPECT_THAT(platform::Records(),
                ElementsAre(Warning("OwnerlinkServerOpen is called file=f"),
                            Error("OwnerlinkServerOpen: Register ShmPool failed, fileName=f, "
                                  "err=-12")));
    EXPECT_EQ(ServerInternals::Files(), 1u);
    EXPECT_TRUE(IsZero(ServerInternals::PoolOf(file)));
}

TEST_F(EventFiles, PositiveResultOfThePoolIsSuccess)
{
    platform::SetNext("IAMShmRegisterPoolWithConfig", {platform::Gives(5)});

    EXPECT_EQ(Open(), 0);
}

TEST_F(EventFiles, SecondOpenOverwritesTheEntryAndAbandonsItsPool)
{
    Open();
    const IAMShmPool first = ServerInternals::PoolOf(file);

    EXPECT_EQ(Open(), 0);

    EXPECT_EQ(ServerInternals::Files(), 1u);
    const IAMShmPool second = ServerInternals::PoolOf(file);
    EXPECT_NE(std::memcmp(&first, &second, sizeof(first)), 0);
    EXPECT_THAT(platform::Calls("IAMShmDestroyPool"), IsEmpty());
    EXPECT_EQ(platform::PoolsInUse(), 2u);
}

TEST_F(EventFiles, SecondOpenThatFailsZeroesTheEntry)
{
    Open();
    platform::SetNext("IAMShmRegisterPoolWithConfig", {platform::Gives(-1)});

    EXPECT_EQ(Open(), -1);

    EXPECT_TRUE(IsZero(ServerInternals::PoolOf(file)));
    EXPECT_THAT(platform::Calls("IAMShmDestroyPool"), IsEmpty());
}

TEST_F(EventFiles, CloseDestroysThePoolAndForgetsTheFile)
{
    Open();
    platform::ClearHistory();

    EXPECT_EQ(Close(), 0);

    EXPECT_THAT(platform::Calls(), ElementsAre("IAMShmDestroyPool(f)=0"));
    EXPECT_THAT(platform::Records(), ElementsAre(Warning("OwnerlinkServerClose is called file=f")));
    EXPECT_EQ(ServerInternals::Files(), 0u);
    EXPECT_EQ(platform::PoolsInUse(), 0u);
}

TEST_F(EventFiles, FailedCloseLeavesTheEntryAsItWas)
{
    Open();
    const IAMShmPool before = ServerInternals::PoolOf(file);
    platform::ClearHistory();
    platform::SetNext("IAMShmDestroyPool", {platform::Gives(-5)});

    EXPECT_EQ(Close(), -5);

    EXPECT_THAT(platform::Records(),
                ElementsAre(Warning("OwnerlinkServerClose is called file=f"),
                            Error("OwnerlinkServerClose: Free poolHandle failed, err=-5 file=f")));
    const IAMShmPool after = ServerInternals::PoolOf(file);
    EXPECT_EQ(std::memcmp(&before, &after, sizeof(before)), 0);
    EXPECT_EQ(server.ReportSysEvent({1}), 0);
    EXPECT_THAT(platform::QueuedEvents(file), ElementsAre("1"));
}

TEST_F(EventFiles, PositiveResultOfTheDestructionIsSuccess)
{
    Open();
    platform::SetNext("IAMShmDestroyPool", {platform::Gives(1)});

    EXPECT_EQ(Close(), 0);

    EXPECT_EQ(ServerInternals::Files(), 0u);
}

TEST_F(EventFiles, CloseOfAnUnknownFileDestroysAZeroedPool)
{
    EXPECT_EQ(Close(), 0);

    EXPECT_THAT(platform::Calls(), ElementsAre("IAMShmDestroyPool()=0"));
    EXPECT_EQ(ServerInternals::Files(), 0u);
}

TEST_F(EventFiles, FailedCloseOfAnUnknownFileLeavesAZeroedEntry)
{
    platform::SetNext("IAMShmDestroyPool", {platform::Gives(-1)});

    EXPECT_EQ(Close(), -1);

    EXPECT_EQ(ServerInternals::Files(), 1u);
    EXPECT_TRUE(IsZero(ServerInternals::PoolOf(file)));
}

TEST_F(EventFiles, NullFileIsRefusedInSilence)
{
    EXPECT_EQ(OwnerlinkServerImpl::OwnerlinkServerOpen(nullptr), -1);
    EXPECT_EQ(OwnerlinkServerImpl::OwnerlinkServerClose(nullptr), -1);

    EXPECT_THAT(platform::Timeline(), IsEmpty());
    EXPECT_EQ(ServerInternals::Files(), 0u);
}

TEST_F(EventFiles, NamelessFileIsLoggedAsEmptyAndItsPoolIsNameless)
{
    EXPECT_EQ(OwnerlinkServerImpl::OwnerlinkServerOpen(nameless), 0);
    EXPECT_EQ(OwnerlinkServerImpl::OwnerlinkServerClose(nameless), 0);

    EXPECT_THAT(platform::Calls("IAMShmRegisterPoolWithConfig"),
                ElementsAre("IAMShmRegisterPoolWithConfig(null,160,1000)=0"));
    EXPECT_THAT(platform::Records(),
                ElementsAre(Warning("OwnerlinkServerOpen is called file="),
                            Info("OwnerlinkServerOpen: Register ShmPool success, fileName="),
                            Warning("OwnerlinkServerClose is called file=")));
}

TEST_F(EventFiles, FailuresOfANamelessFileAreLoggedAsEmpty)
{
    platform::SetNext("IAMShmRegisterPoolWithConfig", {platform::Gives(-1)});
    platform::SetNext("IAMShmDestroyPool", {platform::Gives(-2)});

    OwnerlinkServerImpl::OwnerlinkServerOpen(nameless);
    OwnerlinkServerImpl::OwnerlinkServerClose(nameless);

    EXPECT_THAT(platform::Errors(),
                ElementsAre("OwnerlinkServerOpen: Register ShmPool failed, fileName=, err=-1",
                            "OwnerlinkServerClose: Free poolHandle failed, err=-2 file="));
}

TEST_F(EventFiles, AreLoggedToSyslogInTheSameWords)
{
    server.EnableSyslog();
    Open();
    platform::SetNext("IAMShmDestroyPool", {platform::Gives(-1)});
    Close();
    platform::SetNext("IAMShmRegisterPoolWithConfig", {platform::Gives(-1)});
    Open();

    const auto called = SyslogRecord(LOG_WARNING, "OwnerlinkServerOpen is called file=f");
    EXPECT_THAT(
        platform::Records(),
        ElementsAre(
            called,
            SyslogRecord(LOG_INFO, "OwnerlinkServerOpen: Register ShmPool success, fileName=f"),
            SyslogRecord(LOG_WARNING, "OwnerlinkServerClose is called file=f"),
            SyslogRecord(LOG_ERR, "OwnerlinkServerClose: Free poolHandle failed, err=-1 file=f"),
            called,
            SyslogRecord(LOG_ERR,
                         "OwnerlinkServerOpen: Register ShmPool failed, fileName=f, err=-1")));
    EXPECT_THAT(platform::LevelQueries(), IsEmpty());
}

TEST_F(EventFiles, OpenMoreThanTheServerLives)
{
    {
        OwnerlinkServerImpl other;
        OwnerlinkServerImpl::OwnerlinkServerOpen(file);
    }

    EXPECT_EQ(ServerInternals::Files(), 1u);
    EXPECT_EQ(platform::PoolsInUse(), 1u);
    EXPECT_EQ(Close(), 0);
}

}  // namespace
