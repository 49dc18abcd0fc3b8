// Forks and exits of the processes that carry the layer.
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <future>
#include <iterator>
#include <string>
#include <thread>

#include "tests/queue/queue_world.h"
#include "tests/support/sanitizers.h"

namespace {

using Fork = HostedTest;
using Exit = HostedTest;

int Ignore(int, void*, unsigned long)
{
    return 0;
}

// Where a child says that its delivery has come to its end.
std::array<int, 2> ending = {-1, -1};

// Ends the process that it runs in, and returns a while after it has begun to end.
int ExitBeneath(int fd, void*, unsigned long)
{
    std::thread([] { std::exit(0); }).detach();
    while (IAMFastReadAsync(fd, Ignore) != static_cast<size_t>(-ESHUTDOWN)) {
        std::this_thread::yield();
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    return static_cast<int>(write(ending[1], "e", 1));
}

constexpr const char* kChildsQueue = "dp:/res/test/child";
std::atomic<bool> isChildsHookRunning{false};

int Register(const char* name, int (*open)(IamQfsMgrFile*))
{
    const auto close = [](IamQfsMgrFile*) {
        return 0;
    };
    const IAMQueueOps ops = {nullptr, nullptr, open, close, nullptr};
    const IAMQueueServiceDesc desc = {name, &ops, 5000, 0};
    return IAMRegisterQueueService(&desc);
}

// Returns a while after the process has begun to end.
int OutlastTheExit(IamQfsMgrFile*)
{
    isChildsHookRunning = true;
    while (Register(kChildsQueue, OutlastTheExit) != -ESHUTDOWN) {
        std::this_thread::yield();
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    return static_cast<int>(write(ending[1], "e", 1));
}

// The child exits within its parent's hook, while one of its own runs.
int ForkAndExit(IamQfsMgrFile*)
{
    if (fork() == 0) {
        alarm(20);
        Register(kChildsQueue, OutlastTheExit);
        while (!isChildsHookRunning) {
            std::this_thread::yield();
        }
        std::exit(0);
    }
    return 0;
}

void ExitAtOnceInChildren()
{
    static const pid_t process = getpid();
    std::atexit([] {
        if (getpid() != process) {
            _exit(0);  // behind the layer's handler, ahead of what is the test's own
        }
    });
}

// In the first delivery alone.
int ForkAndSubscribe(int, void*, unsigned long)
{
    static std::atomic<bool> hasForked{false};
    if (!hasForked.exchange(true) && fork() == 0) {
        alarm(20);
        IAMFastReadAsync(OpenOrFail(kQueue), ExitBeneath);
    }
    return 0;
}

}  // namespace

TEST_F(Fork, OfASubscriberLeavesItsDescriptorsToTheParent)
{
    QueueOwner owner;
    const int fd = OpenOrFail(kQueue);
    ASSERT_EQ(IAMFastReadAsync(fd, [](int, void*, unsigned long) { return 0; }), 0U);
    const pid_t child = fork();
    if (child == 0) {
        const bool isForgotten = Close(fd) == CallResult{-1, EBADF} &&
                                 IAMFastReadAsync(fd, [](int, void*, unsigned long) {
                                     return 0;
                                 }) == static_cast<size_t>(-EBADF);
        std::ifstream maps("/proc/self/maps");
        const std::string text(std::istreambuf_iterator<char>(maps), {});
        const bool isUnmapped = text.find("memfd:ownerlink") == std::string::npos;
        const bool mayOpen = OpenOrFail(kQueue) == fd;
        _exit(isForgotten && isUnmapped && mayOpen ? 0 : 1);
    }
    int status = 0;
    waitpid(child, &status, 0);

    EXPECT_EQ(status, 0);
    EXPECT_EQ(owner.Tell("closes 1"), "opens=2 closes=1");  // the child's own
    EXPECT_EQ(owner.Tell("report 1"), "0");
    EXPECT_EQ(Close(fd), (CallResult{0, 0}));
}

TEST_F(Fork, OfAnOwnerLeavesItsPoolsAndQueuesToTheParent)
{
    const IAMShmPoolConfig config = {"test", 8, 1};
    IAMShmPool pool = {};
    IAMShmBlock block = {};
    ASSERT_EQ(IAMShmRegisterPoolWithConfig(&config, &pool), 0);
    ASSERT_EQ(IAMShmHandleMalloc(&pool, 8, &block), 0);
    const pid_t child = fork();
    if (child == 0) {
        const bool isForgotten = IAMShmWrite(&block, "x", 1, 0) == -EINVAL &&
                                 IAMShmFree(&pool, &block) == -EINVAL &&
                                 IAMShmDestroyPool(&pool) == -EINVAL;
        const bool mayMake = IAMShmRegisterPoolWithConfig(&config, &pool) == 0;
        _exit(isForgotten && mayMake ? 0 : 1);
    }
    int status = 0;
    waitpid(child, &status, 0);

    EXPECT_EQ(status, 0);
    EXPECT_EQ(IAMShmWrite(&block, "x", 1, 0), 0);
    EXPECT_EQ(IAMShmFree(&pool, &block), 0);
}

TEST_F(Fork, WhileCallsOfBothSidesRunNeverHangs)
{
    if (!kMayAllocateInChild) {
        GTEST_SKIP() << "an allocation takes locks of the sanitizer, which other threads hold";
    }
    QueueOwner owner;
    std::atomic<bool> done{false};
    std::thread subscriber([&] {
        while (!done) {
            const int fd = OpenOrFail(kQueue);
            IAMFastReadAsync(fd, [](int, void*, unsigned long) { return 0; });
            Close(fd);
        }
    });
    std::thread host([&] {
        const IAMShmPoolConfig config = {"test", 8, 1};
        while (!done) {
            IAMShmPool pool = {};
            IAMShmBlock block = {};
            EXPECT_EQ(IAMShmRegisterPoolWithConfig(&config, &pool), 0);
            EXPECT_EQ(IAMShmHandleMalloc(&pool, 8, &block), 0);
            EXPECT_EQ(IAMShmDestroyPool(&pool), 0);
        }
    });

    for (int i = 0; i < 50; ++i) {
        const pid_t child = fork();
        if (child == 0) {
            alarm(20);
            _exit(Close(OpenOrFail(kQueue)) == CallResult{0, 0} ? 0 : 1);
        }
        int status = -1;
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0);
    }

    done = true;
    subscriber.join();
    host.join();
}

TEST_F(Fork, WithinADeliveryEndsTheReaderInTheChild)
{
    if (!kMayEndThreadInChild) {
        GTEST_SKIP() << "a thread that ends takes locks of the sanitizer";
    }
    QueueOwner owner;
    const int fd = OpenOrFail(kQueue);
    int answer[2];
    ASSERT_EQ(pipe2(answer, O_CLOEXEC), 0);
    static int writer = -1;
    writer = answer[1];
    ASSERT_EQ(IAMFastReadAsync(fd,
                               [](int, void* buf, unsigned long count) {
                                   if (fork() == 0) {
                                       std::atexit([] { _exit(0); });  // not the test's own
                                       return 0;
                                   }
                                   return static_cast<int>(write(writer, buf, count));
                               }),
              0U);

    owner.Tell("report 1");
    owner.Tell("report 2");

    char bytes[2] = {};
    ASSERT_EQ(read(answer[0], &bytes[0], 1), 1);
    ASSERT_EQ(read(answer[0], &bytes[1], 1), 1);
    EXPECT_EQ(std::string(bytes, 2), "12");
    for (int i = 0; i < 2; ++i) {
        int status = -1;
        EXPECT_GT(waitpid(-1, &status, 0), 0);
        EXPECT_EQ(status, 0);  // the reader was the child's only thread
    }
}

TEST_F(Fork, WithinADeliveryLeavesTheChildsOwnDeliveriesToBeWaitedForAtItsExit)
{
    if (!kMayEndThreadInChild) {
        GTEST_SKIP() << "a thread that ends takes locks of the sanitizer";
    }
    QueueOwner owner;
    ExitAtOnceInChildren();
    ASSERT_EQ(pipe2(ending.data(), O_CLOEXEC), 0);
    ASSERT_EQ(IAMFastReadAsync(OpenOrFail(kQueue), ForkAndSubscribe), 0U);
    owner.Tell("report 1");
    owner.Tell("files 2");
    close(ending[1]);

    owner.Tell("report 2");

    char byte = 0;
    EXPECT_EQ(read(ending[0], &byte, 1), 1);
    int status = -1;
    EXPECT_GT(waitpid(-1, &status, 0), 0);  // the owner runs on
    EXPECT_EQ(status, 0);
}

TEST_F(Fork, WithinAHookLeavesTheChildsOwnHooksToBeWaitedForAtItsExit)
{
    if (!kMayEndThreadInChild) {
        GTEST_SKIP() << "a thread that ends takes locks of the sanitizer";
    }
    ExitAtOnceInChildren();
    ASSERT_EQ(pipe2(ending.data(), O_CLOEXEC), 0);
    ASSERT_EQ(Register(kQueue, ForkAndExit), 0);
    OpenOrFail(kQueue);
    close(ending[1]);

    // Until it is up, and its hook has run or is gone with it.
    EXPECT_TRUE(Eventually([] {
        Open(kChildsQueue);
        pollfd entry = {ending[0], POLLIN, 0};
        return poll(&entry, 1, 0) == 1;
    }));

    char byte = 0;
    EXPECT_EQ(read(ending[0], &byte, 1), 1);
    int status = -1;
    EXPECT_GT(waitpid(-1, &status, 0), 0);
    EXPECT_EQ(status, 0);
}

TEST_F(Exit, OfASubscriberWaitsForTheDeliveryThatRuns)
{
    QueueOwner owner;
    Subscriber subscriber;
    subscriber.Tell("block");
    owner.Tell("burst 0 10");
    subscriber.Tell("blocked");

    const int64_t elapsed = MillisecondsOf([&] {
        subscriber.Write("exit");
        EXPECT_EQ(subscriber.AwaitExit(), 0);
    });

    EXPECT_GE(elapsed, 1900);
    EXPECT_LT(elapsed, 20000);
}

TEST_F(Exit, FromWithinADeliveryDoesNotWaitForItself)
{
    EXPECT_TRUE(IsOnceBelowTheExitsLimit([] {
        QueueOwner owner;
        Subscriber subscriber;
        subscriber.Tell("exit-inside");

        const int64_t elapsed = MillisecondsOf([&] {
            owner.Tell("burst 0 10");
            EXPECT_EQ(subscriber.AwaitExit(), 0);
        });

        EXPECT_EQ(owner.Tell("closes 1"), "opens=1 closes=1");
        return elapsed;
    }));
}

TEST_F(Exit, OfAnOwnerWhoseOpenHookBlocksTakesTwoSeconds)
{
    QueueOwner owner;
    owner.Tell("hold");
    const pid_t subscriber = fork();
    if (subscriber == 0) {
        _exit(Open(kQueue) == CallResult{-1, ENOENT} ? 0 : 1);
    }
    owner.Tell("held");

    const int64_t elapsed = MillisecondsOf([&] {
        owner.Write("exit");
        EXPECT_EQ(owner.AwaitExit(), 0);
    });

    EXPECT_GE(elapsed, 1900);
    EXPECT_LT(elapsed, 20000);
    int status = 0;
    waitpid(subscriber, &status, 0);
    EXPECT_EQ(status, 0);
}

// A request, a queue's hook and a delivery, each of which never returns.
TEST_F(Exit, WaitsTwoSecondsForEverythingTogether)
{
    QueueOwner owner;
    ASSERT_EQ(owner.Tell("serve " + std::string(kName)), "ready");
    ASSERT_EQ(owner.Tell("subscribe " + std::string(kQueue)), "ready");
    owner.Tell("block");
    owner.Tell("report 1");
    ASSERT_EQ(owner.Tell("blocked"), "blocked");
    auto call = std::async(std::launch::async, [] { return Ioctl(OpenOrFail(), kEcho); });
    owner.Tell("called");
    owner.Tell("hold");
    auto open = std::async(std::launch::async, [] { return Open(kQueue); });
    owner.Tell("held");

    const int64_t elapsed = MillisecondsOf([&] {
        owner.Write("exit");
        EXPECT_EQ(owner.AwaitExit(), 0);
    });

    EXPECT_GE(elapsed, 1900);
    EXPECT_LT(elapsed, 5900);  // of three times two seconds
    EXPECT_EQ(call.get(), (CallResult{-1, EPIPE}));
    EXPECT_EQ(open.get(), (CallResult{-1, ENOENT}));
}

TEST_F(Exit, TakesNoReaderAnyMore)
{
    QueueOwner owner;
    const pid_t child = fork();
    if (child == 0) {
        struct Late {
            ~Late()
            {
                const size_t result = IAMFastReadAsync(OpenOrFail(kQueue), Ignore);
                _exit(result == static_cast<size_t>(-ESHUTDOWN) ? 0 : 2);
            }
        };
        static Late late;
        std::exit(IAMFastReadAsync(OpenOrFail(kQueue), Ignore) == 0 ? 1 : 3);
    }
    int status = 0;
    waitpid(child, &status, 0);

    EXPECT_EQ(status, 0);
}

TEST_F(Exit, OfAnOwnerRunsNoFurtherHook)
{
    EXPECT_TRUE(IsOnceBelowTheExitsLimit([] {
        QueueOwner owner;
        Subscriber subscriber;

        const int64_t elapsed = MillisecondsOf([&] {
            owner.Write("exit");
            EXPECT_EQ(owner.AwaitExit(), 0);
        });

        EXPECT_EQ(subscriber.Tell("close"), "0");
        return elapsed;
    }));
}
