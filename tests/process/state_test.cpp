// One system state reaches three owner processes, and their verdicts come back.

#include "tests/process/owners_test.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class StateAcrossProcesses : public OwnersTest {};

TEST_F(StateAcrossProcesses, WorkingReachesThreeOwnersWithItsTimeOut)
{
    StartAll();

    const uint32_t code = SetState(ProcMgr::WORKING, 15000);

    EXPECT_EQ(code, kOk);
    for (const GroupOwner group : kGroups) {
        EXPECT_THAT(Owner(group).Reports(), ElementsAre("state 1 15000"));
    }
}

TEST_F(StateAcrossProcesses, EveryNumberTravelsButTheHighLevelExit)
{
    StartAll();

    for (const int state : {0, 2, 3, 4, 258, 0x101, 12345, -7}) {
        EXPECT_EQ(SetState(state), kOk) << state;
    }

    for (const GroupOwner group : kGroups) {
        EXPECT_THAT(Owner(group).Reports(),
                    ElementsAre("state 0 60000", "state 2 60000", "state 3 60000", "state 4 60000",
                                "state 258 60000", "state 12345 60000", "state -7 60000"));
    }
}

TEST_F(StateAcrossProcesses, OwnersTakeTheServicesOwnTimeOutAsMinusOne)
{
    StartAll();

    const uint32_t code = SetState(ProcMgr::WORKING, -1);

    EXPECT_EQ(code, kOk);
    EXPECT_THAT(Owner(IAM).Reports(), ElementsAre("state 1 -1"));
}

TEST_F(StateAcrossProcesses, ARefusalOfOneOwnerFailsTheCallAndStopsNobody)
{
    for (const GroupOwner refusing : kGroups) {
        StartAll();
        ASSERT_TRUE(Owner(refusing).Tell("always state refuse"));

        const uint32_t code = SetState(ProcMgr::UPGRADE);

        EXPECT_EQ(code, kStateFailed);
        for (const GroupOwner group : kGroups) {
            EXPECT_THAT(Owner(group).Reports(), ElementsAre("state 3 60000"));
            Owner(group).Kill();
        }
        EXPECT_EQ(LoggedCount("failed. because send to " + ResourceOf(refusing) + " failed."), 1U);
    }
}

TEST_F(StateAcrossProcesses, TheFirstFailedOwnerByResourceNameIsTheOneNamed)
{
    StartAll();
    ASSERT_TRUE(Owner(DATAMASTER).Tell("always state refuse"));
    ASSERT_TRUE(Owner(IAM).Tell("always state refuse"));

    const uint32_t code = SetState(ProcMgr::WORKING);

    EXPECT_EQ(code, kStateFailed);
    EXPECT_EQ(LoggedCount("failed. because send to " + ResourceOf(DATAMASTER)), 1U);
    EXPECT_EQ(LoggedCount("failed. because send to " + ResourceOf(IAM)), 0U);
}

TEST_F(StateAcrossProcesses, ASecondCallWhileOneRunsIsRefusedAndReachesNobody)
{
    StartAll();
    ASSERT_TRUE(Owner(IAM).Tell("once state block 1"));
    std::future<uint32_t> running = BeginSetState(ProcMgr::WORKING);
    ASSERT_TRUE(Owner(IAM).AwaitAny("state"));

    const uint32_t refused = SetState(ProcMgr::SUSPEND);

    EXPECT_EQ(refused, kStateBusy);
    ASSERT_TRUE(Owner(IAM).Tell("release state accept"));
    EXPECT_EQ(running.get(), kOk);
    for (const GroupOwner group : kGroups) {
        EXPECT_THAT(Owner(group).Reports(), ElementsAre("state 1 60000"));
    }
    EXPECT_EQ(SetState(ProcMgr::SUSPEND), kOk);
}

TEST_F(StateAcrossProcesses, TwoManagersAtOnceEachGetEveryVerdict)
{
    constexpr size_t kCalls = 40;
    StartAll();
    const std::unique_ptr<Peer> other = StartManager();

    for (size_t call = 0; call < kCalls; ++call) {
        other->Write("set 2 60000");
        EXPECT_EQ(SetState(ProcMgr::WORKING), kOk);
    }

    EXPECT_TRUE(other->Await("code 0", kCalls));
    for (const GroupOwner group : kGroups) {
        EXPECT_EQ(Owner(group).Count("state 1 60000"), kCalls);
        EXPECT_EQ(Owner(group).Count("state 2 60000"), kCalls);
    }
}

TEST_F(StateAcrossProcesses, AManagerIsServedWhileAnotherManagersRequestBlocks)
{
    StartAll();
    const std::unique_ptr<Peer> other = StartManager();
    ASSERT_TRUE(Owner(APPMGR).Tell("once state block 1"));
    other->Write("set 2 60000");
    ASSERT_TRUE(Owner(APPMGR).AwaitAny("state"));

    const uint32_t code = SetState(ProcMgr::WORKING);

    EXPECT_EQ(code, kOk);
    EXPECT_THAT(other->Reports(), IsEmpty());
    ASSERT_TRUE(Owner(APPMGR).Tell("release state refuse"));
    EXPECT_TRUE(other->Await("code " + std::to_string(kStateFailed)));
}

}  // namespace
