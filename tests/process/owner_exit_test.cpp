// An owner that ends by itself, with requests on their way to it.

#include <sys/wait.h>

#include <atomic>
#include <thread>

#include "tests/process/owners_test.h"

using testing::ElementsAre;

namespace {

class OwnerExit : public OwnersTest {};

// Asks until an owner has failed; every answer before that must be a success.
class Asker {
public:
    Asker() : thread_([this] { Ask(); }) {}
    ~Asker() { thread_.join(); }

private:
    void Ask()
    {
        uint32_t code = kOk;
        while (code == kOk) {
            std::vector<AppStatus> answers;
            code = OwnerlinkClient::GetInstance().QueryAppState({"a"}, answers, kLongTimeOut, 1);
            EXPECT_LE(answers.size(), 3U);
        }
        EXPECT_EQ(code, kQueryFailed);
    }

    std::thread thread_;
};

TEST_F(OwnerExit, EndsCleanlyWhileRequestsArriveAndTheRequestsEndToo)
{
    StartAll();
    {
        const Asker first;
        const Asker second;
        ASSERT_TRUE(Owner(APPMGR).AwaitAny("query", 20));

        Owner(APPMGR).Write("exit");

        const int status = Owner(APPMGR).AwaitExit();
        EXPECT_TRUE(WIFEXITED(status)) << status;
        EXPECT_EQ(WEXITSTATUS(status), 0);
    }
    Start(APPMGR);
    EXPECT_EQ(SetState(ProcMgr::WORKING), kOk);
}

TEST_F(OwnerExit, IsFoundMissingByTheNextCallAndBackByTheOneAfter)
{
    StartAll();
    ASSERT_EQ(SetState(ProcMgr::WORKING), kOk);
    Owner(APPMGR).Write("exit");
    ASSERT_EQ(Owner(APPMGR).AwaitExit(), 0);

    EXPECT_EQ(SetState(ProcMgr::SUSPEND), kStateFailed);
    Start(APPMGR);
    EXPECT_EQ(SetState(ProcMgr::UPGRADE), kOk);

    EXPECT_THAT(Owner(APPMGR).Reports(), ElementsAre("state 3 60000"));
}

// The exit handler waits two seconds for callbacks, and no longer.
TEST_F(OwnerExit, DoesNotWaitForACallbackThatNeverReturns)
{
    StartAll();
    ASSERT_TRUE(Owner(APPMGR).Tell("once state block 1"));
    std::future<uint32_t> running = BeginSetState(ProcMgr::WORKING);
    ASSERT_TRUE(Owner(APPMGR).AwaitAny("state"));

    Owner(APPMGR).Write("exit");

    const int status = Owner(APPMGR).AwaitExit();
    EXPECT_TRUE(WIFEXITED(status)) << status;
    EXPECT_EQ(running.get(), kStateFailed);
}

TEST_F(OwnerExit, LetsARunningCallbackFinishAndAnswer)
{
    StartAll();
    ASSERT_TRUE(Owner(APPMGR).Tell("once state block 1"));
    std::future<uint32_t> running = BeginSetState(ProcMgr::WORKING);
    ASSERT_TRUE(Owner(APPMGR).AwaitAny("state"));

    // Both lines are there when the owner reads the first.
    Owner(APPMGR).Write("release state accept\nexit");

    EXPECT_EQ(Owner(APPMGR).AwaitExit(), 0);
    EXPECT_EQ(running.get(), kOk);
}

}  // namespace
