// One subscriber's outlet at the owner, with the other end of its socket in the test's hands.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <memory>
#include <vector>

#include "platform/hosted/queue_message.h"
#include "platform/hosted/queue_outlet.h"

using hosted::BlockKey;
using hosted::kMostShortBytes;
using hosted::kPoolsPerQueue;
using hosted::PoolKey;
using hosted::PoolTable;
using hosted::QueueMessage;
using hosted::QueueMessageKind;
using hosted::QueueOutlet;
using hosted::QueueReceived;
using hosted::UniqueFd;

namespace {

constexpr uint32_t kLong = kMostShortBytes + 1;  // bytes that do not fit a ring's entry

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
        ringBytes_ = ring.mapping.Bytes();
        header_ = reinterpret_cast<hosted::RingHeader*>(ringBytes_);
        outlet_ = std::make_unique<QueueOutlet>(std::move(ring.mapping), owner_.Get());
    }

    PoolKey MakePool(uint32_t blockCount = 4)
    {
        return pools_.Insert(std::move(hosted::Pool::Make({nullptr, kLong, blockCount}).value))
            .value;
    }

    int Push(const PoolKey& pool, uint32_t size = kLong)
    {
        const hosted::Outcome<BlockKey> block = pools_.Take(pool, size);
        EXPECT_TRUE(block);
        const int error = outlet_->Push(pools_, pool, block.value);
        if (error != 0) {
            EXPECT_EQ(pools_.Free(pool, block.value), 0);  // it is still the caller's
        }
        return error;
    }

    int PushShort(const PoolKey& pool) { return Push(pool, kMostShortBytes); }

    hosted::RingEntry EntryAt(uint32_t slot) const
    {
        return hosted::SharedRingMemory(ringBytes_).LoadEntry(slot);
    }

    // How many blocks the pool still gives.
    int TakeAll(const PoolKey& pool)
    {
        int count = 0;
        while (pools_.Take(pool, 1)) {
            ++count;
        }
        return count;
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
    std::byte* ringBytes_ = nullptr;
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
    const BlockKey block = pools_.Take(pool, kLong).value;

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
    ASSERT_EQ(pools_.Take(pool, kLong).error, ENOBUFS);

    Consume(1);

    EXPECT_TRUE(outlet_->Reclaim(pools_));
    EXPECT_EQ(Push(pool), 0);
    EXPECT_EQ(pools_.Take(pool, kLong).error, ENOBUFS);
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
    EXPECT_TRUE(pools_.Take(pool, kLong));
    EXPECT_TRUE(pools_.Take(pool, kLong));
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

TEST_F(Outlet, PutsAShortEntryIntoItsRingAndHandsNoPoolOver)
{
    const PoolKey pool = MakePool();
    const BlockKey block = pools_.Take(pool, 3).value;
    const std::array<std::byte, 2> bytes = {std::byte{'a'}, std::byte{'b'}};
    ASSERT_EQ(pools_.Write(block, bytes, 1), 0);

    EXPECT_EQ(outlet_->Push(pools_, pool, block), 0);

    const hosted::RingEntry entry = EntryAt(0);
    EXPECT_EQ(entry.size, hosted::kShortEntry | 3U);
    EXPECT_EQ(std::memcmp(hosted::BytesOf(entry).data(), "\0ab\0\0\0\0", kMostShortBytes), 0);
    EXPECT_EQ(header_->tail.load(), 1U);
    EXPECT_EQ(Handed(), Numbers{});
}

TEST_F(Outlet, TakesTheBlockOfAShortEntryFromItsHolder)
{
    const PoolKey pool = MakePool();
    const PoolKey other = MakePool();
    const BlockKey block = pools_.Take(pool, 1).value;

    EXPECT_EQ(outlet_->Push(pools_, other, block), EINVAL);
    EXPECT_EQ(outlet_->Push(pools_, pool, block), 0);
    EXPECT_EQ(outlet_->Push(pools_, pool, block), EINVAL);
    EXPECT_EQ(pools_.Free(pool, block), EINVAL);
    EXPECT_EQ(pools_.Write(block, {}, 0), EINVAL);
}

TEST_F(Outlet, CountsAShortEntryAsABlockUntilItIsConsumed)
{
    const PoolKey pool = MakePool(2);
    ASSERT_EQ(PushShort(pool), 0);
    ASSERT_EQ(PushShort(pool), 0);
    ASSERT_EQ(pools_.Take(pool, 1).error, ENOBUFS);

    Consume(1);

    EXPECT_TRUE(outlet_->Reclaim(pools_));
    EXPECT_EQ(TakeAll(pool), 1);
}

TEST_F(Outlet, TellsShortEntriesFromOthersAsTheyAreConsumed)
{
    const PoolKey pool = MakePool(4);
    ASSERT_EQ(Push(pool), 0);
    ASSERT_EQ(PushShort(pool), 0);
    ASSERT_EQ(Push(pool), 0);
    ASSERT_EQ(PushShort(pool), 0);

    for (uint32_t left = 4; left > 0; --left) {
        ASSERT_EQ(pools_.Take(pool, 1).error, ENOBUFS);
        Consume(1);
        ASSERT_TRUE(outlet_->Reclaim(pools_));
        ASSERT_TRUE(pools_.Take(pool, 1));
    }
    EXPECT_EQ(TakeAll(pool), 0);
}

TEST_F(Outlet, HandsAPoolOverWhoseEntriesWereShortWithTheFirstThatIsNot)
{
    const PoolKey pool = MakePool();
    ASSERT_EQ(PushShort(pool), 0);
    ASSERT_EQ(Handed(), Numbers{});

    EXPECT_EQ(Push(pool), 0);
    EXPECT_EQ(PushShort(pool), 0);
    EXPECT_EQ(Push(pool), 0);

    EXPECT_EQ(Handed(), Numbers{0});
}

TEST_F(Outlet, RefusesMorePoolsOfShortEntriesThanASubscriberCanHave)
{
    for (uint32_t i = 0; i < kPoolsPerQueue; ++i) {
        EXPECT_EQ(PushShort(MakePool()), 0);
    }

    EXPECT_EQ(PushShort(MakePool()), EMFILE);
}

TEST_F(Outlet, WhoseSocketIsFullTakesShortEntriesOfANewPool)
{
    while (send(owner_.Get(), "x", 1, MSG_DONTWAIT) == 1) {}
    const PoolKey pool = MakePool();

    EXPECT_EQ(Push(pool), EAGAIN);
    EXPECT_EQ(PushShort(pool), 0);
    EXPECT_EQ(Push(pool), EAGAIN);
}

TEST_F(Outlet, ThatHasEndedCountsNoShortEntryAnyMore)
{
    const PoolKey pool = MakePool(2);
    ASSERT_EQ(PushShort(pool), 0);
    ASSERT_EQ(PushShort(pool), 0);

    outlet_->End(pools_);

    EXPECT_EQ(TakeAll(pool), 2);
}

TEST_F(Outlet, CountsAShortEntryToNoPoolThatHasTheSlotNext)
{
    const PoolKey pool = MakePool(2);
    ASSERT_EQ(PushShort(pool), 0);
    pools_.Remove(pool);
    const PoolKey next = MakePool(2);
    ASSERT_EQ(next.slot, pool.slot);
    ASSERT_EQ(PushShort(next), 0);

    Consume(1);

    EXPECT_TRUE(outlet_->Reclaim(pools_));
    EXPECT_EQ(TakeAll(next), 1);
}
