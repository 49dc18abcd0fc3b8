#include "tools/ownerd/system_state.h"

#include <gmock/gmock.h>
#include <ownerlink/enum_text.h>

#include <vector>

#include "tools/ownerd/supervisor.h"

using namespace ownerd;
using testing::ElementsAre;

namespace {

class SystemStateTest : public testing::Test {
protected:
    void Enter(int state)
    {
        supervisor_.State().Enter(state, Soon(), [this](bool verdict) { Note(verdict); });
    }
    void Cancel()
    {
        supervisor_.State().CancelSuspend(Soon(), [this](bool verdict) { Note(verdict); });
    }

    // Until so many verdicts are in.
    void AwaitVerdicts(size_t count)
    {
        awaited_ = count;
        if (verdicts_.size() < awaited_) {
            loop_.Run([] {});
        }
    }

    static TimePoint Soon() { return Clock::now() + std::chrono::seconds(30); }

    EventLoop loop_;
    Supervisor supervisor_{loop_, Configuration{}};
    std::vector<bool> verdicts_;

private:
    void Note(bool verdict)
    {
        verdicts_.push_back(verdict);
        if (verdicts_.size() == awaited_) {
            loop_.Stop();
        }
    }

    size_t awaited_ = 0;
};

}  // namespace

TEST_F(SystemStateTest, RefusesTheSuspendPreThatItsCancelHasOvertakenAndTakesTheNext)
{
    Cancel();
    Enter(ProcMgr::SUSPEND_PRE);
    Enter(ProcMgr::SUSPEND_PRE);
    AwaitVerdicts(3);

    EXPECT_THAT(verdicts_, ElementsAre(true, false, true));
    EXPECT_TRUE(supervisor_.State().IsSuspendNear());
}

TEST_F(SystemStateTest, TakesASuspendPreThatComesLongAfterACancel)
{
    Cancel();
    Timer later(loop_);
    later.SetIn(SystemState::kCancelLead, [this] { Enter(ProcMgr::SUSPEND_PRE); });
    AwaitVerdicts(2);

    EXPECT_THAT(verdicts_, ElementsAre(true, true));
    EXPECT_TRUE(supervisor_.State().IsSuspendNear());
}

TEST_F(SystemStateTest, KeepsTheStateBeforeASuspendUntilTheSuspendComes)
{
    Enter(ProcMgr::WORKING);
    Enter(ProcMgr::SUSPEND_PRE);
    EXPECT_EQ(supervisor_.State().Lasting(), static_cast<int>(ProcMgr::WORKING));
    Enter(ProcMgr::SUSPEND);
    AwaitVerdicts(3);

    EXPECT_EQ(supervisor_.State().Lasting(), static_cast<int>(ProcMgr::SUSPEND));
    EXPECT_FALSE(supervisor_.State().IsSuspendNear());
}

TEST_F(SystemStateTest, RefusesAStateThatNoApplicationCanBeMeantFor)
{
    Enter(ProcMgr::HIGH_LEVEL_ADS_EXIT);
    Enter(-1);
    AwaitVerdicts(2);

    EXPECT_THAT(verdicts_, ElementsAre(false, false));
    EXPECT_EQ(supervisor_.State().Lasting(), SystemState::kUnknown);
}
