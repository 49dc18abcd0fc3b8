// Everything at once, from several threads of the manager.
#include <atomic>
#include <thread>

#include "tests/ownerd/ownerd_test.h"

namespace {

class TogetherTest : public OwnerdTest {
protected:
    // Runs `call` again and again until the test has seen enough.
    template <typename Call>
    void Repeat(const Call& call)
    {
        threads_.emplace_back([this, call] {
            while (!isOver_) {
                call();
            }
        });
    }
    void End()
    {
        isOver_ = true;
        for (std::thread& thread : threads_) {
            thread.join();
        }
        threads_.clear();
    }

private:
    std::atomic<bool> isOver_{false};
    std::vector<std::thread> threads_;
};

}  // namespace

TEST_F(TogetherTest, RequestsOfAllKindsLeaveTheOwnerInOrder)
{
    const std::string keys = ", start-time: 1ms, output: 'null'";
    Begin(Entry("a", Doing("stay") + keys + ", suspend-pre: stop") +
          Entry("b", Doing("stay") + keys + ", after: [a]") +
          Entry("c", Doing("stay") + keys + ", start: manual"));
    std::atomic<int> changes{0};
    std::atomic<int> states{0};
    OwnerlinkClient& manager = OwnerlinkClient::GetInstance();
    Repeat([&] {
        RestartOne("a");
        StopOne("c");
        StartOne("c");
        ++changes;
    });
    Repeat([&] {
        SetState(ProcMgr::SUSPEND_PRE);
        SetState(ProcMgr::WORKING);
        SetState(ProcMgr::SUSPEND);
        SetState(ProcMgr::WORKING);
        ++states;
    });
    Repeat([] { StatusOf("b"); });
    Repeat([&] {
        std::map<uint32_t, std::map<uint32_t, std::vector<std::string>>> names;
        manager.QueryAppList(names);
        manager.UpdateCfg();
        manager.DumpApp();
    });

    EXPECT_TRUE(Eventually([&] { return changes >= 5 && states >= 5; }));
    End();

    EXPECT_EQ(SetState(ProcMgr::WORKING), kOk);
    EXPECT_EQ(RestartOne("a"), "SUCCESS");
    EXPECT_EQ(StartOne("b"), "SUCCESS");
    EXPECT_EQ(StartOne("c"), "SUCCESS");
    EXPECT_EQ(manager.StopAllApp(), kOk);
    EXPECT_EQ(PidOf("a"), 0);
    EXPECT_EQ(PidOf("b"), 0);
    EXPECT_EQ(PidOf("c"), 0);
}

TEST_F(TogetherTest, ACancelOvertakesASuspendAgainAndAgain)
{
    Begin(Entry("a", Doing("stay") + ", start-time: 1ms, suspend-pre: stop"));
    SetState(ProcMgr::WORKING);

    for (int i = 0; i < 20; ++i) {
        auto suspend = BeginSetState(ProcMgr::SUSPEND_PRE);
        SetState(ProcMgr::WORKING);
        suspend.get();
        // A cancel of nothing is refused, and the library takes a WORKING behind a SUSPEND_PRE that
        // it has itself refused for one.
        ASSERT_TRUE(Eventually([] { return SetState(ProcMgr::WORKING) == kOk; }));
        ASSERT_TRUE(IsRunning("a"));
    }
}
