// What starts after what, and when a start has succeeded.
#include <unistd.h>

#include <fstream>

#include "tests/ownerd/ownerd_test.h"

using testing::ElementsAre;

namespace {

class OrderTest : public OwnerdTest {
protected:
    static void Touch(const std::string& name) { std::ofstream(Path(name)) << "go\n"; }

    // The position of a line in the owner's log.
    size_t PlaceOf(const std::string& text)
    {
        const std::vector<std::string> lines = Owner().Reports();
        size_t place = 0;
        while (place < lines.size() && lines[place].find(text) == std::string::npos) {
            ++place;
        }
        EXPECT_LT(place, lines.size()) << text;
        return place;
    }
};

class ReadinessTest : public OrderTest {};

const char* const kNotify = ", ready: notify";

}  // namespace

TEST_F(OrderTest, StartsAnApplicationOnceThoseBeforeItAreReady)
{
    Begin(Entry("last", Doing("stay") + ", after: [middle]") +
          Entry("middle", Doing("await=" + Path("go") + " notify=READY=1 stay") + kNotify +
                              ", after: [first]") +
          Entry("first", Doing("stay")));
    auto state = BeginSetState(ProcMgr::WORKING);
    ASSERT_TRUE(Eventually([] { return PidOf("middle") > 0; }));
    EXPECT_TRUE(IsRunning("first"));
    EXPECT_EQ(PidOf("last"), 0);

    Touch("go");

    EXPECT_EQ(state.get(), kOk);
    EXPECT_LT(PlaceOf("first: started"), PlaceOf("middle: started"));
    EXPECT_LT(PlaceOf("middle: started"), PlaceOf("last: started"));
}

TEST_F(OrderTest, StopsThemTheOtherWayRound)
{
    Begin(Entry("first", Doing("stay")) + Entry("middle", Doing("stay") + ", after: [first]") +
          Entry("last", Doing("stay") + ", after: [middle]"));
    SetState(ProcMgr::WORKING);

    EXPECT_EQ(OwnerlinkClient::GetInstance().StopAllApp(), kOk);

    EXPECT_LT(PlaceOf("last: stopped"), PlaceOf("middle: stopped"));
    EXPECT_LT(PlaceOf("middle: stopped"), PlaceOf("first: stopped"));
}

TEST_F(OrderTest, DoesNotStartWhatComesAfterAFailure)
{
    Begin(Entry("bus", "command: [/no/such/program]") +
          Entry("camera", Doing("stay") + ", after: [bus]"));

    const ChangeOutcome outcome = Change({App(APPMGR, "camera"), App(APPMGR, "bus")});

    EXPECT_THAT(outcome.results, ElementsAre("bus START_FAILED", "camera START_FAILED"));
    EXPECT_EQ(Logged("camera: failed: it starts after bus, which has failed"), 1U);
}

TEST_F(OrderTest, DoesNotWaitForThoseThatNobodyWants)
{
    Begin(Entry("bus", Doing("stay")) + Entry("camera", Doing("stay") + ", after: [bus]"));

    EXPECT_EQ(StartOne("camera"), "SUCCESS");

    EXPECT_EQ(PidOf("bus"), 0);
}

TEST_F(OrderTest, StopsOneAloneWhileThoseAfterItGoOn)
{
    Begin(Entry("bus", Doing("stay")) + Entry("camera", Doing("stay") + ", after: [bus]"));
    SetState(ProcMgr::WORKING);
    const pid_t camera = PidOf("camera");

    EXPECT_EQ(StopOne("bus"), "SUCCESS");

    EXPECT_EQ(PidOf("camera"), camera);
}

TEST_F(ReadinessTest, CountsAsStartedWhenItHasLivedThroughItsStartTime)
{
    Begin(Entry("camera", Doing("stay") + ", start-time: 50ms"));

    EXPECT_EQ(StartOne("camera"), "SUCCESS");
    EXPECT_TRUE(IsRunning("camera"));
}

TEST_F(ReadinessTest, CountsAsStartedEarlierWhenItSaysSo)
{
    Begin(Entry("camera", Doing("notify=READY=1 stay") + ", start-time: 60min"));

    EXPECT_EQ(StartOne("camera"), "SUCCESS");
}

TEST_F(ReadinessTest, FailsWhenItEndsWithinItsStartTime)
{
    Begin(Entry("camera", Doing("exit=0") + ", start-time: 60min, restart: never"));

    EXPECT_EQ(StartOne("camera"), "START_FAILED");

    EXPECT_EQ(Logged("camera: failed: did not live through its start"), 1U);
}

TEST_F(ReadinessTest, IsNotRunningBeforeItHasNotified)
{
    Begin(Entry("camera",
                Doing("await=" + Path("go") + " notify=STATUS=well,READY=1 stay") + kNotify));
    auto state = BeginSetState(ProcMgr::WORKING);
    ASSERT_TRUE(Eventually([] { return PidOf("camera") > 0; }));
    EXPECT_FALSE(IsRunning("camera"));

    Touch("go");

    EXPECT_EQ(state.get(), kOk);
    EXPECT_TRUE(IsRunning("camera"));
}

TEST_F(ReadinessTest, FailsWhenItDoesNotNotifyInTime)
{
    Begin(Entry("camera", Doing("stay") + kNotify + ", ready-within: 50ms, restart: never"));

    EXPECT_EQ(StartOne("camera"), "START_FAILED");

    EXPECT_EQ(Logged("camera: not ready within 50 ms"), 1U);
    EXPECT_EQ(PidOf("camera"), 0);
}

TEST_F(ReadinessTest, FollowsAnApplicationThatNamesAnotherMainProcess)
{
    Begin(Entry("camera", Doing("become=" + Path("main") + " stay") + kNotify));

    ASSERT_EQ(StartOne("camera"), "SUCCESS");
    Touch("main.go");
    const pid_t pid = std::stoi(FileText(Path("main")));

    EXPECT_EQ(PidOf("camera"), pid);
    EXPECT_EQ(StopOne("camera"), "SUCCESS");
    EXPECT_FALSE(IsAlive(pid));
}

TEST_F(ReadinessTest, DoesNotFollowAProcessThatIsNoneOfItsOwn)
{
    Begin(Entry("camera", Doing("notify=MAINPID=1,READY=1 stay") + kNotify));

    ASSERT_EQ(StartOne("camera"), "SUCCESS");

    EXPECT_NE(PidOf("camera"), 1);
    EXPECT_EQ(Logged("camera: names a main process that is none of its own: 1"), 1U);
}
