// Forks of processes whose calls wait and whose hooks run: what the child does by itself is none of
// its parent's business.
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "tests/hosted/raw_peer.h"
#include "tests/hosted/world.h"
#include "tests/support/sanitizers.h"

namespace {

constexpr const char* kChildsName = "dp:/res/test/child";
constexpr int kRequestsOfAProcess = 64;

class ForkWithThreads : public HostedTest {
protected:
    void SetUp() override
    {
        if (!kMayEndThreadInChild) {
            GTEST_SKIP() << "a child with threads takes locks of the sanitizer";
        }
    }
};

// What the hooks of this process have done.
struct Hooks {
    std::mutex mutex;
    std::condition_variable changed;
    int blocked = 0;
    bool isReleased = false;
    pid_t child = -1;
};

Hooks& TheHooks()
{
    static auto* const hooks = new Hooks;
    return *hooks;
}

int Block(IAMMgrFile*, unsigned int, IAMIoctlArg*)
{
    Hooks& hooks = TheHooks();
    std::unique_lock<std::mutex> lock(hooks.mutex);
    ++hooks.blocked;
    hooks.changed.notify_all();
    hooks.changed.wait(lock, [&] { return hooks.isReleased; });
    return 0;
}

void Release()
{
    const std::lock_guard<std::mutex> lock(TheHooks().mutex);
    TheHooks().isReleased = true;
    TheHooks().changed.notify_all();
}

void AwaitBlocked(int count)
{
    std::unique_lock<std::mutex> lock(TheHooks().mutex);
    TheHooks().changed.wait(lock, [=] { return TheHooks().blocked >= count; });
}

// Requests of one process whose answers nobody reads.
std::vector<RawClient> SendRequests()
{
    std::vector<RawClient> clients;
    clients.reserve(kRequestsOfAProcess);
    for (int i = 0; i < kRequestsOfAProcess; ++i) {
        EXPECT_TRUE(clients.emplace_back().Send(MessageOf(RequestHeader(kBlock, 4), "abcd")));
    }
    return clients;
}

// Ends the process that it runs in, and returns a while after it has begun to end.
int ExitBeneath(IAMMgrFile* file, unsigned int command, IAMIoctlArg* argument)
{
    std::thread([] { std::exit(0); }).detach();
    while (Open(kChildsName).error != ENOENT) {
        std::this_thread::yield();
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    return AnswerSize(file, command, argument);
}

int ForkAndServe(IAMMgrFile* file, unsigned int command, IAMIoctlArg* argument)
{
    TheHooks().child = fork();
    if (TheHooks().child == 0) {
        alarm(20);
        EXPECT_EQ(RegisterHere(kChildsName, ExitBeneath), (CallResult{0, 0}));
    }
    return AnswerSize(file, command, argument);
}

int StatusOf(pid_t child)
{
    int status = -1;
    waitpid(child, &status, 0);
    return status;
}

// Two calls on one descriptor: a request that the owner holds up, and a close that waits for it.
class WaitingClose {
public:
    explicit WaitingClose(const std::string& name) : owner_(name), fd_(OpenOrFail(name))
    {
        IAMResetFileConfig(fd_, 60000);
        call_ = std::thread([this] { Ioctl(fd_, kBlock); });
        EXPECT_EQ(owner_.Tell("blocked 1"), "blocked");
        close_ = std::thread([this] { EXPECT_EQ(Close(fd_), (CallResult{0, 0})); });
        EXPECT_TRUE(Eventually([this] { return IAMResetFileConfig(fd_, 60000) != 0; }));
    }
    ~WaitingClose()
    {
        owner_.Tell("release");
        call_.join();
        close_.join();
    }
    WaitingClose(const WaitingClose&) = delete;
    WaitingClose& operator=(const WaitingClose&) = delete;

private:
    OwnerProcess owner_;
    int fd_;
    std::thread call_;
    std::thread close_;
};

}  // namespace

TEST_F(ForkWithThreads, WhileACloseWaitsForACallLeavesTheChildsOwnCallsNobodyToWaitFor)
{
    const WaitingClose parents(kName);
    const pid_t child = fork();
    if (child == 0) {
        alarm(20);
        for (const char* const name : {"dp:/res/test/first", "dp:/res/test/second"}) {
            const WaitingClose own(name);
        }
        _exit(HasFailure() ? 1 : 0);
    }

    EXPECT_EQ(StatusOf(child), 0);
}

TEST_F(ForkWithThreads, AtTheLimitsOfAnOwnerAndAClientLeavesTheChildsOwnServiceFree)
{
    EXPECT_EQ(RegisterHere(kName, Block), (CallResult{0, 0}));
    const std::vector<RawClient> own = SendRequests();
    AwaitBlocked(kRequestsOfAProcess);
    std::array<pid_t, 3> others = {};
    for (pid_t& other : others) {
        other = fork();
        if (other == 0) {
            alarm(100);
            const std::vector<RawClient> clients = SendRequests();
            pause();
        }
    }
    AwaitBlocked(255);
    const pid_t child = fork();
    if (child == 0) {
        alarm(100);
        EXPECT_EQ(RegisterHere(kChildsName), (CallResult{0, 0}));
        pause();
    }
    EXPECT_TRUE(Eventually([] { return Open(kChildsName).result >= 0; }));

    EXPECT_EQ(Ioctl(OpenOrFail(kChildsName), kEcho), (CallResult{64, 0}));

    kill(child, SIGKILL);
    EXPECT_EQ(StatusOf(child), SIGKILL);
    Release();
    for (const pid_t other : others) {
        kill(other, SIGKILL);
        EXPECT_EQ(StatusOf(other), SIGKILL);
    }
}

TEST_F(ForkWithThreads, WithinAHookLeavesTheChildsOwnHooksToBeWaitedForAtItsExit)
{
    static const pid_t process = getpid();
    std::atexit([] {
        if (getpid() != process) {
            _exit(0);  // behind the layer's handler, ahead of what is the test's own
        }
    });
    EXPECT_EQ(RegisterHere(kName, ForkAndServe), (CallResult{0, 0}));
    EXPECT_EQ(Ioctl(OpenOrFail(), kEcho), (CallResult{64, 0}));
    EXPECT_TRUE(Eventually([] { return Open(kChildsName).result >= 0; }));

    EXPECT_EQ(Ioctl(OpenOrFail(kChildsName), kEcho), (CallResult{64, 0}));

    EXPECT_EQ(StatusOf(TheHooks().child), 0);
}
