// The whole road of an event: from an owner's `ReportSysEvent` to a manager's function, both users
// of the shared library.
#include <signal.h>

#include <memory>

#include "tests/queue/queue_world.h"

using testing::HasSubstr;

namespace {

constexpr const char* kEvents = "dp:/res/pm/sys_event";
constexpr const char* kNotRegistered = "15794952";
constexpr const char* kNoBlock = "15794697";

class Manager : public QueuePeer {
public:
    Manager() : QueuePeer("subscribe manager") {}
};

class EventRoad : public HostedTest {};

}  // namespace

TEST_F(EventRoad, LeadsFromAnOwnersReportToAManagersFunction)
{
    QueueOwner owner(kEvents);
    ASSERT_EQ(owner.FirstLine(), "ready");
    Manager manager;
    ASSERT_EQ(manager.FirstLine(), "ready");

    EXPECT_EQ(owner.Tell("report 1"), "0");
    EXPECT_EQ(owner.Tell("report 0"), "0");
    EXPECT_EQ(owner.Tell("report 4294967295"), "0");

    EXPECT_EQ(manager.Tell("await 3"), "1,0,4294967295");
    EXPECT_THAT(manager.Log(), HasSubstr("WakeUpEvent read wake state=1(WORKING)"));
}

TEST_F(EventRoad, LeadsToEveryManager)
{
    QueueOwner owner(kEvents);
    Manager first;
    Manager second;

    EXPECT_EQ(owner.Tell("report 258"), "0");

    EXPECT_EQ(first.Tell("await 1"), "258");
    EXPECT_EQ(second.Tell("await 1"), "258");
}

TEST_F(EventRoad, GoesOnWithTheOwnersNextLife)
{
    auto owner = std::make_unique<QueueOwner>(kEvents);
    Manager manager;
    owner->Tell("report 1");
    ASSERT_EQ(manager.Tell("await 1"), "1");

    owner = nullptr;
    owner = std::make_unique<QueueOwner>(kEvents);
    ASSERT_EQ(owner->FirstLine(), "ready");

    // A report before the manager is back reaches nobody, and says nothing of it.
    EXPECT_TRUE(Eventually([&] { return manager.Log().find(" is back: ") != std::string::npos; }));
    EXPECT_EQ(owner->Tell("report 2"), "0");
    EXPECT_EQ(manager.Tell("await 2"), "1,2");
}

TEST_F(EventRoad, EndsWithTheSubscription)
{
    QueueOwner owner(kEvents);
    Manager manager;
    Manager other;
    EXPECT_EQ(manager.Tell("end"), "ended");
    EXPECT_EQ(manager.Tell("end"), "failed");

    EXPECT_EQ(owner.Tell("report 1"), "0");

    EXPECT_EQ(other.Tell("await 1"), "1");
    EXPECT_EQ(manager.Tell("await 0"), "");
}

TEST_F(EventRoad, WithoutAnOwnerFailsAtTheManager)
{
    EXPECT_EQ(Manager().FirstLine(), "failed");
}

TEST_F(EventRoad, WithASecondOwnerFailsAtThatOne)
{
    QueueOwner owner(kEvents);
    QueueOwner second(kEvents);

    EXPECT_EQ(second.FirstLine(), kNotRegistered);
}

TEST_F(EventRoad, WithoutAManagerIsNoFailure)
{
    QueueOwner owner(kEvents);

    EXPECT_EQ(owner.Tell("report 1"), "0");
}

TEST_F(EventRoad, ToAManagerThatIsStoppedFailsWhenItsPoolIsDry)
{
    QueueOwner owner(kEvents);
    Manager manager;
    manager.Stop();

    for (int i = 0; i < 1000; ++i) {
        ASSERT_EQ(owner.Tell("report " + std::to_string(i)), "0") << i;
    }
    EXPECT_EQ(owner.Tell("report 1000"), kNoBlock);

    manager.Signal(SIGCONT);
    EXPECT_EQ(manager.Tell("await 1000"), Numbers(0, 1000));
    EXPECT_EQ(owner.Tell("report 7"), "0");
    EXPECT_EQ(manager.Tell("await 1001"), Numbers(0, 1000) + ",7");
}

TEST_F(EventRoad, SurvivesAManagerThatIsKilled)
{
    QueueOwner owner(kEvents);
    {
        Manager manager;
        owner.Tell("report 1");
    }
    Manager next;
    ASSERT_EQ(next.FirstLine(), "ready");

    EXPECT_EQ(owner.Tell("report 2"), "0");

    EXPECT_EQ(next.Tell("await 1"), "2");
}

TEST_F(EventRoad, EndsCleanlyWithTheExitOfEitherSide)
{
    QueueOwner owner(kEvents);
    Manager manager;
    owner.Tell("report 1");
    manager.Tell("await 1");

    manager.Write("exit");
    EXPECT_EQ(manager.AwaitExit(), 0);
    owner.Write("exit");
    EXPECT_EQ(owner.AwaitExit(), 0);
}
