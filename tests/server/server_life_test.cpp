// The server object: its one instance, its end, and the order of its operations.
#include <ownerlink/log.h>
#include <unistd.h>

#include <cstdlib>
#include <memory>

#include "tests/server/server_test.h"

namespace {

using ProcMgr::OwnerlinkServerImpl;
using ::testing::ElementsAre;
using ::testing::ExitedWithCode;
using ::testing::IsEmpty;

class ServerLife : public PlatformTest {};

TEST_F(ServerLife, InstanceIsOneAndTheRequestsServer)
{
    OwnerlinkServer& server = OwnerlinkServer::GetInstance();

    EXPECT_EQ(&OwnerlinkServer::GetInstance(), &server);
    EXPECT_EQ(OwnerlinkServerImpl::GetThis(), &server);
}

TEST_F(ServerLife, BuildingOneDoesNothing)
{
    const OwnerlinkServerImpl server;

    EXPECT_EQ(OwnerlinkServerImpl::GetThis(), &server);
    EXPECT_THAT(platform::Timeline(), IsEmpty());
}

TEST_F(ServerLife, EnableSyslogSwitchesAndSaysNothing)
{
    OwnerlinkServerImpl server;
    ASSERT_FALSE(ProcMgr::IsSyslogEnable());

    EXPECT_EQ(server.EnableSyslog(), 0);

    EXPECT_TRUE(ProcMgr::IsSyslogEnable());
    EXPECT_THAT(platform::Timeline(), IsEmpty());
}

TEST_F(ServerLife, EndLeavesTheRegistrationStanding)
{
    auto server = std::make_unique<OwnerlinkServerImpl>();
    server->RegDumpCallBackImpl([] { return true; }, kResFile);
    platform::ClearHistory();

    server.reset();

    EXPECT_EQ(OwnerlinkServerImpl::GetThis(), nullptr);
    EXPECT_EQ(platform::Services().size(), 1u);
    EXPECT_THAT(platform::Timeline(), IsEmpty());
}

TEST_F(ServerLife, RequestAfterItsEndGetsAnEmptyResponse)
{
    std::make_unique<OwnerlinkServerImpl>()->RegDumpCallBackImpl([] { return true; }, kResFile);
    platform::ClearHistory();

    for (const unsigned command : {0u, 1u, 2u, 3u, 4u, 5u, 6u, 8u, 9u, 10u}) {
        const Answer answer = Send(command, "abc", 1234);

        EXPECT_EQ(answer.result, 8);
        EXPECT_EQ(answer.Size(), 0u);
        EXPECT_EQ(answer.Timeout(), 1234);
        EXPECT_EQ(answer.Bytes(12, 3), "abc");
    }
    EXPECT_THAT(platform::Records(), IsEmpty());
}

TEST_F(ServerLife, BadBuffersAreStillRefusedAfterItsEnd)
{
    std::make_unique<OwnerlinkServerImpl>().reset();

    EXPECT_EQ(OwnerlinkServerImpl::MyIoctl(platform::AnyFile(), 3, nullptr), kBadArgument);

    EXPECT_THAT(platform::Records(),
                ElementsAre(Error("MyIoctl failed. IAMMgrFile or IAMIoctlArg is NULL")));
}

TEST_F(ServerLife, NewOneStartsUnregistered)
{
    std::make_unique<OwnerlinkServerImpl>()->RegDumpCallBackImpl({}, "first");
    OwnerlinkServerImpl server;

    EXPECT_EQ(server.RegDumpCallBackImpl({}, "second"), 0);

    EXPECT_THAT(platform::Calls(),
                ElementsAre("IAMRegisterService(first)=0", "IAMRegisterService(second)=0"));
}

// Runs in a handler that process exit calls behind the instance's destructor.
void ExitByTheAnswer()
{
    const Answer answer = Send(3, "abc");
    const bool isEmpty = answer.result == 8 && answer.Size() == 0;
    ::_exit(isEmpty && OwnerlinkServerImpl::GetThis() == nullptr ? 0 : 1);
}

TEST_F(ServerLife, RequestAtProcessExitGetsAnEmptyResponse)
{
    const auto exitWhileServing = [] {
        std::atexit(ExitByTheAnswer);
        OwnerlinkServer::GetInstance().RegReloadCallBackImpl([] { return true; }, kResFile);
        if (Send(3).Payload() != "1") {
            ::_exit(2);
        }
        std::exit(3);
    };

    EXPECT_EXIT(exitWhileServing(), ExitedWithCode(0), "");
}

// A callback whose target logs in its destructor, as the very last thing the instance does.
TEST_F(ServerLife, CallbacksMayLogWhileTheInstanceIsDestroyed)
{
    const auto exitWithACallback = [] {
        auto target = std::shared_ptr<int>(new int(0), [](const int* number) {
            delete number;
            Send(99);
            IAMIoctlArg arg{1, nullptr};
            OwnerlinkServerImpl::MyIoctl(platform::AnyFile(), 3, &arg);
            ::_exit(platform::Errors().size() == 1 ? 0 : 1);
        });
        OwnerlinkServer::GetInstance().RegReloadCallBackImpl(
            [target = std::move(target)] { return *target == 0; }, kResFile);
        std::exit(3);
    };

    EXPECT_EXIT(exitWithACallback(), ExitedWithCode(0), "");
}

TEST_F(ServerLife, CallbacksAreDestroyedInTheReverseOrderOfTheirMembers)
{
    std::vector<std::string> ended;
    const auto noting = [&ended](const char* name) {
        const std::shared_ptr<const char> target(
            name, [&ended](const char* own) { ended.emplace_back(own); });
        return [target](auto&&...) {
            return *target != 0;
        };
    };

    {
        OwnerlinkServerImpl server;
        server.RegReloadCallBackImpl(noting("reload"), kResFile);
        server.RegDumpCallBackImpl(noting("dump"), kResFile);
        server.RegStopAllAppCallBackImpl(noting("stop all"), kResFile);
        server.RegQueryAppListCallBackImpl(noting("list"), kResFile);
        server.RegSetSystemStateCallBackImpl(noting("state"), kResFile);
        server.RegSetSystemStateTimeoutCallBackImpl(noting("timed state"), kResFile);
        server.RegSsCancelSuspendPreCallBackImpl(noting("cancel"), kResFile);
        server.RegSsChangeAppCallBackImpl(noting("change"), kResFile);
        server.RegSsChangeAppTimeoutCallBackImpl(noting("timed change"), kResFile);
        server.RegSsVerifyAppCallBackImpl(noting("verify"), kResFile);
        server.RegSsQueryAppStateCallBackImpl(noting("query"), kResFile);
    }

    EXPECT_THAT(ended, ElementsAre("cancel", "query", "verify", "timed state", "state", "stop all",
                                   "list", "dump", "reload", "timed change", "change"));
}

// The number of an operation in the table of virtual functions, behind the two destructors.
template <typename Operation>
std::size_t SlotOf(Operation operation)
{
    uintptr_t offset = 0;
    std::memcpy(&offset, &operation, sizeof(offset));
    return offset / sizeof(void*) + 1;
}

TEST_F(ServerLife, OperationsKeepTheirSlots)
{
    EXPECT_EQ(SlotOf(&OwnerlinkServer::EnableSyslog), 3u);
    EXPECT_EQ(SlotOf(&OwnerlinkServer::InitSysEventServer), 4u);
    EXPECT_EQ(SlotOf(&OwnerlinkServer::ReportSysEvent), 5u);
    EXPECT_EQ(SlotOf(&OwnerlinkServer::RegSsChangeAppCallBackImpl), 6u);
    EXPECT_EQ(SlotOf(&OwnerlinkServer::RegSsChangeAppTimeoutCallBackImpl), 7u);
    EXPECT_EQ(SlotOf(&OwnerlinkServer::RegReloadCallBackImpl), 8u);
    EXPECT_EQ(SlotOf(&OwnerlinkServer::RegDumpCallBackImpl), 9u);
    EXPECT_EQ(SlotOf(&OwnerlinkServer::RegQueryAppListCallBackImpl), 10u);
    EXPECT_EQ(SlotOf(&OwnerlinkServer::RegStopAllAppCallBackImpl), 11u);
    EXPECT_EQ(SlotOf(&OwnerlinkServer::RegSetSystemStateCallBackImpl), 12u);
    EXPECT_EQ(SlotOf(&OwnerlinkServer::RegSetSystemStateTimeoutCallBackImpl), 13u);
    EXPECT_EQ(SlotOf(&OwnerlinkServer::RegSsCancelSuspendPreCallBackImpl), 14u);
    EXPECT_EQ(SlotOf(&OwnerlinkServer::RegSsVerifyAppCallBackImpl), 15u);
    EXPECT_EQ(SlotOf(&OwnerlinkServer::RegSsQueryAppStateCallBackImpl), 16u);
}

}  // namespace
