// Many callbacks at once: none waits for another, and the limits hold.
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <future>
#include <thread>

#include "tests/hosted/world.h"

using testing::HasSubstr;

namespace {

// Client processes with one blocked call on each of their threads.
class Blockers {
public:
    Blockers(int processes, int threadsEach)
    {
        for (int i = 0; i < processes; ++i) {
            children_.push_back(Start(threadsEach));
        }
    }
    ~Blockers()
    {
        for (const pid_t child : children_) {
            kill(child, SIGKILL);
            waitpid(child, nullptr, 0);
        }
    }

    // The sum of calls that came back well; waits for all.
    int Join()
    {
        int good = 0;
        for (const pid_t child : children_) {
            int status = 0;
            waitpid(child, &status, 0);
            good += WIFEXITED(status) ? WEXITSTATUS(status) : 0;
        }
        children_.clear();
        return good;
    }

private:
    // The child's first call is its main thread's.
    static pid_t Start(int threads)
    {
        const pid_t child = fork();
        if (child != 0) {
            return child;
        }
        const auto call = [] {
            const int fd = static_cast<int>(Open().result);
            IAMResetFileConfig(fd, 100000);
            return Ioctl(fd, kBlock) == CallResult{0, 0};
        };
        std::vector<std::future<bool>> calls;
        for (int i = 1; i < threads; ++i) {
            calls.push_back(std::async(std::launch::async, call));
        }
        int good = call() ? 1 : 0;
        for (auto& other : calls) {
            good += other.get() ? 1 : 0;
        }
        _exit(good);
    }

    std::vector<pid_t> children_;
};

using Load = HostedTest;

}  // namespace

TEST_F(Load, ReadIsAnsweredWhile200CallbacksBlock)
{
    OwnerProcess owner;
    Blockers blockers(5, 40);
    ASSERT_EQ(owner.Tell("blocked 200"), "blocked");
    const int fd = OpenOrFail();
    std::string buffer(4, '\0');

    EXPECT_EQ(ReadInTheEnd(fd, buffer), (CallResult{4, 0}));
    EXPECT_EQ(Ioctl(fd, kEcho), (CallResult{64, 0}));
    EXPECT_GE(CountsOf(fd).threads, 201U);

    owner.Tell("release");
    EXPECT_EQ(blockers.Join(), 200);
}

TEST_F(Load, ThePoolShrinksWhenTheCallbacksReturn)
{
    OwnerProcess owner;
    Blockers blockers(2, 40);
    ASSERT_EQ(owner.Tell("blocked 80"), "blocked");
    owner.Tell("release");
    EXPECT_EQ(blockers.Join(), 80);

    const int fd = OpenOrFail();

    EXPECT_TRUE(Eventually([&] { return CountsOf(fd).threads <= 5; }));
}

TEST_F(Load, AtTheLimitOfTheOwnerIoctlsAreEBUSYAndReadsAreAnswered)
{
    OwnerProcess owner;
    Blockers blockers(5, 51);
    ASSERT_EQ(owner.Tell("blocked 255"), "blocked");
    const int fd = OpenOrFail();
    std::string buffer(4, '\0');

    EXPECT_EQ(Ioctl(fd, kEcho), (CallResult{-1, EBUSY}));
    EXPECT_EQ(ReadInTheEnd(fd, buffer), (CallResult{4, 0}));
    EXPECT_EQ(Ioctl(fd, kEcho), (CallResult{-1, EBUSY}));
    EXPECT_THAT(
        owner.Log(),
        HasSubstr("request to dp:/res/test/owner refused: process " + std::to_string(getpid()) +
                  " of user " + std::to_string(geteuid()) + ", limit of owner 255, count 255"));

    owner.Tell("release");
    EXPECT_EQ(blockers.Join(), 255);
    EXPECT_EQ(Ioctl(fd, kEcho), (CallResult{64, 0}));
}

TEST_F(Load, AtOneProcessesLimitItsIoctlsAreEBUSYAndAnotherProcessIsServed)
{
    OwnerProcess owner(kName, kLongTimeOut);
    std::vector<std::future<CallResult>> calls;
    for (int i = 0; i < 64; ++i) {
        calls.push_back(std::async(std::launch::async, [] { return Ioctl(OpenOrFail(), kBlock); }));
    }
    ASSERT_EQ(owner.Tell("blocked 64"), "blocked");
    const int fd = OpenOrFail();
    std::string buffer(4, '\0');

    EXPECT_EQ(Ioctl(fd, kEcho), (CallResult{-1, EBUSY}));
    EXPECT_EQ(ReadInTheEnd(fd, buffer), (CallResult{4, 0}));
    EXPECT_THAT(owner.Log(), HasSubstr("limit of process 64, count 64"));
    Blockers other(1, 1);
    EXPECT_EQ(owner.Tell("blocked 65"), "blocked");

    owner.Tell("release");
    EXPECT_EQ(other.Join(), 1);
    for (auto& call : calls) {
        EXPECT_EQ(call.get(), (CallResult{0, 0}));
    }
    EXPECT_EQ(Ioctl(fd, kEcho), (CallResult{64, 0}));
}

TEST_F(Load, SlowCallbacksDoNotHoldUpQuickOnes)
{
    OwnerProcess owner(kName, kLongTimeOut);
    std::vector<std::future<CallResult>> slow;
    for (int i = 0; i < 20; ++i) {
        slow.push_back(std::async(std::launch::async, [] { return Ioctl(OpenOrFail(), kBlock); }));
        // Never more than one may stand before the next quick one is answered.
        EXPECT_EQ(owner.Tell("blocked " + std::to_string(i + 1)), "blocked");
        EXPECT_EQ(Ioctl(OpenOrFail(), kEcho), (CallResult{64, 0}));
    }

    owner.Tell("release");
    for (auto& call : slow) {
        EXPECT_EQ(call.get(), (CallResult{0, 0}));
    }
}
