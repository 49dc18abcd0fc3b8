// The file records that hooks are given: which are used again, and when.
#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <vector>

#include "tests/queue/queue_world.h"

namespace {

struct Seen {
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<IamQfsMgrFile*> opened;
    std::vector<void*> queues;
    size_t closes = 0;
    int closeResult = 0;
};

Seen& The()
{
    static Seen* const seen = new Seen;
    return *seen;
}

int OnOpen(IamQfsMgrFile* file)
{
    const std::lock_guard<std::mutex> lock(The().mutex);
    The().opened.push_back(file);
    The().queues.push_back(file->queue);
    EXPECT_STREQ(file->name, kQueue);
    return 0;
}

int OnClose(IamQfsMgrFile* file)
{
    const std::lock_guard<std::mutex> lock(The().mutex);
    EXPECT_EQ(The().opened.back(), file);
    ++The().closes;
    The().changed.notify_all();
    return The().closeResult;
}

class FileRecord : public HostedTest {
protected:
    void SetUp() override
    {
        const IAMQueueOps ops = {nullptr, nullptr, OnOpen, OnClose, nullptr};
        const IAMQueueServiceDesc desc = {kQueue, &ops, 5000, 0};
        ASSERT_EQ(IAMRegisterQueueService(&desc), 0);
    }

    static void OpenAndClose()
    {
        const size_t before = The().closes;
        Close(OpenOrFail(kQueue));
        std::unique_lock<std::mutex> lock(The().mutex);
        The().changed.wait(lock, [&] { return The().closes > before; });
    }
};

}  // namespace

TEST_F(FileRecord, IsUsedAgainAfterACloseHookHasAnswered0)
{
    OpenAndClose();
    OpenAndClose();

    EXPECT_EQ(The().opened[0], The().opened[1]);
    EXPECT_NE(The().queues[0], The().queues[1]);
}

TEST_F(FileRecord, IsTheHostsForEverAfterACloseHookHasNot)
{
    The().closeResult = -1;
    OpenAndClose();
    The().closeResult = 1;
    OpenAndClose();
    The().closeResult = 0;
    OpenAndClose();

    EXPECT_NE(The().opened[0], The().opened[1]);
    EXPECT_NE(The().opened[0], The().opened[2]);
    EXPECT_NE(The().opened[1], The().opened[2]);
    EXPECT_EQ(The().opened[0]->queue, The().queues[0]);  // and stays as it was
}

TEST_F(FileRecord, OfAClosedFileHasAQueueThatIsGone)
{
    IAMShmPool pool = {};
    IAMShmBlock block = {};
    const IAMShmPoolConfig config = {"test", 8, 1};
    ASSERT_EQ(IAMShmRegisterPoolWithConfig(&config, &pool), 0);
    ASSERT_EQ(IAMShmHandleMalloc(&pool, 8, &block), 0);
    OpenAndClose();
    OpenOrFail(kQueue);  // a file of its own in the same place

    EXPECT_EQ(IAMDataEnqueue(The().queues[0], &pool, &block), -EPIPE);
    EXPECT_EQ(IAMDataEnqueue(nullptr, &pool, &block), -EPIPE);
    EXPECT_EQ(IAMDataEnqueue(&pool, &pool, &block), -EPIPE);
    EXPECT_EQ(IAMDataEnqueue(The().queues[1], &pool, &block), 0);
}
