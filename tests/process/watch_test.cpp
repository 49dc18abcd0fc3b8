// The watch on owners: one that dies and comes back is told what was last changed through the
// manager.

#include <sys/wait.h>

#include <chrono>

#include "tests/process/owners_test.h"

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

using Clock = std::chrono::steady_clock;

std::string Reconnected(GroupOwner group)
{
    return "Reconnect success. (file=" + ResourceOf(group) + ')';
}

class Watch : public OwnersTest {
protected:
    // Starts the watch with a change that one owner's record holds.
    void StartWatch()
    {
        StartAll();
        ASSERT_EQ(
            Change({App(APPMGR, "b"), App(APPMGR, "a"), App(APPMGR, "c", ProcMgr::RESTART)}).code,
            kOk);
        ASSERT_EQ(Change({App(APPMGR, "b", ProcMgr::TERM)}).code, kOk);
    }

    // Returns when the watch has looked at all its descriptors: it reconnects an owner that has no
    // record, and so stays watched, twice.
    void AwaitSweeps()
    {
        for (int sweep = 0; sweep < 2; ++sweep) {
            const size_t before = LoggedCount(Reconnected(DATAMASTER));
            KillAndStart(DATAMASTER);
            ASSERT_TRUE(AwaitLogged(Reconnected(DATAMASTER), before + 1));
        }
    }
};

TEST_F(Watch, AnOwnerBackWithinFiveSecondsIsToldItsRecordThreeTimesAndWatchedNoMore)
{
    StartWatch();

    KillAndStart(APPMGR);

    ASSERT_TRUE(Owner(APPMGR).AwaitAny("verify", 3));
    AwaitSweeps();
    EXPECT_THAT(Owner(APPMGR).Reports(),
                ElementsAre("verify a=0 b=1 c=2", "verify a=0 b=1 c=2", "verify a=0 b=1 c=2"));
    KillAndStart(APPMGR);
    AwaitSweeps();
    EXPECT_THAT(Owner(APPMGR).Reports(), IsEmpty());
    EXPECT_EQ(LoggedCount(Reconnected(APPMGR)), 3U);
}

TEST_F(Watch, AnOwnerNoLongerWatchedIsStillServed)
{
    StartWatch();
    KillAndStart(APPMGR);
    ASSERT_TRUE(AwaitLogged(Reconnected(APPMGR), 3));
    KillAndStart(APPMGR);

    EXPECT_EQ(SetState(ProcMgr::WORKING), kOk);
    EXPECT_THAT(Change({App(APPMGR, "d")}).results, ElementsAre("d SUCCESS"));
}

TEST_F(Watch, ARecordHoldsTheLastSuccessOfEachApplication)
{
    StartWatch();
    ASSERT_TRUE(Owner(APPMGR).Tell("fail c 1"));
    ASSERT_TRUE(Owner(APPMGR).Tell("fail e 2"));
    ASSERT_EQ(Change({App(APPMGR, "c", ProcMgr::TERM), App(APPMGR, "e"), App(APPMGR, "d"),
                      App(IAM, "elsewhere")})
                  .code,
              kOk);

    KillAndStart(APPMGR);

    ASSERT_TRUE(Owner(APPMGR).AwaitAny("verify", 3));
    EXPECT_THAT(Owner(APPMGR).Reports(), Each("verify a=0 b=1 c=2 d=0"));
}

TEST_F(Watch, ARefusedVerificationChangesNothing)
{
    StartWatch();
    Owner(APPMGR).Kill();
    const auto owner = StartOwnerOf(ResourceOf(APPMGR), {"always verify refuse"});

    EXPECT_TRUE(owner->AwaitAny("verify", 3));

    EXPECT_TRUE(AwaitLogged(Reconnected(APPMGR), 3));
}

TEST_F(Watch, AnOwnerWithoutARecordIsToldNothingAndStaysWatched)
{
    StartWatch();

    for (size_t round = 1; round <= 5; ++round) {
        KillAndStart(IAM);
        ASSERT_TRUE(AwaitLogged(Reconnected(IAM), round)) << round;
        EXPECT_THAT(Owner(IAM).Reports(), IsEmpty());
    }

    EXPECT_EQ(LoggedCount("no ss record. file=" + ResourceOf(IAM)), 5U);
}

TEST_F(Watch, AnOwnerBackAfterFiveSecondsIsNotToldAndWatchedNoMore)
{
    StartWatch();
    const auto begin = Clock::now();
    Owner(APPMGR).Kill();

    ASSERT_TRUE(AwaitLogged("Reconnect failed. (file=" + ResourceOf(APPMGR) + ')'));

    EXPECT_GE(Clock::now() - begin, std::chrono::seconds(5));
    Start(APPMGR);
    AwaitSweeps();
    EXPECT_THAT(Owner(APPMGR).Reports(), IsEmpty());
    EXPECT_EQ(LoggedCount(Reconnected(APPMGR)), 0U);
    EXPECT_THAT(Change({App(APPMGR, "d")}).results, ElementsAre("d SUCCESS"));
}

TEST_F(Watch, AStoppedOwnerIsNotTakenForADeadOne)
{
    StartWatch();
    Owner(IAM).Stop();

    AwaitSweeps();

    Owner(IAM).Continue();
    AwaitSweeps();
    EXPECT_EQ(LoggedCount("Ss begin connect server. (file=" + ResourceOf(IAM) + ')'), 0U);
}

TEST_F(Watch, AnOwnerMissingAtTheFirstChangeIsNeverWatched)
{
    Start(DATAMASTER);
    Start(APPMGR);
    ASSERT_EQ(Change({}).code, kOk);
    ASSERT_EQ(LoggedCount("Init connection to owner, open failed. file=" + ResourceOf(IAM)), 1U);

    Start(IAM);
    ASSERT_THAT(Change({App(IAM, "a")}).results, ElementsAre("a SUCCESS"));
    KillAndStart(IAM);
    AwaitSweeps();

    EXPECT_THAT(Owner(IAM).Reports(), IsEmpty());
}

TEST_F(Watch, NothingIsWatchedBeforeTheFirstChange)
{
    StartAll();
    ASSERT_EQ(SetState(ProcMgr::WORKING), kOk);

    KillAndStart(IAM);
    ASSERT_EQ(SetState(ProcMgr::SUSPEND), kOk);

    EXPECT_EQ(LoggedCount("Init connection to owner"), 0U);
    EXPECT_EQ(LoggedCount("Ss begin connect server"), 0U);
}

TEST_F(Watch, ARecordOfManyRequestsReachesTheOwnerInItsFirstAlone)
{
    StartAll();
    std::vector<AppInfo> apps;
    for (int number = 1000; number < 1500; ++number) {
        apps.push_back(App(APPMGR, "application" + std::to_string(number)));
    }
    ASSERT_EQ(Change(apps).code, kOk);

    KillAndStart(APPMGR);

    ASSERT_TRUE(Owner(APPMGR).AwaitAny("verify", 3));
    AwaitSweeps();
    const Peer::Lines reports = Owner(APPMGR).Reports("verify");
    ASSERT_THAT(reports, SizeIs(3));
    // 3872 bytes hold 215 pairs of 18 ("application1000#0#") behind their count.
    const std::string& first = reports.front();
    EXPECT_THAT(first, testing::StartsWith("verify application1000=0 application1001=0 "));
    EXPECT_THAT(first, testing::EndsWith(" application1214=0"));
    EXPECT_THAT(reports, Each(first));
}

TEST_F(Watch, AManagerThatExitsDoesNotWaitOutAReconnection)
{
    StartAll();
    const std::unique_ptr<Peer> manager = StartManager();
    ASSERT_TRUE(manager->Tell("start 2 a 60000"));
    Owner(APPMGR).Kill();
    ASSERT_TRUE(AwaitLogged("Ss begin connect server", 1, manager->Process()));
    const auto begin = Clock::now();

    const pid_t process = manager->Process();
    manager->Write("exit");
    EXPECT_TRUE(AwaitLogged("Ss check and reconnect thread exit.", 1, process));

    const auto spent = Clock::now() - begin;
    EXPECT_LT(spent, std::chrono::seconds(4));  // the deadline is five
    EXPECT_EQ(manager->AwaitExit(), 0);
}

TEST_F(Watch, AManagerThatExitsWhileItsOwnersLiveIsGoneAtOnce)
{
    StartAll();
    const std::unique_ptr<Peer> manager = StartManager();
    ASSERT_TRUE(manager->Tell("start 2 a 60000"));

    manager->Write("exit");

    EXPECT_EQ(manager->AwaitExit(), 0);
}

}  // namespace
