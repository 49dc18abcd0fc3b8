// Subscribers that break the rules: each pays with its own subscription and nothing else.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <random>
#include <thread>
#include <vector>

#include "platform/hosted/message.h"
#include "platform/hosted/pool_table.h"
#include "platform/hosted/queue_service.h"
#include "tests/queue/raw_queue_peer.h"

using hosted::QueueMessage;
using hosted::QueueMessageKind;
using hosted::UniqueFd;
using testing::HasSubstr;

namespace {

class HostileSubscriber : public HostedTest {
protected:
    // The owner reports to the hostile one first, and the other gets every event.
    void ExpectEndedAlone(const std::string& firstResult)
    {
        EXPECT_EQ(owner_.Tell("report 1"), firstResult + ",0");
        EXPECT_EQ(owner_.Tell("files 1"), "opens=2 closes=1");
        EXPECT_EQ(owner_.Tell("report 2"), "0");
        EXPECT_TRUE(Eventually([&] { return hostile_.IsEnded(); }));
    }

    // From the first entry on, with the pool that comes ahead of it.
    UniqueFd TakePool()
    {
        UniqueFd memory;
        const QueueMessage message = ReceiveMessage(hostile_.Socket(), &memory);
        EXPECT_EQ(message.kind, QueueMessageKind::kPool);
        return memory;
    }

    void SetUp() override { ASSERT_EQ(verdict_, 0); }

    QueueOwner owner_;
    RawSubscriber hostile_;
    int verdict_ = hostile_.Greet();
    Subscriber other_;
};

}  // namespace

TEST_F(HostileSubscriber, ThatAcknowledgesWhatWasNeverWrittenIsEndedAlone)
{
    ASSERT_EQ(owner_.Tell("files 2"), "opens=2 closes=0");
    hostile_.Ring().head.store(1);

    ExpectEndedAlone(std::to_string(-EPROTO));

    EXPECT_EQ(other_.Tell("await 2"), "1,2");
    const std::string record = "ring of dp:/res/test/queue corrupted by process " +
                               std::to_string(getpid()) + ": subscription ended";
    EXPECT_TRUE(Eventually([&] { return owner_.Log().find(record) != std::string::npos; }));
}

TEST_F(HostileSubscriber, ThatTakesAnAcknowledgementBackIsEndedAlone)
{
    ASSERT_EQ(owner_.Tell("files 2"), "opens=2 closes=0");
    owner_.Tell("burst 0 4");
    hostile_.Ring().head.store(4);
    owner_.Tell("burst 4 1");

    hostile_.Ring().head.store(3);

    ExpectEndedAlone(std::to_string(-EPROTO));
    EXPECT_EQ(other_.Tell("await 7"), "0,1,2,3,4,1,2");
}

TEST_F(HostileSubscriber, ThatPunchesAHoleIntoItsRingIsEndedAlone)
{
    ASSERT_EQ(owner_.Tell("files 2"), "opens=2 closes=0");
    owner_.Tell("report 0");
    hostile_.Ring().head.store(1);
    owner_.Tell("report 0");

    ASSERT_EQ(
        fallocate(hostile_.RingMemory().Get(), FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, 0, 4096),
        0);

    ExpectEndedAlone(std::to_string(-EPROTO));
}

TEST_F(HostileSubscriber, ThatOverwritesEntriesAndCountsOfTheOwnerHurtsItselfAlone)
{
    ASSERT_EQ(owner_.Tell("files 2"), "opens=2 closes=0");
    std::mt19937_64 random(1);
    for (int i = 0; i < 100; ++i) {
        hostile_.Ring().tail.store(random());
        hostile_.Ring().flag.store(static_cast<uint32_t>(random() % 3));
        for (size_t at = sizeof(hosted::RingHeader); at < hostile_.RingBytes().Size(); ++at) {
            hostile_.RingBytes().Bytes()[at] = static_cast<std::byte>(random());
        }
        EXPECT_EQ(owner_.Tell("report " + std::to_string(i)), "0,0");
    }

    EXPECT_EQ(other_.Tell("await 100"), Numbers(0, 100));
}

TEST_F(HostileSubscriber, ThatWritesWhileTheOwnerReportsHurtsItselfAlone)
{
    ASSERT_EQ(owner_.Tell("files 2"), "opens=2 closes=0");
    std::atomic<bool> done{false};
    std::thread writer([&] {
        std::mt19937_64 random(2);
        while (!done) {
            hostile_.Ring().head.store(random() % 4);
            hostile_.Ring().flag.store(hosted::kAsleep);
        }
    });

    for (int i = 0; i < 50; ++i) {
        owner_.Tell("burst " + std::to_string(10 * i) + " 10");
        ASSERT_THAT(other_.Tell("await " + std::to_string(10 * (i + 1))), Numbers(0, 10 * (i + 1)));
    }

    done = true;
    writer.join();
    EXPECT_EQ(owner_.Tell("closes 1"), "opens=2 closes=1");
}

TEST_F(HostileSubscriber, CanNeitherWriteNorShrinkAPool)
{
    ASSERT_EQ(owner_.Tell("files 2"), "opens=2 closes=0");
    owner_.Tell("report 777777777");  // too long to travel in the ring
    const UniqueFd pool = TakePool();

    EXPECT_EQ(mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED, pool.Get(), 0), MAP_FAILED);
    EXPECT_EQ(write(pool.Get(), "x", 1), -1);
    EXPECT_EQ(ftruncate(pool.Get(), 0), -1);
    EXPECT_EQ(ftruncate(pool.Get(), 1 << 30), -1);
    EXPECT_EQ(fallocate(pool.Get(), FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, 0, 4096), -1);
    EXPECT_EQ(fcntl(pool.Get(), F_ADD_SEALS, F_SEAL_WRITE), -1);
    void* const mapped = mmap(nullptr, 4096, PROT_READ, MAP_SHARED, pool.Get(), 0);
    ASSERT_NE(mapped, MAP_FAILED);
    EXPECT_EQ(mprotect(mapped, 4096, PROT_READ | PROT_WRITE), -1);
    EXPECT_EQ(std::memcmp(mapped, "777777777", 10), 0);
    munmap(mapped, 4096);
}

TEST_F(HostileSubscriber, CannotShrinkOrGrowItsRing)
{
    EXPECT_EQ(ftruncate(hostile_.RingMemory().Get(), 0), -1);
    EXPECT_EQ(ftruncate(hostile_.RingMemory().Get(), 1 << 20), -1);
    EXPECT_EQ(fcntl(hostile_.RingMemory().Get(), F_ADD_SEALS, F_SEAL_WRITE), -1);
}

TEST_F(HostileSubscriber, ThatNeverTakesItsPoolOrEntriesFillsItsRingAlone)
{
    ASSERT_EQ(owner_.Tell("files 2"), "opens=2 closes=0");
    for (int i = 0; i < 20; ++i) {
        owner_.Tell("burst " + std::to_string(100 * i) + " 100");
        other_.Tell("await " + std::to_string(100 * (i + 1)));
    }

    EXPECT_EQ(owner_.Tell("report 1"), std::to_string(-ENOBUFS) + ",0");
    EXPECT_FALSE(hostile_.IsEnded());
}

TEST_F(HostileSubscriber, ThatSendsAfterItsGreetingIsEndedAlone)
{
    ASSERT_EQ(owner_.Tell("files 2"), "opens=2 closes=0");
    const QueueMessage hello;

    hostile_.Send(&hello, sizeof hello);

    EXPECT_EQ(owner_.Tell("files 1"), "opens=2 closes=1");
    EXPECT_THAT(owner_.Log(), HasSubstr("garbage from process " + std::to_string(getpid())));
}

TEST_F(HostileSubscriber, ThatGreetsWithGarbageIsEnded)
{
    RawSubscriber shortOne;
    shortOne.Send("x", 1);
    RawSubscriber longOne;
    longOne.Send(std::string(100000, 'x').data(), 100000);
    RawSubscriber fileClient;
    const hosted::MessageHeader header = {hosted::kMessageMagic, 1, 2, 1, 0, 0, 0, 0};
    fileClient.Send(&header, sizeof header);
    RawSubscriber otherKind;
    QueueMessage verdict;
    verdict.kind = QueueMessageKind::kVerdict;
    otherKind.Send(&verdict, sizeof verdict);

    EXPECT_TRUE(Eventually([&] { return shortOne.IsEnded(); }));
    EXPECT_TRUE(Eventually([&] { return longOne.IsEnded(); }));
    EXPECT_TRUE(Eventually([&] { return fileClient.IsEnded(); }));
    EXPECT_TRUE(Eventually([&] { return otherKind.IsEnded(); }));
    EXPECT_EQ(owner_.Tell("files 2"), "opens=2 closes=0");
}

TEST_F(HostileSubscriber, OfAnotherProtocolIsToldSo)
{
    RawSubscriber newer;
    QueueMessage hello;
    hello.version = 99;

    newer.Send(&hello, sizeof hello);

    const QueueMessage verdict = ReceiveMessage(newer.Socket(), nullptr);
    EXPECT_EQ(verdict.kind, QueueMessageKind::kVerdict);
    EXPECT_EQ(verdict.error, EPROTO);
}

TEST_F(HostileSubscriber, ThatSendsADescriptorAlongLeavesNoneWithTheOwner)
{
    const std::string before = owner_.Tell("memories");
    RawSubscriber generous;
    const QueueMessage hello;

    generous.Send(&hello, sizeof hello, hostile_.RingMemory().Get());
    EXPECT_EQ(ReceiveMessage(generous.Socket(), nullptr).kind, QueueMessageKind::kRing);
    generous.Close();

    owner_.Tell("closes 1");
    EXPECT_TRUE(Eventually([&] { return owner_.Tell("memories") == before; }));
}

TEST_F(HostileSubscriber, ThatConnectsAndSaysNothingHoldsUpNobody)
{
    std::vector<RawSubscriber> silent(hosted::kSubscribersPerProcess - 1);

    EXPECT_EQ(Open(kQueue), (CallResult{-1, EBUSY}));  // they count as this process's
    Subscriber third;
    EXPECT_EQ(third.FirstLine(), "ready");

    silent.clear();
    EXPECT_GE(Open(kQueue).result, 0);
}
