#include <fcntl.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "platform/iam_queue.h"
#include "tests/fake/bound_calls.h"
#include "tests/support/platform_test.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

std::vector<std::string> received;
IamQfsMgrFile* openedFile = nullptr;
std::vector<std::string> hookCalls;

int Receive(int /*fd*/, void* buf, unsigned long count)
{
    received.emplace_back(static_cast<const char*>(buf), count);
    return static_cast<int>(count);
}

int OpenHook(IamQfsMgrFile* file)
{
    openedFile = file;
    hookCalls.push_back("open " + std::string(file->name));
    return 0;
}

int RefusingOpenHook(IamQfsMgrFile* /*file*/)
{
    hookCalls.push_back("refuse");
    return -1;
}

int CloseHook(IamQfsMgrFile* file)
{
    hookCalls.push_back("close " + std::string(file->name));
    return 0;
}

class Queues : public PlatformTest {
protected:
    Queues()
    {
        received.clear();
        hookCalls.clear();
        openedFile = nullptr;
        const IAMShmPoolConfig config{"pool", 160, 3};
        IAMShmRegisterPoolWithConfig(&config, &pool_);
        platform::ClearHistory();
    }

    int Register(const char* name)
    {
        const IAMQueueServiceDesc desc{name, &ops_, 5000, 0};
        return IAMRegisterQueueService(&desc);
    }

    int Enqueue(IamQfsMgrFile* file, const std::string& text)
    {
        IAMShmBlock block{};
        const auto size = static_cast<uint32_t>(text.size());
        EXPECT_EQ(IAMShmHandleMalloc(&pool_, size, &block), 0);
        EXPECT_EQ(IAMShmWrite(&block, text.data(), size, 0), 0);
        return IAMDataEnqueue(file->queue, &pool_, &block);
    }

    IAMShmPool pool_{};
    IAMQueueOps ops_{nullptr, nullptr, OpenHook, CloseHook, nullptr};
};

TEST_F(Queues, KeepEntriesInOrderUntilTheyAreTaken)
{
    IamQfsMgrFile* file = platform::NewQueueFile("events");

    EXPECT_EQ(Enqueue(file, "2"), 0);
    EXPECT_EQ(Enqueue(file, "258"), 0);

    EXPECT_THAT(platform::QueuedEvents(file), ElementsAre("2", "258"));
    EXPECT_EQ(platform::BlocksInUse(), 0U);
    EXPECT_THAT(platform::TakeEvents(file), ElementsAre("2", "258"));
    EXPECT_THAT(platform::TakeEvents(file), IsEmpty());
}

TEST_F(Queues, ABlockReturnsToItsPoolWhenItsEntryIsTaken)
{
    IamQfsMgrFile* file = platform::NewQueueFile("events");
    Enqueue(file, "1");
    Enqueue(file, "2");
    Enqueue(file, "3");
    IAMShmBlock block{};
    EXPECT_EQ(IAMShmHandleMalloc(&pool_, 1, &block), -ENOMEM);

    platform::TakeEvents(file);

    EXPECT_EQ(IAMShmHandleMalloc(&pool_, 1, &block), 0);
}

TEST_F(Queues, RefuseUnknownQueuesAndBlocks)
{
    IamQfsMgrFile* file = platform::NewQueueFile("events");
    IAMShmBlock block{};
    int notAQueue = 0;
    ASSERT_EQ(IAMShmHandleMalloc(&pool_, 1, &block), 0);

    EXPECT_EQ(IAMDataEnqueue(&notAQueue, &pool_, &block), -EINVAL);
    EXPECT_EQ(IAMDataEnqueue(nullptr, &pool_, &block), -EINVAL);
    EXPECT_EQ(IAMDataEnqueue(file->queue, &pool_, &block), 0);
    EXPECT_EQ(IAMDataEnqueue(file->queue, &pool_, &block), -EINVAL);
    EXPECT_EQ(IAMShmFree(&pool_, &block), -EINVAL);
    EXPECT_THAT(platform::QueuedEvents(file), SizeIs(1));
}

TEST_F(Queues, TakeSetResultsByFileName)
{
    IamQfsMgrFile* file = platform::NewQueueFile("events");
    platform::SetStanding("IAMDataEnqueue", platform::Gives(-5), "events");

    EXPECT_EQ(Enqueue(file, "1"), -5);

    EXPECT_THAT(platform::QueuedEvents(file), IsEmpty());
    EXPECT_EQ(platform::BlocksInUse(), 1U);
}

TEST_F(Queues, AFileMayHaveNoName)
{
    IamQfsMgrFile* file = platform::NewQueueFile(nullptr);

    EXPECT_EQ(file->name, nullptr);
    EXPECT_EQ(Enqueue(file, "1"), 0);
}

TEST_F(Queues, RegistrationsAreKeptAsCopies)
{
    EXPECT_EQ(Register("events"), 0);
    ops_ = {};

    ASSERT_THAT(platform::QueueServices(), SizeIs(1));
    EXPECT_EQ(platform::QueueServices()[0].name, "events");
    EXPECT_EQ(platform::QueueServices()[0].timeoutMs, 5000U);
    EXPECT_EQ(platform::QueueServices()[0].reserved, 0U);
    EXPECT_EQ(platform::QueueServices()[0].ops.open, OpenHook);
    EXPECT_THAT(platform::Calls(), ElementsAre("IAMRegisterQueueService(events)=0"));
}

TEST_F(Queues, ARegistrationThatFailsIsNotKept)
{
    platform::SetNext("IAMRegisterQueueService", {platform::Gives(-1)});

    EXPECT_EQ(Register("events"), -1);
    EXPECT_EQ(IAMRegisterQueueService(nullptr), -EINVAL);

    EXPECT_THAT(platform::QueueServices(), IsEmpty());
}

TEST_F(Queues, CarryEventsFromOwnerToReaderInOneProcess)
{
    Register("events");
    const int fd = Bound::Open("events", O_RDONLY);
    EXPECT_EQ(IAMFastReadAsync(fd, Receive), 0U);
    Enqueue(openedFile, "1");
    Enqueue(openedFile, "257");

    EXPECT_EQ(platform::DeliverQueuedEvents(), 2U);
    EXPECT_EQ(platform::DeliverQueuedEvents(), 0U);
    Bound::Close(fd);

    EXPECT_THAT(received, ElementsAre("1", "257"));
    EXPECT_THAT(hookCalls, ElementsAre("open events", "close events"));
}

TEST_F(Queues, KeepEventsForAReaderThatHasNotAskedYet)
{
    Register("events");
    const int fd = Bound::Open("events", O_RDONLY);
    Enqueue(openedFile, "1");
    EXPECT_EQ(platform::DeliverQueuedEvents(), 0U);

    IAMFastReadAsync(fd, Receive);

    EXPECT_EQ(platform::DeliverQueuedEvents(), 1U);
}

TEST_F(Queues, ARefusingOwnerMakesOpenFail)
{
    ops_.open = RefusingOpenHook;
    ops_.close = CloseHook;
    Register("events");

    EXPECT_EQ(Bound::Open("events", O_RDONLY), -1);

    EXPECT_EQ(errno, EIO);
    EXPECT_THAT(hookCalls, ElementsAre("refuse", "close events"));
}

TEST_F(Queues, DeliverOnDemandAlsoAfterClose)
{
    const int fd = Bound::Open("events", O_RDONLY);
    IAMFastReadAsync(fd, Receive);

    EXPECT_EQ(platform::DeliverEvent("events", "2"), 1);
    Bound::Close(fd);
    EXPECT_EQ(platform::DeliverEvent("events", "258"), 3);

    EXPECT_THAT(received, ElementsAre("2", "258"));
    ASSERT_THAT(platform::AsyncReaders(), SizeIs(1));
    EXPECT_EQ(platform::AsyncReaders()[0].fd, fd);
    EXPECT_EQ(platform::AsyncReaders()[0].resource, "events");
}

TEST_F(Queues, DeliveringToNobodyIsAnError)
{
    EXPECT_THROW(platform::DeliverEvent("events", "2"), std::invalid_argument);
}

TEST_F(Queues, GiveTheResultSetForTheRead)
{
    platform::SetNext("IAMFastReadAsync", {platform::Gives(9)});
    platform::SetFirstDescriptor(7);

    EXPECT_EQ(IAMFastReadAsync(Bound::Open("events", O_RDONLY), Receive), 9U);

    EXPECT_THAT(platform::Calls("IAMFastReadAsync"), ElementsAre("IAMFastReadAsync(7)=9"));
}

}  // namespace
