// The watch on the owners: how it starts, and what it makes of what it reads.
#include <cerrno>
#include <system_error>

#include "tests/client/watch_test.h"

namespace {

using platform::Fails;
using platform::Gives;
using platform::Times;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

const std::vector<ConfigEntry> kThreeOwners = {{0, 0, kDataMaster}, {0, 1, kIam}, {0, 2, kAppMgr}};

class Watch : public WatchTest {};

TEST_F(Watch, DoesNotExistBeforeTheFirstChange)
{
    platform::AnswerAll(Replies("1#"));
    std::vector<AppStatus> answers;

    client.SetSystemState(2, 100);
    client.QueryAppState({}, answers, 100, 1);
    client.UpdateCfg();

    EXPECT_THAT(platform::Calls("open"), Not(Contains(HasSubstr("O_RDONLY"))));
    EXPECT_THAT(platform::Calls("prctl"), Not(Contains(HasSubstr("SsCheckAndReconnect"))));
    EXPECT_THAT(platform::OpenDescriptors(), IsEmpty());
}

TEST_F(Watch, StartsWithTheFirstChangeWhateverItsList)
{
    platform::SetConfig(ConfigOf(kThreeOwners));

    EXPECT_EQ(client.ChangeAppState({}, results, 100), 0u);

    ASSERT_TRUE(platform::WaitForHeld("nanosleep", 1));
    EXPECT_THAT(
        platform::Calls({"open", "prctl", "read", "nanosleep", "close"}),
        ElementsAre("open(dp:/res/dm,O_RDONLY)=7", "open(dp:/res/iam,O_RDONLY)=8",
                    "open(dp:/res/app,O_RDONLY)=9", "prctl(PR_SET_NAME,SsCheckAndReconnect)=0",
                    "read(7,4)=0", "nanosleep(50000000)"));
    EXPECT_THAT(ClientRecords(HasSubstr("Init connection")),
                ElementsAre(Milestone("Init connection to owner. file=dp:/res/dm fd=7"),
                            Milestone("Init connection to owner. file=dp:/res/iam fd=8"),
                            Milestone("Init connection to owner. file=dp:/res/app fd=9")));
    EXPECT_THAT(results, IsEmpty());
}

TEST_F(Watch, StartsOnceInTheProcess)
{
    StartWatch();
    Ownerlink::OwnerlinkClientImpl other;

    client.ChangeAppState({}, results, 100);
    other.ChangeAppState({}, results, 100);

    EXPECT_THAT(platform::Calls("std::thread"), IsEmpty());
    EXPECT_THAT(platform::Calls("open"), IsEmpty());
}

TEST_F(Watch, LeavesOutAnOwnerThatIsNotUp)
{
    platform::SetConfig(ConfigOf(kThreeOwners));
    platform::SetNext("open", {Fails(ENOENT)}, kIam);

    client.ChangeAppState({}, results, 100);

    ASSERT_TRUE(platform::WaitForHeld("nanosleep", 1));
    EXPECT_THAT(ClientRecords(HasSubstr("open failed")),
                ElementsAre(Error("Init connection to owner, open failed. file=dp:/res/iam "
                                  "err=2")));
    Sweep(2);
    EXPECT_THAT(platform::Calls("read"), ElementsAre("read(7,4)=0", "read(8,4)=0", "read(7,4)=0"));
    EXPECT_THAT(platform::Calls("open"), Contains("open(dp:/res/app,O_RDONLY)=8"));
}

TEST_F(Watch, StartsWithoutATableToo)
{
    platform::RemoveConfig();

    EXPECT_EQ(client.ChangeAppState({}, results, 100), 0u);

    ASSERT_TRUE(platform::WaitForHeld("nanosleep", 1));
    EXPECT_THAT(platform::Errors(),
                ElementsAre("file=/etc/tnv/ownerlink_vfs_cfg.yaml doesn't exist"));
    EXPECT_THAT(platform::Calls({"open", "prctl", "read", "nanosleep"}),
                ElementsAre("prctl(PR_SET_NAME,SsCheckAndReconnect)=0", "nanosleep(50000000)"));
}

TEST_F(Watch, LeavesOutAnOwnerWithoutAFileName)
{
    platform::SetConfig("a: {OsType: 0, GroupOwner: 1, SecVfs: ''}");

    client.ChangeAppState({}, results, 100);

    EXPECT_THAT(ClientRecords(HasSubstr("name is null")),
                ElementsAre(Error("Res file name is null")));
    EXPECT_THAT(platform::Calls("open"), IsEmpty());
}

TEST_F(Watch, TakesDescriptor0AtItsStart)
{
    platform::SetNext("open", {Gives(0)});

    StartWatch();
    Sweep();

    EXPECT_THAT(platform::Calls("read"), ElementsAre("read(0,4)=0"));
}

TEST_F(Watch, ReadsEachOwnerAndSleepsBehindEachAndBehindTheSweep)
{
    platform::SetConfig(ConfigOf(kThreeOwners));
    StartWatch();

    Sweep(3);

    EXPECT_THAT(
        platform::Timeline(),
        ElementsAre("read(8,4)=0", "nanosleep(50000000)", "read(9,4)=0", "nanosleep(50000000)",
                    "nanosleep(50000000)", "read(7,4)=0", "nanosleep(50000000)"));
}

TEST_F(Watch, InterruptedSleepGoesOnWithWhatIsLeft)
{
    StartWatch();
    platform::InterruptSleeps({std::chrono::milliseconds(20), std::chrono::milliseconds(3)});

    ASSERT_TRUE(platform::Step("nanosleep", 3));

    EXPECT_THAT(platform::Calls(), ElementsAre("nanosleep(20000000)=-1 EINTR", "nanosleep(3000000)",
                                               "nanosleep(50000000)"));
}

TEST_F(Watch, FailedStartReachesTheCallerAndIsTriedAgain)
{
    platform::SetNext("std::thread", {Fails(EAGAIN)});
    EXPECT_THROW(client.ChangeAppState({}, results, 100), std::system_error);
    EXPECT_THAT(platform::OpenDescriptors(), ElementsAre(7));

    EXPECT_EQ(client.ChangeAppState({}, results, 100), 0u);

    ASSERT_TRUE(platform::WaitForHeld("nanosleep", 1));
    EXPECT_THAT(platform::Calls("open"),
                ElementsAre("open(dp:/res/dm,O_RDONLY)=7", "open(dp:/res/dm,O_RDONLY)=8"));
    Sweep(2);
    EXPECT_THAT(platform::Calls("read"), ElementsAre("read(7,4)=0", "read(8,4)=0", "read(7,4)=0"));
}

class WatchDeadOwner : public WatchTest, public ::testing::WithParamInterface<int> {};

TEST_P(WatchDeadOwner, IsReconnectedAtOnce)
{
    StartWatch();

    SweepWithRead(GetParam());

    EXPECT_THAT(WatchCalls(), ElementsAre(HasSubstr("read(7,4)=-1 E"),
                                          "open(dp:/res/dm,O_RDONLY)=8", "close(7)=0"));
    EXPECT_THAT(platform::Warnings(), Not(Contains(HasSubstr("read fail"))));
}

INSTANTIATE_TEST_SUITE_P(Errors, WatchDeadOwner,
                         ::testing::Values(ENOENT, EBADF, EPIPE, EBADMSG, EBADFD));

class WatchGoodRead : public WatchTest, public ::testing::WithParamInterface<platform::Result> {};

TEST_P(WatchGoodRead, DoesNothingAndEndsTheRunOfFailures)
{
    StartWatch();
    for (int i = 0; i < 4; ++i) {
        SweepWithRead(EIO);
    }
    platform::SetNext("read", {GetParam()});
    Sweep();
    platform::ClearHistory();

    SweepWithRead(EIO);

    EXPECT_THAT(platform::Calls("open"), IsEmpty());
    EXPECT_THAT(platform::Records(),
                ElementsAre(Warning("SsCheckAndReconnect read fail, ret=-1 errno=5, "
                                    "retry 1 times")));
}

INSTANTIATE_TEST_SUITE_P(Results, WatchGoodRead,
                         ::testing::Values(Gives(0), Gives(4), Fails(ETIMEDOUT)));

TEST_F(Watch, GoodReadWritesNoRecord)
{
    StartWatch();

    SweepWithRead(ETIMEDOUT);
    Sweep();

    EXPECT_THAT(platform::Records(), IsEmpty());
}

TEST_F(Watch, FifthUnknownFailureInARowReconnects)
{
    StartWatch();

    for (int i = 0; i < 5; ++i) {
        SweepWithRead(EIO);
    }

    EXPECT_THAT(
        ClientRecords(HasSubstr("read fail")),
        ElementsAre(Warning("SsCheckAndReconnect read fail, ret=-1 errno=5, retry 1 times"),
                    Warning("SsCheckAndReconnect read fail, ret=-1 errno=5, retry 2 times"),
                    Warning("SsCheckAndReconnect read fail, ret=-1 errno=5, retry 3 times"),
                    Warning("SsCheckAndReconnect read fail, ret=-1 errno=5, retry 4 times"),
                    Warning("SsCheckAndReconnect read fail, ret=-1 errno=5, retry 0 times")));
    EXPECT_THAT(platform::Calls({"open", "close"}),
                ElementsAre("open(dp:/res/dm,O_RDONLY)=8", "close(7)=0"));
    const auto timeline = platform::Timeline();
    EXPECT_EQ(timeline.at(timeline.size() - 3), "close(7)=0");
    EXPECT_THAT(timeline.at(timeline.size() - 2), HasSubstr("retry 0 times"));
}

// The descriptor that began the run is left alone.
TEST_F(Watch, CountsFailuresOverAllOwners)
{
    platform::SetConfig(ConfigOf(kThreeOwners));
    StartWatch();
    platform::SetNext("read", Times(5, Fails(EIO)));

    ASSERT_TRUE(platform::Step("nanosleep", 6));

    EXPECT_THAT(
        platform::Calls({"read", "open", "close"}),
        ElementsAre("read(8,4)=-1 EIO", "read(9,4)=-1 EIO", "read(7,4)=-1 EIO", "read(8,4)=-1 EIO",
                    "read(9,4)=-1 EIO", "open(dp:/res/app,O_RDONLY)=10", "close(9)=0"));
}

TEST_F(Watch, TimeOutOfOneOwnerEndsTheRunOfTheOthers)
{
    platform::SetConfig(ConfigOf(kThreeOwners));
    StartWatch();
    platform::SetNext("read", Times(4, Fails(EIO)));
    platform::SetNext("read", {Fails(ETIMEDOUT)});
    platform::SetNext("read", Times(4, Fails(EIO)));

    ASSERT_TRUE(platform::Step("nanosleep", 12));

    EXPECT_THAT(platform::Calls("open"), IsEmpty());
    EXPECT_EQ(ClientRecords(HasSubstr("retry 4 times")).size(), 2u);
}

TEST_F(Watch, DeadOwnerEndsTheRunOfTheOthers)
{
    StartWatch();
    for (int i = 0; i < 4; ++i) {
        SweepWithRead(EIO);
    }
    SweepWithRead(EPIPE);
    platform::ClearHistory();

    SweepWithRead(EIO);

    EXPECT_THAT(platform::Warnings(),
                ElementsAre("SsCheckAndReconnect read fail, ret=-1 errno=5, retry 1 times"));
}

}  // namespace
