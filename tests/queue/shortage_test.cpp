// What queues answer without memory, threads or room in the kernel, and that nothing is lost over
// it.
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>

#include "tests/queue/failing_calls.h"
#include "tests/queue/queue_world.h"
#include "tests/support/failing_allocations.h"
#include "tests/support/no_threads.h"

namespace {

using QueueShortage = HostedTest;

int OnEvent(int, void*, unsigned long)
{
    return 0;
}

// What the open hook does to the service's thread: its allocation of this number fails.
std::atomic<int> failingAllocation{kNoAllocation};
std::atomic<bool> isOneStillToFail{false};

int OnOpen(IamQfsMgrFile*)
{
    isOneStillToFail = IsAllocationToFail();
    FailAllocation(failingAllocation);
    return 0;
}

int OnClose(IamQfsMgrFile*)
{
    return 0;
}

int RegisterQueue()
{
    const IAMQueueOps ops = {nullptr, nullptr, OnOpen, OnClose, nullptr};
    const IAMQueueServiceDesc desc = {kQueue, &ops, 5000, 0};
    return IAMRegisterQueueService(&desc);
}

// Each of its allocations fails once, until none does.
void RegisterQueueWithoutMemory()
{
    int registered = -ENOMEM;
    for (int n = 0; registered == -ENOMEM; ++n) {
        EXPECT_EQ(Open(kQueue), (CallResult{-1, ENOENT})) << n;
        FailAllocation(n);
        registered = RegisterQueue();
        FailAllocation(kNoAllocation);
    }
    EXPECT_EQ(registered, 0);
}

}  // namespace

TEST_F(QueueShortage, AnOpenWithoutWhatWakesItsReaderFails)
{
    QueueOwner owner;
    FailEventfd(EMFILE);
    const CallResult opened = Open(kQueue);
    FailEventfd(0);

    EXPECT_EQ(opened, (CallResult{-1, EMFILE}));
    EXPECT_GE(Open(kQueue).result, 0);
    EXPECT_EQ(owner.Tell("files 1"), "opens=1 closes=0");
}

TEST_F(QueueShortage, AReaderThatDidNotStartMayStartLater)
{
    QueueOwner owner;
    const int first = OpenOrFail(kQueue);
    ASSERT_EQ(IAMFastReadAsync(first, OnEvent), 0U);  // the watch on the owners runs
    const int fd = OpenOrFail(kQueue);
    {
        const NoThreads none;
        EXPECT_NE(IAMFastReadAsync(fd, OnEvent), 0U);
    }

    EXPECT_EQ(IAMFastReadAsync(fd, OnEvent), 0U);
}

TEST_F(QueueShortage, ANameThatTheKernelWillNotWatchIsNotPublished)
{
    FailEpollControl(ENOSPC);
    const int registered = RegisterQueue();
    FailEpollControl(0);

    EXPECT_EQ(registered, -ENOSPC);
    EXPECT_EQ(Open(kQueue), (CallResult{-1, ENOENT}));
    EXPECT_EQ(RegisterQueue(), 0);
    EXPECT_GE(Open(kQueue).result, 0);
}

TEST_F(QueueShortage, ARegistrationWithoutMemoryLeavesTheNameFree)
{
    RegisterQueueWithoutMemory();

    EXPECT_EQ(RegisterQueue(), -EADDRINUSE);
    EXPECT_GE(Open(kQueue).result, 0);
}

TEST_F(QueueShortage, ARegistrationWithoutMemoryIsNotWaitedForAtTheExit)
{
    EXPECT_TRUE(IsOnceBelowTheExitsLimit([] {
        const pid_t child = fork();
        if (child == 0) {
            std::atexit([] { _exit(0); });  // not the test's own
            RegisterQueueWithoutMemory();
            std::exit(0);
        }
        int status = -1;
        const int64_t elapsed = MillisecondsOf([&] { waitpid(child, &status, 0); });

        EXPECT_EQ(status, 0);
        return elapsed;
    }));
}

TEST_F(QueueShortage, ASubscriberThatTheKernelWillNotWatchIsToldSo)
{
    ASSERT_EQ(RegisterQueue(), 0);
    FailEpollControl(ENOSPC);
    const CallResult opened = Open(kQueue);
    FailEpollControl(0);

    EXPECT_EQ(opened, (CallResult{-1, EBUSY}));
    EXPECT_GE(Open(kQueue).result, 0);
}

// ENOENT would have a subscriber wait for the owner's next life.
TEST_F(QueueShortage, ASubscriberThatTheOwnerHasNoMemoryForIsToldSo)
{
    ASSERT_EQ(RegisterQueue(), 0);
    int refused = 0;
    bool isOver = false;
    for (int n = 0; !isOver; ++n) {
        failingAllocation = n;
        const int first = OpenOrFail(kQueue);
        failingAllocation = kNoAllocation;
        const CallResult second = Open(kQueue);
        EXPECT_TRUE(second.result >= 0 || second.error == EBUSY) << n << ": " << second;
        refused += second.result < 0 ? 1 : 0;
        isOver = second.result >= 0 && isOneStillToFail;
        Close(first);
        Close(static_cast<int>(second.result));
    }

    EXPECT_GE(refused, 2);  // at the accept, and at the greeting
}
