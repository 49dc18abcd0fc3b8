// Publishing queues: which names and hooks are taken, and what hooks may do.
#include <sys/stat.h>

#include <cerrno>
#include <string>

#include "tests/queue/queue_world.h"

namespace {

using Publishing = HostedTest;

int OnEvent(int, void*, unsigned long)
{
    return 0;
}

int RegisterQueue(const char* name, const IAMQueueOps* ops)
{
    const IAMQueueServiceDesc desc = {name, ops, 5000, 0};
    return IAMRegisterQueueService(&desc);
}

IAMQueueOps HarmlessHooks()
{
    const auto hook = [](IamQfsMgrFile*) {
        return 0;
    };
    return {nullptr, nullptr, hook, hook, nullptr};
}

}  // namespace

TEST_F(Publishing, ANameThatALivingProcessHoldsIsRefused)
{
    QueueOwner owner;
    const IAMQueueOps ops = HarmlessHooks();

    EXPECT_EQ(RegisterQueue(kQueue, &ops), -EADDRINUSE);

    Subscriber subscriber;
    owner.Tell("report 1");
    EXPECT_EQ(subscriber.Tell("await 1"), "1");
}

TEST_F(Publishing, ANameTwiceInOneProcessIsRefused)
{
    QueueOwner owner;

    EXPECT_EQ(owner.Tell(std::string("publish ") + kQueue), FailedWith(EADDRINUSE));
    EXPECT_EQ(owner.Tell("publish dp:/res/test/other"), "ready");
}

TEST_F(Publishing, TheNameOfAResourceFileIsRefused)
{
    QueueOwner owner;
    IAMFileOps ops = {};
    const IAMServiceDesc file = {kQueue, &ops, 5000};

    EXPECT_EQ(IAMRegisterService(&file), -1);
    EXPECT_EQ(errno, EADDRINUSE);
}

TEST_F(Publishing, WithoutNameOrHooksIsRefused)
{
    IAMQueueOps ops = HarmlessHooks();

    EXPECT_EQ(IAMRegisterQueueService(nullptr), -EINVAL);
    EXPECT_EQ(RegisterQueue(nullptr, &ops), -EINVAL);
    EXPECT_EQ(RegisterQueue("", &ops), -EINVAL);
    EXPECT_EQ(RegisterQueue(kQueue, nullptr), -EINVAL);
    EXPECT_EQ(RegisterQueue(std::string(4097, 'x').c_str(), &ops), -ENAMETOOLONG);
    ops.open = nullptr;
    EXPECT_EQ(RegisterQueue(kQueue, &ops), -EINVAL);
    ops = HarmlessHooks();
    ops.close = nullptr;
    EXPECT_EQ(RegisterQueue(kQueue, &ops), -EINVAL);
}

TEST_F(Publishing, CopiesWhatItIsGiven)
{
    std::string name = kQueue;
    IAMQueueOps ops = HarmlessHooks();
    ASSERT_EQ(RegisterQueue(name.c_str(), &ops), 0);
    name.assign(name.size(), 'x');
    ops = {};

    EXPECT_GE(Open(kQueue).result, 0);
}

TEST_F(Publishing, ALongNameWorks)
{
    const std::string name(4096, 'n');
    QueueOwner owner(name);
    ASSERT_EQ(owner.FirstLine(), "ready");
    Subscriber subscriber(name);

    owner.Tell("report 1");

    EXPECT_EQ(subscriber.Tell("await 1"), "1");
}

TEST_F(Publishing, InADirectoryThatOthersMayWriteIsRefused)
{
    chmod(directory_.Path().c_str(), 0777);
    const IAMQueueOps ops = HarmlessHooks();

    EXPECT_EQ(RegisterQueue(kQueue, &ops), -EACCES);
}

TEST_F(Publishing, LetsHooksUseTheWholeLayer)
{
    static bool isUsed = false;
    IAMQueueOps ops = HarmlessHooks();
    ops.open = [](IamQfsMgrFile* file) {
        const IAMQueueOps others = HarmlessHooks();
        const IAMShmPoolConfig config = {"test", 8, 1};
        IAMShmPool pool = {};
        IAMShmBlock block = {};
        isUsed = RegisterQueue("dp:/res/test/inner", &others) == 0 &&
                 IAMShmRegisterPoolWithConfig(&config, &pool) == 0 &&
                 IAMShmHandleMalloc(&pool, 8, &block) == 0 && IAMShmWrite(&block, "x", 1, 0) == 0 &&
                 IAMDataEnqueue(file->queue, &pool, &block) == 0;
        const int fd = OpenOrFail("dp:/res/test/inner");
        isUsed = isUsed && IAMFastReadAsync(fd, OnEvent) == 0 && Close(fd) == CallResult{0, 0};
        return 0;
    };
    ASSERT_EQ(RegisterQueue(kQueue, &ops), 0);

    EXPECT_GE(Open(kQueue).result, 0);

    EXPECT_TRUE(isUsed);
}

TEST_F(Publishing, OpensWithinTheOwnersOwnProcessToo)
{
    const IAMQueueOps ops = HarmlessHooks();
    ASSERT_EQ(RegisterQueue(kQueue, &ops), 0);

    EXPECT_GE(Open(kQueue).result, 0);
}
