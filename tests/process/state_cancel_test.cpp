// WORKING takes back a SUSPEND_PRE, also one that is still under way.

#include "tests/process/owners_test.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class CancelAcrossProcesses : public OwnersTest {
protected:
    // A SUSPEND_PRE that every owner has taken and that the IAM owner's callback holds.
    std::future<uint32_t> BeginHeldSuspend()
    {
        StartAll();
        EXPECT_TRUE(Owner(IAM).Tell("once state block 1"));
        std::future<uint32_t> suspend = BeginSetState(ProcMgr::SUSPEND_PRE);
        for (const GroupOwner group : kGroups) {
            EXPECT_TRUE(Owner(group).Await("state 258 60000"));
        }
        return suspend;
    }
};

TEST_F(CancelAcrossProcesses, WorkingAfterSuspendPreReachesTheCancelCallbacks)
{
    StartAll();

    EXPECT_EQ(SetState(ProcMgr::SUSPEND_PRE, 10000), kOk);
    EXPECT_EQ(SetState(ProcMgr::WORKING, 20000), kOk);
    EXPECT_EQ(SetState(ProcMgr::WORKING, 30000), kOk);

    for (const GroupOwner group : kGroups) {
        EXPECT_THAT(Owner(group).Reports(),
                    ElementsAre("state 258 10000", "cancel 1 20000", "state 1 30000"));
    }
}

TEST_F(CancelAcrossProcesses, ACancelOvertakesASuspendPreThatAnOwnerStillHolds)
{
    std::future<uint32_t> suspend = BeginHeldSuspend();

    const uint32_t cancel = SetState(ProcMgr::WORKING);

    EXPECT_EQ(cancel, kOk);
    EXPECT_EQ(suspend.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
    for (const GroupOwner group : kGroups) {
        EXPECT_THAT(Owner(group).Reports(), ElementsAre("state 258 60000", "cancel 1 60000"));
    }
    ASSERT_TRUE(Owner(IAM).Tell("release state accept"));
    EXPECT_EQ(suspend.get(), kOk);
}

TEST_F(CancelAcrossProcesses, EachOfTheTwoCallsGetsItsOwnVerdict)
{
    std::future<uint32_t> suspend = BeginHeldSuspend();
    ASSERT_TRUE(Owner(DATAMASTER).Tell("once cancel refuse 1"));

    const uint32_t cancel = SetState(ProcMgr::WORKING);

    EXPECT_EQ(cancel, kStateFailed);
    ASSERT_TRUE(Owner(IAM).Tell("release state accept"));
    EXPECT_EQ(suspend.get(), kOk);
}

TEST_F(CancelAcrossProcesses, ARefusalOfTheSuspendPreLeavesItsCancelSuccessful)
{
    std::future<uint32_t> suspend = BeginHeldSuspend();

    const uint32_t cancel = SetState(ProcMgr::WORKING);
    ASSERT_TRUE(Owner(IAM).Tell("release state refuse"));

    EXPECT_EQ(cancel, kOk);
    EXPECT_EQ(suspend.get(), kStateFailed);
}

TEST_F(CancelAcrossProcesses, ACancelFreesTheWayWhileTheOvertakenCallStillRuns)
{
    std::future<uint32_t> suspend = BeginHeldSuspend();

    EXPECT_EQ(SetState(ProcMgr::WORKING), kOk);
    EXPECT_EQ(SetState(ProcMgr::CALIBRATION), kOk);

    EXPECT_THAT(Owner(IAM).Reports(),
                ElementsAre("state 258 60000", "cancel 1 60000", "state 4 60000"));
    ASSERT_TRUE(Owner(IAM).Tell("release state accept"));
    EXPECT_EQ(suspend.get(), kOk);
}

TEST_F(CancelAcrossProcesses, ARefusedSuspendPreStillTurnsWorkingIntoACancelThatOwnersDeny)
{
    StartAll();
    ASSERT_TRUE(Owner(APPMGR).Tell("once state block 1"));
    std::future<uint32_t> running = BeginSetState(ProcMgr::UPGRADE);
    ASSERT_TRUE(Owner(APPMGR).AwaitAny("state"));

    EXPECT_EQ(SetState(ProcMgr::SUSPEND_PRE), kStateBusy);
    const uint32_t cancel = SetState(ProcMgr::WORKING);

    EXPECT_EQ(cancel, kStateFailed);  // no callback had anything to take back
    ASSERT_TRUE(Owner(APPMGR).Tell("release state accept"));
    EXPECT_EQ(running.get(), kOk);
    for (const GroupOwner group : kGroups) {
        EXPECT_THAT(Owner(group).Reports(), ElementsAre("state 3 60000"));
    }
}

TEST_F(CancelAcrossProcesses, AnOwnerRestartedSinceTheSuspendPreDeniesItsCancel)
{
    StartAll();
    ASSERT_EQ(SetState(ProcMgr::SUSPEND_PRE), kOk);
    KillAndStart(DATAMASTER);

    const uint32_t cancel = SetState(ProcMgr::WORKING);

    EXPECT_EQ(cancel, kStateFailed);
    EXPECT_THAT(Owner(DATAMASTER).Reports(), IsEmpty());
    EXPECT_THAT(Owner(IAM).Reports(), ElementsAre("state 258 60000", "cancel 1 60000"));
}

TEST_F(CancelAcrossProcesses, ACancelReachesAnOwnerWhoseEarlierCallbackOutlivedItsTimeOut)
{
    StartAll();
    ASSERT_TRUE(Owner(IAM).Tell("once state block 1"));
    ASSERT_EQ(SetState(ProcMgr::SUSPEND_PRE, kShortTimeOut), kStateFailed);
    for (const GroupOwner group : kGroups) {
        ASSERT_TRUE(Owner(group).Await("state 258 200"));
    }

    const uint32_t cancel = SetState(ProcMgr::WORKING);

    EXPECT_EQ(cancel, kOk);
    EXPECT_THAT(Owner(IAM).Reports(), ElementsAre("state 258 200", "cancel 1 60000"));
    ASSERT_TRUE(Owner(IAM).Tell("release state accept"));
}

}  // namespace
