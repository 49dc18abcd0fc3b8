// One subscriber's outlet at the owner, with the other end of its socket in the test's hands.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <cerrno>
#include <memory>
#include <vector>

#include "platform/hosted/queue_message.h"
#include "platform/hosted/queue_outlet.h"

using hosted::BlockKey;
using hosted::kPoolsPerQueue;
using hosted::PoolKey;
using hosted::PoolTable;
using hosted::QueueMessage;
using hosted::QueueMessageKind;
using hosted::QueueOutlet;
using hosted::QueueReceived;
using hosted::UniqueFd;

namespace {

class Outlet : public testing::Test {
protected:
    Outlet()
    {
        int ends[2];
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends), 0);
        owner_ = UniqueFd::Make([&] { return ends[0]; });
        subscriber_ = UniqueFd::Make([&] { return ends[1]; });
        hosted::SharedMemory ring =
            std::move(hosted::MakeSharedMemory("test", hosted::RingBytes(hosted::kRingSlots),
                                               hosted::SharedWriters::kBoth)
                          .value);
        header_ = reinterpret_cast<hosted::RingHeader*>(ring.mapping.Bytes());
        outlet_ = std::make_unique<QueueOutlet>(std::move(ring.mapping), owner_.Get());
    }

    PoolKey MakePool(uint32_t blockCount = 4)
    {
        return pools_.Insert(std::move(hosted::Pool::Make({nullptr, 8, blockCount}).value)).value;
    }

    int Push(const PoolKey& pool)
    {
        const hosted::Outcome<BlockKey> block = pools_.Take(pool, 8);
        EXPECT_TRUE(block);
        const int error = outlet_->Push(pools_, pool, block.value);
        if (error != 0) {
            EXPECT_EQ(pools_.Free(pool, block.value), 0);  // it is still the caller's
        }
        return error;
    }

    void Consume(uint64_t count) { header_->head.store(header_->head.load() + count); }

    // The numbers of the pools that have been handed over since the last look.
    std::vector<uint32_t> Handed()
    {
        std::vector<uint32_t> numbers;
        QueueMessage message;
        UniqueFd memory;
        while (hosted::ReceiveQueueMessage(subscriber_.Get(), &message, &memory) ==
               QueueReceived::kMessage) {
            EXPECT_EQ(message.kind, QueueMessageKind::kPool);
            EXPECT_TRUE(memory);
            numbers.push_back(message.pool);
        }
        return numbers;
    }

    UniqueFd owner_;
    UniqueFd subscriber_;
    hosted::RingHeader* header_ = nullptr;
    PoolTable pools_;
    std::unique_ptr<QueueOutlet> outlet_;
};

using Numbers = std::vector<uint32_t>;

}  // namespace

TEST_F(Outlet, HandsAPoolOverWithItsFirstEntryAlone)
{
    const PoolKey pool = MakePool();

    EXPECT_EQ(Push(pool), 0);
    EXPECT_EQ(Push(pool), 0);

    EXPECT_EQ(Handed(), Numbers{0});
    EXPECT_EQ(header_->tail.load(), 2U);
}

TEST_F(Outlet, RefusesMorePoolsThanASubscriberCanHave)
{
    for (uint32_t i = 0; i < kPoolsPerQueue; ++i) {
        EXPECT_EQ(Push(MakePool()), 0);
    }

    EXPECT_EQ(Push(MakePool()), EMFILE);
}

TEST_F(Outlet, ReplacesAPoolThatIsGoneWhenNoEntryLiesInItAnyMore)
{
    std::vector<PoolKey> pools;
    for (uint32_t i = 0; i < kPoolsPerQueue; ++i) {
        pools.push_back(MakePool());
        ASSERT_EQ(Push(pools.back()), 0);
    }
    const PoolKey next = MakePool();
    Handed();

    pools_.Remove(pools[0]);
    EXPECT_EQ(Push(next), EMFILE);  // its entry is on the way
    Consume(1);
    EXPECT_EQ(Push(next), 0);

    EXPECT_EQ(Handed(), Numbers{kPoolsPerQueue});
}

TEST_F(Outlet, TakesNoBlockTwiceAndNoneOfAnotherPool)
{
    const PoolKey pool = MakePool();
    const PoolKey other = MakePool();
    const BlockKey block = pools_.Take(pool, 8).value;

    EXPECT_EQ(outlet_->Push(pools_, other, block), EINVAL);
    EXPECT_EQ(outlet_->Push(pools_, pool, block), 0);
    EXPECT_EQ(outlet_->Push(pools_, pool, block), EINVAL);
    EXPECT_EQ(pools_.Free(pool, block), EINVAL);  // it is the queue's
    EXPECT_EQ(pools_.Write(block, {}, 0), EINVAL);
}

TEST_F(Outlet, GivesBlocksBackAsTheyAreConsumed)
{
    const PoolKey pool = MakePool(2);
    ASSERT_EQ(Push(pool), 0);
    ASSERT_EQ(Push(pool), 0);
    ASSERT_EQ(pools_.Take(pool, 8).error, ENOBUFS);

    Consume(1);

    EXPECT_TRUE(outlet_->Reclaim(pools_));
    EXPECT_EQ(Push(pool), 0);
    EXPECT_EQ(pools_.Take(pool, 8).error, ENOBUFS);
}

TEST_F(Outlet, IsFullAfterAsManyEntriesAsItsRingHasSlots)
{
    const PoolKey pool = MakePool(hosted::kRingSlots + 1);
    for (uint32_t i = 0; i < hosted::kRingSlots; ++i) {
        ASSERT_EQ(Push(pool), 0);
    }

    EXPECT_EQ(Push(pool), EAGAIN);
    Consume(1);
    EXPECT_EQ(Push(pool), 0);
}

TEST_F(Outlet, ThatIsCorruptEndsAndGivesAllBlocksBack)
{
    const PoolKey pool = MakePool(2);
    ASSERT_EQ(Push(pool), 0);

    Consume(2);
    EXPECT_EQ(Push(pool), EPROTO);
    EXPECT_EQ(Push(pool), EPIPE);

    EXPECT_TRUE(outlet_->IsCorrupt());
    EXPECT_TRUE(pools_.Take(pool, 8));
    EXPECT_TRUE(pools_.Take(pool, 8));
    Handed();
    char byte = 0;
    EXPECT_EQ(recv(subscriber_.Get(), &byte, 1, MSG_DONTWAIT), 0);  // the subscriber is told
}

TEST_F(Outlet, ThatHasEndedGivesAllBlocksBackAndTakesNone)
{
    const PoolKey pool = MakePool(1);
    ASSERT_EQ(Push(pool), 0);

    outlet_->End(pools_);

    EXPECT_EQ(Push(pool), EPIPE);
    EXPECT_FALSE(outlet_->IsCorrupt());
}

TEST_F(Outlet, OfASubscriberThatIsGoneTakesEntriesUntilItEnds)
{
    const PoolKey pool = MakePool(2);
    subscriber_.Reset();

    EXPECT_EQ(Push(pool), 0);
    EXPECT_EQ(Push(pool), 0);

    outlet_->End(pools_);
    EXPECT_EQ(Push(pool), EPIPE);
}

TEST_F(Outlet, WhoseSocketIsFullTakesNoNewPool)
{
    const PoolKey known = MakePool();
    ASSERT_EQ(Push(known), 0);
    while (send(owner_.Get(), "x", 1, MSG_DONTWAIT) == 1) {}

    EXPECT_EQ(Push(MakePool()), EAGAIN);
    EXPECT_EQ(Push(known), 0);
}

TEST_F(Outlet, OutlivesThePoolOfEntriesOnTheWay)
{
    const PoolKey pool = MakePool();
    ASSERT_EQ(Push(pool), 0);
    pools_.Remove(pool);

    Consume(1);

    EXPECT_TRUE(outlet_->Reclaim(pools_));
    EXPECT_EQ(Push(MakePool()), 0);
}
