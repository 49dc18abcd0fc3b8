// A manager and an owner tested as users test theirs: with libownerlink-fake.so and nothing else.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <ownerlink/client.h>
#include <ownerlink/server.h>

#include <cerrno>
#include <cstring>
#include <future>

#include "platform/dlog.h"
#include "platform/fake/fake_platform.h"

namespace {

namespace platform = OwnerlinkFake;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr uint32_t kStateFailed = 0xF10301;
constexpr int kWorking = 1;
constexpr int kSuspend = 2;

// Answers a request with the verdict text `text`, as an owner does.
platform::ExchangeScript Verdict(const std::string& text)
{
    return [text](const std::string&, unsigned int, IAMIoctlArg& arg) {
        auto* bytes = static_cast<char*>(arg.buf);
        const uint64_t size = text.size();
        std::memcpy(bytes, &size, sizeof(size));
        std::memcpy(bytes + 12, text.data(), text.size());
        return static_cast<int>(size) + 8;
    };
}

class FakeLibrary : public ::testing::Test {
protected:
    FakeLibrary()
    {
        platform::Reset();
        platform::SetFirstDescriptor(7);
        platform::SetConfig(
            "data: {OsType: 0, GroupOwner: 0, SecVfs: 'dp:/res/data'}\n"
            "apps: {OsType: 0, GroupOwner: 2, SecVfs: 'dp:/res/apps'}\n");
    }
};

TEST_F(FakeLibrary, AManagerReachesScriptedOwners)
{
    platform::AnswerAll(Verdict("1#"));

    EXPECT_EQ(OwnerlinkClient::GetInstance().SetSystemState(kSuspend, 1000), 0U);

    EXPECT_EQ(platform::Exchanges("dp:/res/data").size(), 1U);
    EXPECT_EQ(platform::Exchanges("dp:/res/apps").size(), 1U);
    EXPECT_EQ(platform::Exchanges()[0].timeoutMs, 1000);
    EXPECT_THAT(platform::Errors(), IsEmpty());
    EXPECT_THAT(platform::OpenDescriptors(), IsEmpty());
}

TEST_F(FakeLibrary, AManagerSeesAnOwnerThatIsGone)
{
    platform::AnswerAll(Verdict("1#"));
    platform::SetStanding("open", platform::Fails(ENOENT), "dp:/res/apps");

    EXPECT_EQ(OwnerlinkClient::GetInstance().SetSystemState(kSuspend, 1000), kStateFailed);

    EXPECT_THAT(platform::Calls("open"), Contains("open(dp:/res/apps,O_RDWR)=-1 ENOENT"));
    EXPECT_THAT(platform::Errors(),
                Contains("SetSystemState state=2(SUSPEND) failed. because send to dp:/res/apps "
                         "failed."));
}

TEST_F(FakeLibrary, ACallWaitsForTheSlowestOwner)
{
    platform::AnswerAll(Verdict("1#"));
    platform::Hold("ioctl");
    auto verdict = std::async(std::launch::async, [] {
        return OwnerlinkClient::GetInstance().SetSystemState(kWorking, 1000);
    });

    ASSERT_TRUE(platform::WaitForHeld("ioctl", 2));
    EXPECT_TRUE(platform::ReleaseOne("ioctl", "dp:/res/data"));
    EXPECT_TRUE(platform::ReleaseOne("ioctl", "dp:/res/apps"));

    EXPECT_EQ(verdict.get(), 0U);
}

TEST_F(FakeLibrary, ManagerAndOwnerMeetInOneProcess)
{
    platform::Answer("dp:/res/data", Verdict("1#"));
    std::vector<int> states;
    OwnerlinkServer::GetInstance().RegSetSystemStateCallBackImpl(
        [&](int state) {
            states.push_back(state);
            return state != kSuspend;
        },
        "dp:/res/apps");

    EXPECT_EQ(OwnerlinkClient::GetInstance().SetSystemState(kWorking, 1000), 0U);
    EXPECT_EQ(OwnerlinkClient::GetInstance().SetSystemState(kSuspend, 1000), kStateFailed);

    EXPECT_THAT(states, ElementsAre(kWorking, kSuspend));
}

TEST_F(FakeLibrary, EventsTravelFromOwnerToManager)
{
    constexpr const char* kEvents = "dp:/res/pm/sys_event";
    OwnerlinkServer::GetInstance().InitSysEventServer(kEvents);
    std::vector<uint32_t> states;
    OwnerlinkClient::GetInstance().RegSysmonitorEventImpl(
        [&](const SysEvent& event) { states.push_back(event.state); });
    SysEvent event{};
    event.state = kWorking;

    EXPECT_EQ(OwnerlinkServer::GetInstance().ReportSysEvent(event), 0);
    EXPECT_EQ(platform::DeliverQueuedEvents(), 1U);

    EXPECT_THAT(states, ElementsAre(1U));
}

TEST_F(FakeLibrary, SuppliesThePlatformsCallsToTheOwnerItself)
{
    EXPECT_EQ(CheckLogLevel(27, 1), 1);
    DlogRecord(27, 1, "[%s:%d]%s", "my_owner", 1, "started");

    EXPECT_THAT(platform::Infos(), ElementsAre("started"));
}

}  // namespace
