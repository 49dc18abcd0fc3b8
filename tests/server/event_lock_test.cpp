// Which of the platform's calls keep the open event files locked: every one of them.
#include <chrono>

#include "tests/server/server_test.h"

namespace {

using ProcMgr::OwnerlinkServerImpl;
using ProcMgr::ServerInternals;

// Goes the way that a file goes, with a write that fails, and is held in one platform call of it.
class EventFileLock : public ServerTest, public ::testing::WithParamInterface<std::string> {
protected:
    void GoTheWholeWay()
    {
        OwnerlinkServerImpl::OwnerlinkServerOpen(file);
        platform::SetNext("IAMShmWrite", {platform::Gives(-1)});
        server.ReportSysEvent({1});
        server.ReportSysEvent({2});
        OwnerlinkServerImpl::OwnerlinkServerClose(file);
    }

    IamQfsMgrFile* file = platform::NewQueueFile("f");
};

TEST_P(EventFileLock, IsHeldAcrossThePlatformsCall)
{
    platform::Hold(GetParam());
    auto way = InBackground([this] { GoTheWholeWay(); });
    ASSERT_TRUE(platform::WaitForHeld(GetParam(), 1));

    auto look = InBackground([] { return ServerInternals::Files(); });

    EXPECT_EQ(look.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    platform::StopHolding(GetParam());
    way.get();
    look.get();
    EXPECT_EQ(ServerInternals::Files(), 0u);
}

INSTANTIATE_TEST_SUITE_P(Calls, EventFileLock,
                         ::testing::Values("IAMShmRegisterPoolWithConfig", "IAMShmHandleMalloc",
                                           "IAMShmWrite", "IAMShmFree", "IAMDataEnqueue",
                                           "IAMShmDestroyPool"),
                         [](const auto& test) { return test.param; });

}  // namespace
