// Owners that die, hang, throw or come back between and inside a manager's calls.

#include "tests/process/owners_test.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class TroubleWithAnOwner : public OwnersTest {
protected:
    void ExpectOthersTold(const std::string& report)
    {
        EXPECT_THAT(Owner(DATAMASTER).Reports(), ElementsAre(report));
        EXPECT_THAT(Owner(IAM).Reports(), ElementsAre(report));
    }
};

TEST_F(TroubleWithAnOwner, AnOwnerThatNeverStartedFailsTheCallAloneAmongThree)
{
    Start(DATAMASTER);
    Start(IAM);

    const uint32_t code = SetState(ProcMgr::WORKING);

    EXPECT_EQ(code, kStateFailed);
    ExpectOthersTold("state 1 60000");
}

TEST_F(TroubleWithAnOwner, AnOwnerKilledBeforeTheCallFailsItWithoutAWait)
{
    StartAll();
    ASSERT_EQ(SetState(ProcMgr::SUSPEND), kOk);
    ForgetAll();
    Owner(APPMGR).Kill();

    const uint32_t code = SetState(ProcMgr::WORKING);

    EXPECT_EQ(code, kStateFailed);
    ExpectOthersTold("state 1 60000");
    EXPECT_EQ(LoggedCount("ioctl failed."), 0U);  // its death is seen by the open
}

TEST_F(TroubleWithAnOwner, AnOwnerKilledInsideItsCallbackEndsTheCallByTheKernelsWord)
{
    StartAll();
    ASSERT_TRUE(Owner(APPMGR).Tell("once state die 1"));

    const uint32_t code = SetState(ProcMgr::WORKING);

    EXPECT_EQ(code, kStateFailed);
    ExpectOthersTold("state 1 60000");
    EXPECT_EQ(LoggedCount("ret=-1,err=32,timeout=60000"), 1U);  // EPIPE, not a time-out
}

TEST_F(TroubleWithAnOwner, AnOwnerKilledWhileItsCallbackBlocksEndsTheCallToo)
{
    StartAll();
    ASSERT_TRUE(Owner(APPMGR).Tell("once state block 1"));
    std::future<uint32_t> running = BeginSetState(ProcMgr::WORKING);
    ASSERT_TRUE(Owner(APPMGR).AwaitAny("state"));

    Owner(APPMGR).Kill();

    EXPECT_EQ(running.get(), kStateFailed);
    EXPECT_EQ(LoggedCount("ret=-1,err=32,timeout=60000"), 1U);
}

TEST_F(TroubleWithAnOwner, AnOwnerSlowerThanTheTimeOutFailsTheCallAndServesTheNext)
{
    StartAll();
    ASSERT_TRUE(Owner(APPMGR).Tell("once state block 1"));

    EXPECT_EQ(SetState(ProcMgr::WORKING, kShortTimeOut), kStateFailed);
    ASSERT_TRUE(Owner(APPMGR).Await("state 1 200"));
    EXPECT_EQ(SetState(ProcMgr::SUSPEND), kOk);

    EXPECT_THAT(Owner(APPMGR).Reports(), ElementsAre("state 1 200", "state 2 60000"));
    EXPECT_EQ(LoggedCount("resFileName=" + ResourceOf(APPMGR) + ",ret=-1,err=110,timeout=200"), 1U);
    ASSERT_TRUE(Owner(APPMGR).Tell("release state accept"));
}

TEST_F(TroubleWithAnOwner, ALateYesIsNotTakenForTheNextVerdict)
{
    StartAll();
    ASSERT_TRUE(Owner(APPMGR).Tell("once state block 1"));
    ASSERT_EQ(SetState(ProcMgr::WORKING, kShortTimeOut), kStateFailed);
    ASSERT_TRUE(Owner(APPMGR).Await("state 1 200"));

    ASSERT_TRUE(Owner(APPMGR).Tell("always state refuse"));
    ASSERT_TRUE(Owner(APPMGR).Tell("release state accept"));

    EXPECT_EQ(SetState(ProcMgr::SUSPEND), kStateFailed);
}

TEST_F(TroubleWithAnOwner, ALateNoIsNotTakenForTheNextVerdict)
{
    StartAll();
    ASSERT_TRUE(Owner(APPMGR).Tell("once state block 1"));
    ASSERT_EQ(SetState(ProcMgr::WORKING, kShortTimeOut), kStateFailed);
    ASSERT_TRUE(Owner(APPMGR).Await("state 1 200"));

    ASSERT_TRUE(Owner(APPMGR).Tell("release state refuse"));

    EXPECT_EQ(SetState(ProcMgr::SUSPEND), kOk);
}

TEST_F(TroubleWithAnOwner, AnOwnerStoppedPastTheTimeOutAnswersLateAndIsNotHeard)
{
    StartAll();
    ASSERT_EQ(SetState(ProcMgr::SUSPEND), kOk);
    ForgetAll();
    Owner(APPMGR).Stop();

    EXPECT_EQ(SetState(ProcMgr::WORKING, kShortTimeOut), kStateFailed);
    Owner(APPMGR).Continue();
    ASSERT_TRUE(Owner(APPMGR).Await("state 1 200"));  // accepted, too late
    ASSERT_TRUE(Owner(APPMGR).Tell("always state refuse"));

    EXPECT_EQ(SetState(ProcMgr::UPGRADE), kStateFailed);
    ASSERT_TRUE(Owner(APPMGR).Tell("always state accept"));
    EXPECT_EQ(SetState(ProcMgr::CALIBRATION), kOk);
    EXPECT_THAT(Owner(APPMGR).Reports(),
                ElementsAre("state 1 200", "state 3 60000", "state 4 60000"));
}

TEST_F(TroubleWithAnOwner, AnOwnerStoppedForTheFirstExchangeOfAManagerIsNotHeardEither)
{
    StartAll();
    Owner(APPMGR).Stop();

    EXPECT_EQ(SetState(ProcMgr::WORKING, kShortTimeOut), kStateFailed);
    EXPECT_EQ(SetState(ProcMgr::SUSPEND, kShortTimeOut), kStateFailed);
    Owner(APPMGR).Continue();
    ASSERT_TRUE(Owner(APPMGR).Await("state 2 200"));

    EXPECT_EQ(SetState(ProcMgr::UPGRADE), kOk);
    EXPECT_EQ(Owner(APPMGR).Count("state 3 60000"), 1U);
}

TEST_F(TroubleWithAnOwner, AnOwnerRestartedBetweenTwoCallsServesTheSecond)
{
    StartAll();
    ASSERT_EQ(SetState(ProcMgr::WORKING), kOk);

    KillAndStart(APPMGR);
    const uint32_t code = SetState(ProcMgr::SUSPEND);

    EXPECT_EQ(code, kOk);
    EXPECT_THAT(Owner(APPMGR).Reports(), ElementsAre("state 2 60000"));
}

TEST_F(TroubleWithAnOwner, ThreeOwnersRestartedTenTimesOverMissNoCall)
{
    StartAll();
    for (int round = 0; round < 10; ++round) {
        for (const GroupOwner group : kGroups) {
            KillAndStart(group);
        }

        EXPECT_EQ(SetState(ProcMgr::WORKING), kOk) << round;

        for (const GroupOwner group : kGroups) {
            EXPECT_THAT(Owner(group).Reports(), ElementsAre("state 1 60000"));
        }
    }
}

TEST_F(TroubleWithAnOwner, AnOwnerWhoseCallbackThrowsFailsTheCallAndLives)
{
    StartAll();
    ASSERT_TRUE(Owner(APPMGR).Tell("once state throw 1"));

    EXPECT_EQ(SetState(ProcMgr::WORKING), kStateFailed);
    EXPECT_EQ(SetState(ProcMgr::SUSPEND), kOk);

    EXPECT_THAT(Owner(APPMGR).Reports(), ElementsAre("state 1 60000", "state 2 60000"));
    EXPECT_EQ(LoggedCount("ret=-1,err=5,timeout=60000"), 1U);
}

TEST_F(TroubleWithAnOwner, ASecondOwnerForANameIsRefusedAndTheFirstGoesOn)
{
    StartAll();

    Peer second(OwnerProgram(), {ResourceOf(APPMGR)});

    EXPECT_TRUE(second.Await("failed"));
    EXPECT_EQ(SetState(ProcMgr::WORKING), kOk);
    EXPECT_THAT(Owner(APPMGR).Reports(), ElementsAre("state 1 60000"));
}

}  // namespace
