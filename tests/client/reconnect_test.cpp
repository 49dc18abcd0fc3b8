// How a dead owner is reached again, or given up.
#include <cerrno>
#include <memory>

#include "tests/client/client_internals.h"
#include "tests/client/watch_test.h"

namespace {

using Ownerlink::ClientInternals;
using platform::Fails;
using platform::Gives;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

class Reconnect : public WatchTest {};

TEST_F(Reconnect, OfAnOwnerWithoutARecordTakesTheseSteps)
{
    StartWatch();

    SweepWithRead(EPIPE);

    EXPECT_THAT(
        platform::Timeline(),
        ElementsAre("nanosleep(50000000)", "read(7,4)=-1 EPIPE",
                    "log(54,2) Secvfs has been read before !!!",
                    "log(54,1) Ss begin connect server. (file=dp:/res/dm)",
                    "open(dp:/res/dm,O_RDONLY)=8",
                    "log(16777270,1) Ss verify with server begin. dom=0 owner=0(DATAMASTER)",
                    "log(54,1) Ss verify with server, no ss record. file=dp:/res/dm",
                    "log(16777270,1) Reconnect success. (file=dp:/res/dm)", "close(7)=0",
                    "nanosleep(50000000)"));
    EXPECT_THAT(
        ClientRecords(),
        ElementsAre(Warning(HasSubstr("before")), Info(HasSubstr("begin connect")),
                    Milestone(HasSubstr("verify with server begin")),
                    Info(HasSubstr("no ss record")), Milestone(HasSubstr("Reconnect success"))));
}

TEST_F(Reconnect, KeepsWatchingUnderTheNewDescriptor)
{
    StartWatch();
    SweepWithRead(EPIPE);
    platform::ClearHistory();

    Sweep();
    Sweep();

    EXPECT_THAT(WatchCalls(), ElementsAre("read(8,4)=0", "read(8,4)=0"));
    EXPECT_THAT(platform::OpenDescriptors(), ElementsAre(8));
}

TEST_F(Reconnect, TriesAgainUntilTheOwnerIsUp)
{
    StartWatch();
    platform::SetNext("open", {Fails(ENOENT), Fails(ETIMEDOUT)});
    platform::SetNext("read", {Fails(EPIPE)});

    ASSERT_TRUE(platform::Step("nanosleep", 4));

    EXPECT_THAT(platform::Calls({"open", "nanosleep", "close"}),
                ElementsAre("nanosleep(50000000)", "open(dp:/res/dm,O_RDONLY)=-1 ENOENT",
                            "nanosleep(50000000)", "open(dp:/res/dm,O_RDONLY)=-1 ETIMEDOUT",
                            "nanosleep(50000000)", "open(dp:/res/dm,O_RDONLY)=8", "close(7)=0",
                            "nanosleep(50000000)"));
    EXPECT_THAT(platform::Errors(), IsEmpty());
}

// A number of its own, but not one that a reconnection takes: it is neither used nor closed.
TEST_F(Reconnect, CountsDescriptor0AsAFailure)
{
    StartWatch();
    platform::SetNext("open", {Gives(0)});
    platform::SetNext("read", {Fails(EPIPE)});

    ASSERT_TRUE(platform::Step("nanosleep", 3));

    EXPECT_THAT(WatchCalls(), ElementsAre("read(7,4)=-1 EPIPE", "open(dp:/res/dm,O_RDONLY)=0",
                                          "open(dp:/res/dm,O_RDONLY)=8", "close(7)=0"));
}

// The attempt at the deadline itself is not the last: 102 of them at 50 ms cover 5.05 s.
TEST_F(Reconnect, GivesUpALittleAfterFiveSeconds)
{
    platform::FreezeClock();
    StartWatch();
    platform::SetStanding("open", Fails(ENOENT));
    platform::SetNext("read", {Fails(EPIPE)});

    while (platform::Errors().empty()) {
        ASSERT_TRUE(platform::Step("nanosleep"));
    }

    EXPECT_EQ(platform::Calls("open").size(), 102u);
    EXPECT_THAT(ClientRecords(HasSubstr("Reconnect")),
                ElementsAre(Error("Reconnect failed. (file=dp:/res/dm)")));
    EXPECT_THAT(platform::Calls("close"), ElementsAre("close(7)=0"));
}

TEST_F(Reconnect, OwnerThatWasGivenUpIsNeverWatchedAgain)
{
    platform::FreezeClock();
    StartWatch();
    platform::SetStanding("open", Fails(ENOENT));
    platform::SetNext("read", {Fails(EPIPE)});
    while (platform::Errors().empty()) {
        ASSERT_TRUE(platform::Step("nanosleep"));
    }
    platform::ClearResults("open");
    platform::ClearHistory();

    Change("a");
    ASSERT_TRUE(platform::Step("nanosleep", 5));

    EXPECT_THAT(platform::Calls("read"), IsEmpty());
    EXPECT_THAT(platform::OpenDescriptors(), IsEmpty());
    EXPECT_TRUE(client.DumpGrp(DP, DATAMASTER));  // other calls still reach it
}

TEST_F(Reconnect, JumpOfTheClockEndsItAtTheNextAttempt)
{
    platform::FreezeClock();
    StartWatch();
    platform::SetStanding("open", Fails(ENOENT));
    platform::SetNext("read", {Fails(EPIPE)});
    ASSERT_TRUE(platform::Step("nanosleep", 2));
    platform::AdvanceClock(std::chrono::seconds(6));

    ASSERT_TRUE(platform::Step("nanosleep"));

    EXPECT_EQ(platform::Calls("open").size(), 2u);
    EXPECT_THAT(platform::Errors(), ElementsAre("Reconnect failed. (file=dp:/res/dm)"));
}

class ReconnectAtExit : public WatchTest {
protected:
    // Lets the destructor run up to its join.
    std::future<void> BeginEnd()
    {
        auto end = InBackground([this] { mortal.reset(); });
        EXPECT_TRUE(platform::WaitUntil([] { return !platform::Calls("close").empty(); }));
        return end;
    }

    std::unique_ptr<Ownerlink::OwnerlinkClientImpl> mortal =
        std::make_unique<Ownerlink::OwnerlinkClientImpl>();
};

TEST_F(ReconnectAtExit, DoesNotWaitOutTheDeadline)
{
    platform::FreezeClock();
    mortal->RegSysmonitorEventImpl({});
    StartWatch(*mortal);
    platform::SetStanding("open", Fails(ENOENT));
    platform::SetNext("read", {Fails(EPIPE)});
    ASSERT_TRUE(platform::Step("nanosleep", 3));
    ASSERT_EQ(platform::Calls("open").size(), 2u);
    auto end = BeginEnd();
    platform::StopHolding("nanosleep");
    end.get();

    EXPECT_EQ(platform::Calls("open").size(), 2u);
    EXPECT_THAT(platform::Errors(), ElementsAre("Reconnect failed. (file=dp:/res/dm)"));
    EXPECT_THAT(platform::Calls("close"), ElementsAre("close(7)=0", "close(8)=0"));
    EXPECT_EQ(platform::Milestones().back(), "Ss check and reconnect thread exit.");
}

TEST_F(ReconnectAtExit, IsNotEvenTriedOnceTheEndHasBegun)
{
    mortal->RegSysmonitorEventImpl({});
    StartWatch(*mortal);
    platform::Hold("read");
    ASSERT_TRUE(platform::ReleaseOne("nanosleep"));
    ASSERT_TRUE(platform::WaitForHeld("nanosleep", 1));
    ASSERT_TRUE(platform::ReleaseOne("nanosleep"));
    ASSERT_TRUE(platform::WaitForHeld("read", 1));
    auto end = BeginEnd();
    platform::SetNext("read", {Fails(EPIPE)});
    platform::StopHolding("nanosleep");
    platform::StopHolding("read");
    end.get();

    EXPECT_THAT(platform::Calls("open"), IsEmpty());
    EXPECT_THAT(platform::Infos(), Contains("Ss begin connect server. (file=dp:/res/dm)"));
    EXPECT_THAT(platform::Errors(), ElementsAre("Reconnect failed. (file=dp:/res/dm)"));
}

TEST_F(ReconnectAtExit, EndsTheSweepBeforeTheNextRead)
{
    platform::SetConfig(ConfigOf({{0, 0, kDataMaster}, {0, 1, kIam}}));
    mortal->RegSysmonitorEventImpl({});
    StartWatch(*mortal);
    auto end = BeginEnd();
    platform::StopHolding("nanosleep");
    end.get();

    EXPECT_THAT(platform::Calls("read"), IsEmpty());
}

TEST_F(Reconnect, DescriptorWithoutAnEntryIsClosed)
{
    const int fd = IAMFileOpen(kDataMaster, 0);
    platform::ClearHistory();

    EXPECT_FALSE(ClientInternals::Reconnect(client, fd));

    EXPECT_THAT(
        platform::Timeline(),
        ElementsAre("log(54,3) Try reconnect owner, cannot find fd record. fd=7", "close(7)=0"));
}

TEST_F(Reconnect, DescriptorOfADomainWithoutAFileIsClosedAndForgotten)
{
    const int fd = IAMFileOpen(kAppMgr, 0);
    ClientInternals::Watch(client, fd, {DP, APPMGR});
    client.LoadSecvfsCfg();
    platform::ClearHistory();

    EXPECT_FALSE(ClientInternals::Reconnect(client, fd));

    EXPECT_THAT(platform::Errors(),
                ElementsAre(HasSubstr("GetResFileName failed"), "Res file name is null"));
    EXPECT_THAT(platform::Calls(), ElementsAre("close(7)=0"));
    EXPECT_EQ(ClientInternals::Watched(client), 0u);
}

}  // namespace
