// What a reconnected owner is told, and what the descriptor that this closes leads to.
#include <cerrno>
#include <chrono>

#include "tests/client/watch_test.h"

namespace {

using platform::Fails;
using ::testing::Contains;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

class Verification : public WatchTest {
protected:
    Verification() { StartWatch(); }

    // The payloads of the verifications that reached the owner.
    std::vector<std::string> Verified() const { return Payloads(kDataMaster); }
};

TEST_F(Verification, TakesTheseStepsInThisOrder)
{
    Change("a");

    SweepWithRead(EPIPE);

    EXPECT_THAT(
        platform::Timeline(),
        ElementsAre(
            "nanosleep(50000000)", "read(7,4)=-1 EPIPE",
            "log(54,2) Secvfs has been read before !!!",
            "log(54,1) Ss begin connect server. (file=dp:/res/dm)", "open(dp:/res/dm,O_RDONLY)=8",
            "log(16777270,1) Ss verify with server begin. dom=0 owner=0(DATAMASTER)",
            "log(54,1) PackVerifyRequest begin.",
            "log(16777270,1) ConstructVerifyRequest str=<1#a#0#,6>", "IAMResetFileConfig(8,100)=0",
            "log(54,1) SendRequestToOwnerByVfs, ioctl begins. (fd=8,resFileName=dp:/res/dm)",
            "ioctl(8,8)=0",
            "log(54,1) SendRequestToOwnerByVfs, ioctl success. "
            "(fd=8,resFileName=dp:/res/dm,ret=0,timeout=100)",
            "log(54,1) SendRequestToOwnerByVfs success. "
            "(fd=8,resFileName=dp:/res/dm,size=1 bytes,timeout=100)",
            "close(8)=0",
            "log(16777270,1) Ss verify with server success. num=1 dom=0 owner=0(DATAMASTER)",
            "log(16777270,1) Reconnect success. (file=dp:/res/dm)", "close(7)=0",
            "nanosleep(50000000)"));
    EXPECT_THAT(ClientRecords(HasSubstr("verify with")),
                ElementsAre(Milestone(HasSubstr("begin")), Milestone(HasSubstr("success"))));
}

TEST_F(Verification, SendsTheRecordByteForByte)
{
    Change("b", 2);
    Change("a", 1);

    SweepWithRead(EPIPE);

    ASSERT_EQ(platform::Exchanges().size(), 1u);
    EXPECT_EQ(platform::Exchanges()[0].command, 8u);
    EXPECT_EQ(platform::Exchanges()[0].request, RecordBytes("2#a#1#b#2#", 5000));
    EXPECT_EQ(platform::Exchanges()[0].timeoutMs, 100);
    EXPECT_THAT(platform::Milestones(),
                Contains("Ss verify with server success. num=2 dom=0 owner=0(DATAMASTER)"));
}

// The verification closes its descriptor, whose number stays in the map: the next sweep reconnects,
// until `open` hands out the very number that is being reconnected.
TEST_F(Verification, IsRepeatedUntilTheSameNumberIsHandedOutAgain)
{
    Change("a");

    SweepWithRead(EPIPE);
    EXPECT_THAT(WatchCalls(), ElementsAre("read(7,4)=-1 EPIPE", "open(dp:/res/dm,O_RDONLY)=8",
                                          "IAMResetFileConfig(8,100)=0", "ioctl(8,8)=0",
                                          "close(8)=0", "close(7)=0"));
    platform::ClearHistory();
    Sweep();
    EXPECT_THAT(WatchCalls(), ElementsAre("read(8,4)=-1 EBADF", "open(dp:/res/dm,O_RDONLY)=7",
                                          "IAMResetFileConfig(7,100)=0", "ioctl(7,8)=0",
                                          "close(7)=0", "close(8)=-1 EBADF"));
    platform::ClearHistory();
    Sweep();
    EXPECT_THAT(WatchCalls(), ElementsAre("read(7,4)=-1 EBADF", "open(dp:/res/dm,O_RDONLY)=7",
                                          "IAMResetFileConfig(7,100)=0", "ioctl(7,8)=0",
                                          "close(7)=0", "close(7)=-1 EBADF"));
    platform::ClearHistory();
    ASSERT_TRUE(platform::Step("nanosleep", 4));
    EXPECT_THAT(WatchCalls(), IsEmpty());
    EXPECT_THAT(platform::OpenDescriptors(), IsEmpty());
}

TEST_F(Verification, OfSeveralRecordsReachesTheOwnerOnlyWithTheFirst)
{
    Change(std::string(2000, 'a'));
    Change(std::string(2000, 'b'));

    SweepWithRead(EPIPE);

    EXPECT_THAT(Verified(), ElementsAre("1#" + std::string(2000, 'a') + "#0#"));
    EXPECT_THAT(WatchCalls(),
                ElementsAre("read(7,4)=-1 EPIPE", "open(dp:/res/dm,O_RDONLY)=8",
                            "IAMResetFileConfig(8,100)=0", "ioctl(8,8)=0", "close(8)=0",
                            "IAMResetFileConfig(8,100)=-1 EBADF", "ioctl(8,8)=-1 EBADF",
                            "close(8)=-1 EBADF", "close(7)=0"));
    EXPECT_THAT(platform::Milestones(), Not(Contains(HasSubstr("verify with server success"))));
    EXPECT_THAT(platform::Milestones(), Contains("Reconnect success. (file=dp:/res/dm)"));
}

TEST_F(Verification, FailedExchangeEndsItWithoutARecordOfItsOwn)
{
    Change("a");
    platform::Answer(kDataMaster, FailsWith(EPIPE));

    SweepWithRead(EPIPE);

    EXPECT_THAT(platform::Errors(),
                ElementsAre(HasSubstr("SendRequestToOwnerByVfs, ioctl failed")));
    EXPECT_EQ(platform::Milestones().back(), "Reconnect success. (file=dp:/res/dm)");
    EXPECT_THAT(platform::Milestones(), Not(Contains(HasSubstr("verify with server success"))));
}

TEST_F(Verification, RefusalIsLogged)
{
    Change("a");
    platform::Answer(kDataMaster, Replies("0"));

    SweepWithRead(EPIPE);

    EXPECT_THAT(ClientRecords(HasSubstr("failed")),
                ElementsAre(Error("Ss verify with server, GetResultFromResponse failed. dom=0 "
                                  "owner=0(DATAMASTER)")));
    EXPECT_EQ(platform::Milestones().back(), "Reconnect success. (file=dp:/res/dm)");
    EXPECT_THAT(platform::Milestones(), Not(Contains(HasSubstr("verify with server success"))));
}

TEST_F(Verification, RefusalOfTheFirstRecordIsTheEndOfIt)
{
    Change(std::string(2000, 'a'));
    Change(std::string(2000, 'b'));
    platform::Answer(kDataMaster, Replies("0"));

    SweepWithRead(EPIPE);

    EXPECT_THAT(WatchCalls(), ElementsAre("read(7,4)=-1 EPIPE", "open(dp:/res/dm,O_RDONLY)=8",
                                          "IAMResetFileConfig(8,100)=0", "ioctl(8,8)=0",
                                          "close(8)=0", "close(7)=0"));
    EXPECT_THAT(platform::Errors(),
                ElementsAre("Ss verify with server, GetResultFromResponse failed. dom=0 "
                            "owner=0(DATAMASTER)"));
    EXPECT_THAT(platform::Milestones(), Not(Contains(HasSubstr("verify with server success"))));
}

TEST_F(Verification, EmptyAnswerIsARefusal)
{
    Change("a");
    platform::Answer(kDataMaster, Replies(""));

    SweepWithRead(EPIPE);

    EXPECT_THAT(platform::Errors(),
                ElementsAre("GetResultFromResponse resp size=0 bytes",
                            "Ss verify with server, GetResultFromResponse failed. dom=0 "
                            "owner=0(DATAMASTER)"));
    EXPECT_THAT(platform::Milestones(), Not(Contains(HasSubstr("verify with server success"))));
}

TEST_F(Verification, RecordThatCannotBePackedIsLoggedAndNotSent)
{
    Change("a");
    platform::FailCopies([](std::size_t count) { return count == 6; }, ERANGE);

    SweepWithRead(EPIPE);

    EXPECT_THAT(platform::Errors(),
                ElementsAre("ConstructVerifyRequest memcpy_s failed, err=34",
                            "PackRequest for verifying failed. dom=0 owner=0(DATAMASTER)"));
    EXPECT_THAT(ClientRecords(HasSubstr("PackRequest")), ElementsAre(Error(HasSubstr("dom=0"))));
    EXPECT_THAT(WatchCalls(),
                ElementsAre("read(7,4)=-1 EPIPE", "open(dp:/res/dm,O_RDONLY)=8", "close(7)=0"));
    EXPECT_THAT(platform::Milestones(), Not(Contains(HasSubstr("verify with server success"))));
}

TEST_F(Verification, TellsTheLastSuccessfulChange)
{
    Change("a", 0);
    Change("a", 1);
    Change("b", 7);

    SweepWithRead(EPIPE);

    EXPECT_THAT(Verified(), ElementsAre("2#a#1#b#7#"));
}

TEST_F(Verification, LeavesOutWhatNeverSucceeded)
{
    for (unsigned state = 1; state <= 6; ++state) {
        Change("app" + std::to_string(state), 0, state);
    }

    SweepWithRead(EPIPE);

    EXPECT_THAT(Verified(), IsEmpty());
    EXPECT_THAT(platform::Infos(),
                Contains("Ss verify with server, no ss record. file=dp:/res/dm"));
}

TEST_F(Verification, FailedChangeKeepsTheEntryBeforeIt)
{
    Change("a", 0, 0);
    Change("a", 1, 2);

    SweepWithRead(EPIPE);

    EXPECT_THAT(Verified(), ElementsAre("1#a#0#"));
}

TEST_F(Verification, AddsToTheRecordWithTheOptionsText)
{
    platform::Answer(kDataMaster, Replies("4#0#a#0#b#0#c#0#"));
    std::vector<AppInfo> apps(4);
    const char* const names[] = {"c", "a", "b", "unanswered"};
    for (std::size_t i = 0; i < apps.size(); ++i) {
        apps[i].appName = names[i];
        apps[i].optionType = static_cast<uint32_t>(i + 1);
    }

    client.ChangeAppState(apps, results, 100);

    EXPECT_THAT(
        ClientRecords(HasSubstr("add to record")),
        ElementsAre(Milestone("Ss verify with server, add to record. name=c type=1(TERM)"),
                    Milestone("Ss verify with server, add to record. name=a type=2(RESTART)"),
                    Milestone("Ss verify with server, add to record. name=b type=3()")));
}

TEST_F(Verification, KeepsTheRecordsOfTheOtherInstanceToThemselves)
{
    Ownerlink::OwnerlinkClientImpl other;
    platform::Answer(kDataMaster, Replies("2#1#a#0#"));
    AppInfo app;
    app.appName = "a";
    other.ChangeAppState({app}, results, 100);
    platform::ClearHistory();

    SweepWithRead(EPIPE);

    EXPECT_THAT(Verified(), IsEmpty());
    EXPECT_THAT(platform::Infos(),
                Contains("Ss verify with server, no ss record. file=dp:/res/dm"));
}

// Two owners with a record each; the watch stands between their reads.
class VerificationOfMany : public WatchTest {
protected:
    VerificationOfMany()
    {
        platform::SetConfig(ConfigOf({{0, 0, kDataMaster}, {0, 2, kAppMgr}}));
        StartWatch();
        platform::Answer(kDataMaster, Replies("2#1#a#0#"));
        platform::Answer(kAppMgr, Replies("2#1#b#0#"));
        std::vector<AppInfo> apps(2);
        apps[0].appName = "a";
        apps[1].appName = "b";
        apps[1].groupOwner = APPMGR;
        client.ChangeAppState(apps, results, 100);
        platform::AnswerAll(Replies("1"));
        platform::ClearHistory();
        platform::SetNext("read", {Fails(EPIPE)}, kAppMgr);
    }
};

TEST_F(VerificationOfMany, TellsEachOwnerItsOwn)
{
    ASSERT_TRUE(platform::Step("nanosleep", 1));

    EXPECT_THAT(Payloads(kAppMgr), ElementsAre("1#b#0#"));
    EXPECT_THAT(Payloads(kDataMaster), IsEmpty());
    EXPECT_THAT(platform::Milestones(),
                Contains("Ss verify with server begin. dom=0 owner=2(APPMGR)"));
}

// The record is copied under the mutex, and sent without it.
TEST_F(VerificationOfMany, ChangeGoesOnWhileAnOwnerIsBeingTold)
{
    platform::Hold("ioctl", kAppMgr);
    ASSERT_TRUE(platform::ReleaseOne("nanosleep"));
    ASSERT_TRUE(platform::WaitForHeld("ioctl", 1));
    ASSERT_THAT(Commands(), ElementsAre("dp:/res/app 8"));
    auto change = InBackground([this] { return client.ChangeAppState({AppInfo()}, results, 100); });

    EXPECT_EQ(change.wait_for(std::chrono::seconds(30)), std::future_status::ready);

    EXPECT_THAT(platform::HeldCalls(), ElementsAre(HasSubstr("ioctl")));
    platform::StopHolding("ioctl");
    EXPECT_EQ(change.get(), 0u);
}

}  // namespace
