#include "tools/ownerd/remembered_state.h"

#include <gmock/gmock.h>

using namespace ownerd;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

namespace {

RememberedState State()
{
    Memory camera;
    camera.isWanted = true;
    camera.isPrepared = true;
    camera.stopReason = StopReason::SuspendPre;
    camera.arguments = {"--fast", "", "bytes \xff\xfe"};
    camera.parameters = {{-2, {"a", "b"}}, {1, {}}};
    camera.pid = 1234;
    camera.startTime = 98765432109876ULL;
    Memory bus;
    bus.hasEnded = true;
    bus.hasFailed = true;
    RememberedState state;
    state.systemState = ProcMgr::SUSPEND;
    state.applications = {{"camera", camera}, {"b\xffs", bus}};
    return state;
}

}  // namespace

TEST(RememberedState, ComesBackFromItsText)
{
    const RememberedState state = Read(Write(State(), "boot"), "boot");

    EXPECT_EQ(state.systemState, 2);
    ASSERT_EQ(state.applications.size(), 2U);
    const Memory& camera = state.applications.at("camera");
    EXPECT_TRUE(camera.isWanted);
    EXPECT_TRUE(camera.isPrepared);
    EXPECT_FALSE(camera.hasEnded);
    EXPECT_EQ(camera.stopReason, StopReason::SuspendPre);
    EXPECT_THAT(camera.arguments, ElementsAre("--fast", "", "bytes \xff\xfe"));
    EXPECT_THAT(camera.parameters,
                ElementsAre(Pair(-2, ElementsAre("a", "b")), Pair(1, IsEmpty())));
    EXPECT_EQ(camera.pid, 1234);
    EXPECT_EQ(camera.startTime, 98765432109876ULL);
    const Memory& bus = state.applications.at("b\xffs");
    EXPECT_TRUE(bus.hasEnded);
    EXPECT_TRUE(bus.hasFailed);
}

TEST(RememberedState, OfAnotherBootCountsForNothing)
{
    const RememberedState state = Read(Write(State(), "boot"), "other");

    EXPECT_EQ(state.systemState, -1);
    EXPECT_THAT(state.applications, IsEmpty());
}

TEST(RememberedState, ThatCannotBeReadIsEmpty)
{
    const std::string whole = Write(State(), "boot");
    for (size_t length = 0; length + 1 < whole.size(); ++length) {
        EXPECT_THAT(Read(whole.substr(0, length), "boot").applications, IsEmpty()) << length;
    }
    EXPECT_THAT(Read("{\"version\":2,\"boot\":\"boot\"}", "boot").applications, IsEmpty());
    EXPECT_THAT(Read("[1,2]", "boot").applications, IsEmpty());
}

TEST(RememberedState, IsSavedAsAWhole)
{
    const std::string path = testing::TempDir() + "remembered-" + std::to_string(getpid());

    ASSERT_TRUE(Save(path, State()));
    EXPECT_EQ(Load(path).applications.size(), 2U);
    EXPECT_FALSE(Save("/no/such/directory/file", State()));

    std::remove(path.c_str());
    EXPECT_THAT(Load(path).applications, IsEmpty());
}
