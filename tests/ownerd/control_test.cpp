// The control commands, the configuration that changes, and the owner's own signals.
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <mutex>

#include "tests/ownerd/ownerd_test.h"

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

OwnerlinkClient& Manager()
{
    return OwnerlinkClient::GetInstance();
}

std::vector<std::string> Names()
{
    std::map<uint32_t, std::map<uint32_t, std::vector<std::string>>> names;
    EXPECT_EQ(Manager().QueryAppList(names), kOk);
    return names[DP][APPMGR];
}

class ControlTest : public OwnerdTest {};
class ReloadTest : public OwnerdTest {};

class SignalTest : public OwnerdTest {
protected:
    static std::string EventResource() { return "event-resource: dp:/res/pm/sys_event\n"; }

    // What the manager is told of.
    void Subscribe()
    {
        ASSERT_TRUE(Manager().RegSysmonitorEventImpl([this](const SysEvent& event) {
            const std::lock_guard<std::mutex> lock(mutex_);
            events_.push_back(event.state);
        }));
    }
    bool AwaitEvent(uint32_t state)
    {
        return Eventually([&] {
            const std::lock_guard<std::mutex> lock(mutex_);
            return std::find(events_.begin(), events_.end(), state) != events_.end();
        });
    }

private:
    std::mutex mutex_;
    std::vector<uint32_t> events_;
};

// The socket of a service manager.
class ServiceManager {
public:
    explicit ServiceManager(const std::string& path) : fd_(socket(AF_UNIX, SOCK_DGRAM, 0))
    {
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        std::memcpy(address.sun_path, path.data(), path.size());
        EXPECT_EQ(bind(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        setenv("NOTIFY_SOCKET", path.c_str(), 1);
        const timeval patience = {60, 0};
        setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    }
    ~ServiceManager() { close(fd_); }

    std::string Next() const
    {
        char buffer[256];
        const ssize_t count = recv(fd_, buffer, sizeof buffer, 0);
        return {buffer, static_cast<size_t>(std::max<ssize_t>(count, 0))};
    }

private:
    int fd_;
};

}  // namespace

TEST_F(ControlTest, ListsTheApplicationsInTheirOrder)
{
    Begin(Entry("b", Doing("stay") + ", after: [a]") + Entry("a", Doing("stay")));

    EXPECT_THAT(Names(), ElementsAre("a", "b"));
}

TEST_F(ControlTest, DumpsItsStateToItsLog)
{
    Begin(Entry("a", Doing("stay") + ", states: [WORKING, UPGRADE]") +
          Entry("b", "command: [/no/such/program], start: manual"));
    SetState(ProcMgr::WORKING);
    StartOne("b");

    EXPECT_EQ(Manager().DumpApp(), kOk);

    EXPECT_EQ(Logged("dump: group APPMGR, resource dp:/res/"), 1U);
    EXPECT_EQ(Logged("/appmgr, state WORKING, 2 applications"), 1U);
    EXPECT_EQ(Logged("dump: a: running, pid " + std::to_string(PidOf("a")) + ", for"), 1U);
    EXPECT_EQ(Logged("s, meant for WORKING UPGRADE"), 1U);
    EXPECT_EQ(Logged("dump: b: failed"), 1U);
}

TEST_F(ControlTest, StopsAllUntilTheNextStateOrStart)
{
    Begin(Entry("a", Doing("stay")) + Entry("b", Doing("stay")));
    SetState(ProcMgr::WORKING);

    EXPECT_EQ(Manager().StopAllApp(), kOk);
    EXPECT_EQ(PidOf("a"), 0);
    EXPECT_EQ(PidOf("b"), 0);

    EXPECT_EQ(StartOne("a"), "SUCCESS");
    EXPECT_EQ(SetState(ProcMgr::WORKING), kOk);
    EXPECT_TRUE(IsRunning("b"));
}

TEST_F(ReloadTest, AppliesTheDifferenceAndNoMore)
{
    Begin(Entry("same", Doing("stay")) + Entry("other", Doing("stay")) +
          Entry("gone", Doing("stay")) + Entry("policy", Doing("stay")));
    SetState(ProcMgr::WORKING);
    const pid_t same = PidOf("same");
    const pid_t other = PidOf("other");
    const pid_t gone = PidOf("gone");
    const pid_t policy = PidOf("policy");

    Write(Entry("added", Doing("stay")) + Entry("manual", Doing("stay") + ", start: manual") +
          Entry("same", Doing("stay")) +
          Entry("other", Doing("print=changed stay") + ", environment: {A: b}") +
          Entry("policy", Doing("stay") + ", restart: always, stop-grace: 1s"));
    EXPECT_EQ(Manager().UpdateCfg(), kOk);

    EXPECT_TRUE(AwaitRunning("added"));
    EXPECT_TRUE(Eventually([&] { return PidOf("other") != other && IsRunning("other"); }));
    EXPECT_TRUE(Eventually([&] { return !IsAlive(gone); }));
    EXPECT_EQ(PidOf("same"), same);
    EXPECT_EQ(PidOf("policy"), policy);
    EXPECT_EQ(PidOf("manual"), 0);
    EXPECT_THAT(Names(), ElementsAre("added", "manual", "same", "other", "policy"));
}

TEST_F(ReloadTest, HasApplicationsFollowTheStateThatTheirFileNamesNow)
{
    Begin(Entry("a", Doing("stay")) + Entry("b", Doing("stay") + ", states: [UPGRADE]") +
          Entry("c", Doing("stay")));
    SetState(ProcMgr::WORKING);
    StopOne("c");

    Write(Entry("a", Doing("stay") + ", states: [UPGRADE]") + Entry("b", Doing("stay")) +
          Entry("c", Doing("stay") + ", states: [WORKING, UPGRADE]"));
    EXPECT_EQ(Manager().UpdateCfg(), kOk);

    EXPECT_TRUE(AwaitRunning("b"));
    EXPECT_TRUE(Eventually([] { return PidOf("a") == 0; }));
    EXPECT_EQ(PidOf("c"), 0);
}

TEST_F(ReloadTest, ChangesNothingWithABadFile)
{
    Begin(Entry("camera", Doing("stay")));
    SetState(ProcMgr::WORKING);
    const pid_t pid = PidOf("camera");

    Write(Entry("camera", Doing("print=x stay") + ", restart: no"));
    EXPECT_NE(Manager().UpdateCfg(), kOk);

    EXPECT_EQ(PidOf("camera"), pid);
    EXPECT_EQ(Logged("applications.camera.restart: expected never, on-failure or always"), 1U);
    EXPECT_EQ(Logged("configuration left as it was"), 1U);
}

TEST_F(ReloadTest, RefusesWhatNeedsARestartOfTheOwner)
{
    Begin(Entry("camera", Doing("stay")));

    Write(Entry("camera", Doing("stay")), "when-owner-dies: keep\n");
    EXPECT_NE(Manager().UpdateCfg(), kOk);
    Write(Entry("camera", Doing("stay")), "event-resource: dp:/e\n");
    EXPECT_NE(Manager().UpdateCfg(), kOk);

    EXPECT_EQ(Logged("when-owner-dies: expected as it was; a change needs a restart"), 1U);
    EXPECT_EQ(Logged("event-resource: expected as it was; a change needs a restart"), 1U);
}

TEST_F(ReloadTest, ComesWithSighupToo)
{
    Begin(Entry("camera", Doing("stay")));
    Write(Entry("camera", Doing("stay")) + Entry("more", Doing("stay")));

    SignalOwner(SIGHUP);

    ASSERT_TRUE(AwaitLogged("configuration reloaded"));
    EXPECT_EQ(StartOne("more"), "SUCCESS");
}

TEST_F(ReloadTest, StartsAnewWhatWasRemovedAndComesBackWhileItStops)
{
    const std::string slow =
        Entry("slow", Doing("ignore=15 mark=" + Path("runs") + " notify=READY=1 stay") +
                          ", ready: notify, stop-grace: 300ms");
    Begin(slow + Entry("other", Doing("stay")));
    SetState(ProcMgr::WORKING);
    const pid_t before = PidOf("slow");

    Write(Entry("other", Doing("stay")));
    EXPECT_EQ(Manager().UpdateCfg(), kOk);
    Write(slow + Entry("other", Doing("stay")));
    EXPECT_EQ(Manager().UpdateCfg(), kOk);

    EXPECT_TRUE(AwaitRunning("slow"));
    EXPECT_NE(PidOf("slow"), before);
    EXPECT_FALSE(IsAlive(before));
}

TEST_F(SignalTest, ReportsTheConfiguredStateOnSigusr1)
{
    Begin(Entry("camera", Doing("stay")), EventResource() + "signal-event: CALIBRATION\n");
    Subscribe();

    SignalOwner(SIGUSR1);

    EXPECT_TRUE(AwaitEvent(ProcMgr::CALIBRATION));
    EXPECT_EQ(Logged("SIGUSR1: reporting CALIBRATION"), 1U);
}

TEST_F(SignalTest, ReportsNothingWithoutAnEventResource)
{
    Begin(Entry("camera", Doing("stay")));

    SignalOwner(SIGUSR1);

    EXPECT_TRUE(AwaitLogged("SIGUSR1: no event-resource is configured, nothing to report"));
}

TEST_F(SignalTest, TellsItsServiceManagerWhenItIsReadyReloadsAndStops)
{
    const ServiceManager manager(Path("notify"));
    Begin(Entry("camera", Doing("stay")));
    EXPECT_EQ(manager.Next(), "READY=1");

    SignalOwner(SIGHUP);
    EXPECT_THAT(manager.Next(), StartsWith("RELOADING=1\nMONOTONIC_USEC="));
    EXPECT_EQ(manager.Next(), "READY=1");

    EXPECT_EQ(EndOwner(), 0);
    EXPECT_EQ(manager.Next(), "STOPPING=1");
}

TEST_F(SignalTest, SurvivesAStormOfThem)
{
    Begin(Entry("camera", Doing("stay")));
    SetState(ProcMgr::WORKING);
    const pid_t pid = PidOf("camera");

    for (int i = 0; i < 50; ++i) {
        SignalOwner(i % 2 == 0 ? SIGHUP : SIGUSR1);
        SignalOwner(SIGPIPE);
        SignalOwner(SIGCHLD);
    }

    ASSERT_TRUE(AwaitLogged("configuration reloaded"));
    EXPECT_EQ(PidOf("camera"), pid);
}
