// Pools and block handles: what every call checks.
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

#include "platform/hosted/pool_table.h"
#include "tests/queue/queue_world.h"

namespace {

constexpr uint32_t kMost = std::numeric_limits<uint32_t>::max();

int Register(uint32_t blockSize, uint32_t blockCount, IAMShmPool* pool)
{
    *pool = {};
    const IAMShmPoolConfig config = {nullptr, blockSize, blockCount};
    return IAMShmRegisterPoolWithConfig(&config, pool);
}

IAMShmPool PoolOf(uint32_t blockSize, uint32_t blockCount)
{
    IAMShmPool pool;
    EXPECT_EQ(Register(blockSize, blockCount, &pool), 0);
    return pool;
}

IAMShmBlock BlockOf(IAMShmPool& pool, uint32_t size)
{
    IAMShmBlock block = {};
    EXPECT_EQ(IAMShmHandleMalloc(&pool, size, &block), 0);
    return block;
}

}  // namespace

TEST(PoolOfBlocks, OfTheUsualSizeIsMadeAndDestroyed)
{
    IAMShmPool pool = PoolOf(160, 1000);

    EXPECT_EQ(IAMShmDestroyPool(&pool), 0);
    EXPECT_EQ(IAMShmDestroyPool(&pool), -EINVAL);
}

TEST(PoolOfBlocks, ThatIsZeroedIsDestroyedWith0)
{
    IAMShmPool pool = {};

    EXPECT_EQ(IAMShmDestroyPool(&pool), 0);
}

TEST(PoolOfBlocks, ThatIsZeroedHasNoBlock)
{
    IAMShmPool pool = {};
    IAMShmBlock block = {};

    EXPECT_EQ(IAMShmHandleMalloc(&pool, 1, &block), -EINVAL);
    EXPECT_EQ(IAMShmWrite(&block, "x", 1, 0), -EINVAL);
    EXPECT_EQ(IAMShmFree(&pool, &block), -EINVAL);
}

TEST(PoolOfBlocks, ThatIsGarbageIsRefused)
{
    IAMShmPool pool;
    std::memset(&pool, 0xa5, sizeof pool);
    IAMShmBlock block = {};

    EXPECT_EQ(IAMShmDestroyPool(&pool), -EINVAL);
    EXPECT_EQ(IAMShmHandleMalloc(&pool, 1, &block), -EINVAL);
}

TEST(PoolOfBlocks, OfAnImpossibleSizeIsRefused)
{
    IAMShmPool pool;

    EXPECT_EQ(Register(0, 1, &pool), -EINVAL);
    EXPECT_EQ(Register(1, 0, &pool), -EINVAL);
    EXPECT_EQ(Register(hosted::kMaxBlockSize + 1, 1, &pool), -EINVAL);
    EXPECT_EQ(Register(1, hosted::kMaxBlockCount + 1, &pool), -EINVAL);
    EXPECT_EQ(Register(kMost, kMost, &pool), -EINVAL);
    EXPECT_EQ(Register(65536, 65536, &pool), -EINVAL);  // their product is 0 in 32 bits
    EXPECT_EQ(Register(65536, 1025, &pool), -EINVAL);   // one block above 64 MiB
}

TEST(PoolOfBlocks, OfTheGreatestSizeIsMade)
{
    IAMShmPool pool = PoolOf(65536, 1024);
    IAMShmPool many = PoolOf(1, hosted::kMaxBlockCount);

    EXPECT_EQ(IAMShmDestroyPool(&pool), 0);
    EXPECT_EQ(IAMShmDestroyPool(&many), 0);
}

TEST(PoolOfBlocks, BeyondTheGreatestNumberIsEMFILE)
{
    std::vector<IAMShmPool> pools;
    for (uint32_t i = 0; i < hosted::kMaxPools; ++i) {
        IAMShmPool pool;
        const int result = Register(1, 1, &pool);
        if (result == -EMFILE) {
            break;  // this process may open fewer descriptors
        }
        ASSERT_EQ(result, 0);
        pools.push_back(pool);
    }
    IAMShmPool pool;
    EXPECT_EQ(Register(1, 1, &pool), -EMFILE);

    EXPECT_EQ(IAMShmDestroyPool(&pools.back()), 0);
    EXPECT_EQ(Register(1, 1, &pool), 0);
}

TEST(PoolOfBlocks, WithoutArgumentsIsEFAULT)
{
    IAMShmPool pool = PoolOf(8, 1);
    IAMShmBlock block = BlockOf(pool, 8);
    const IAMShmPoolConfig config = {nullptr, 8, 1};

    EXPECT_EQ(IAMShmRegisterPoolWithConfig(nullptr, &pool), -EFAULT);
    EXPECT_EQ(IAMShmRegisterPoolWithConfig(&config, nullptr), -EFAULT);
    EXPECT_EQ(IAMShmDestroyPool(nullptr), -EFAULT);
    EXPECT_EQ(IAMShmHandleMalloc(nullptr, 1, &block), -EFAULT);
    EXPECT_EQ(IAMShmHandleMalloc(&pool, 1, nullptr), -EFAULT);
    EXPECT_EQ(IAMShmWrite(nullptr, "x", 1, 0), -EFAULT);
    EXPECT_EQ(IAMShmWrite(&block, nullptr, 1, 0), -EFAULT);
    EXPECT_EQ(IAMShmWrite(&block, nullptr, 0, 0), 0);
    EXPECT_EQ(IAMShmFree(nullptr, &block), -EFAULT);
    EXPECT_EQ(IAMShmFree(&pool, nullptr), -EFAULT);
    EXPECT_EQ(IAMDataEnqueue(nullptr, nullptr, &block), -EFAULT);
    EXPECT_EQ(IAMDataEnqueue(nullptr, &pool, nullptr), -EFAULT);
}

TEST(Block, IsAsLargeAsAskedFor)
{
    IAMShmPool pool = PoolOf(160, 2);
    IAMShmBlock block = BlockOf(pool, 10);

    EXPECT_EQ(IAMShmWrite(&block, "0123456789", 10, 0), 0);
    EXPECT_EQ(IAMShmWrite(&block, "9", 1, 9), 0);
    EXPECT_EQ(IAMShmWrite(&block, "01234567890", 11, 0), -EMSGSIZE);
    EXPECT_EQ(IAMShmWrite(&block, "90", 2, 9), -EMSGSIZE);
    EXPECT_EQ(IAMShmWrite(&block, "x", 1, 10), -EMSGSIZE);
}

TEST(Block, IsNotWrittenBeyondWhenOffsetAndSizeOverflow)
{
    IAMShmPool pool = PoolOf(160, 2);
    IAMShmBlock block = BlockOf(pool, 160);

    EXPECT_EQ(IAMShmWrite(&block, "x", 1, kMost), -EMSGSIZE);
    EXPECT_EQ(IAMShmWrite(&block, "x", kMost, 1), -EMSGSIZE);
    EXPECT_EQ(IAMShmWrite(&block, "x", kMost, kMost), -EMSGSIZE);
}

TEST(Block, OfNoBytesOrTooManyIsRefused)
{
    IAMShmPool pool = PoolOf(160, 2);
    IAMShmBlock block = {};

    EXPECT_EQ(IAMShmHandleMalloc(&pool, 0, &block), -EINVAL);
    EXPECT_EQ(IAMShmHandleMalloc(&pool, 161, &block), -EMSGSIZE);
    EXPECT_EQ(IAMShmHandleMalloc(&pool, kMost, &block), -EMSGSIZE);
    EXPECT_EQ(IAMShmHandleMalloc(&pool, 160, &block), 0);
}

TEST(Block, OfADryPoolIsENOBUFSUntilOneIsFreed)
{
    IAMShmPool pool = PoolOf(8, 2);
    IAMShmBlock first = BlockOf(pool, 8);
    BlockOf(pool, 8);
    IAMShmBlock third = {};

    EXPECT_EQ(IAMShmHandleMalloc(&pool, 8, &third), -ENOBUFS);
    EXPECT_EQ(IAMShmFree(&pool, &first), 0);

    EXPECT_EQ(IAMShmHandleMalloc(&pool, 8, &third), 0);
}

TEST(Block, ThatWasFreedIsNobodys)
{
    IAMShmPool pool = PoolOf(8, 1);
    IAMShmBlock block = BlockOf(pool, 8);
    ASSERT_EQ(IAMShmFree(&pool, &block), 0);

    EXPECT_EQ(IAMShmFree(&pool, &block), -EINVAL);
    EXPECT_EQ(IAMShmWrite(&block, "x", 1, 0), -EINVAL);

    BlockOf(pool, 8);  // the same block, under another handle
    EXPECT_EQ(IAMShmFree(&pool, &block), -EINVAL);
    EXPECT_EQ(IAMShmWrite(&block, "x", 1, 0), -EINVAL);
}

TEST(Block, IsFreedIntoItsOwnPoolAlone)
{
    IAMShmPool pool = PoolOf(8, 1);
    IAMShmPool other = PoolOf(8, 1);
    IAMShmBlock block = BlockOf(pool, 8);

    EXPECT_EQ(IAMShmFree(&other, &block), -EINVAL);
    EXPECT_EQ(IAMShmFree(&pool, &block), 0);
}

TEST(Block, OfADestroyedPoolIsNobodysThoughTheSlotIsUsedAgain)
{
    IAMShmPool pool = PoolOf(8, 1);
    IAMShmBlock block = BlockOf(pool, 8);
    IAMShmPool former = pool;
    ASSERT_EQ(IAMShmDestroyPool(&pool), 0);
    IAMShmPool next = PoolOf(8, 1);
    BlockOf(next, 8);

    EXPECT_EQ(IAMShmWrite(&block, "x", 1, 0), -EINVAL);
    EXPECT_EQ(IAMShmFree(&next, &block), -EINVAL);
    EXPECT_EQ(IAMShmFree(&former, &block), -EINVAL);
    EXPECT_EQ(IAMShmDestroyPool(&former), -EINVAL);
}

TEST(Block, WithAnyBitChangedIsRefused)
{
    IAMShmPool pool = PoolOf(8, 4);
    const IAMShmBlock block = BlockOf(pool, 8);

    for (unsigned bit = 0; bit < 64; ++bit) {
        IAMShmBlock changed = block;
        changed.opaque[bit / 32] ^= 1U << (bit % 32);
        EXPECT_EQ(IAMShmWrite(&changed, "x", 1, 0), -EINVAL) << bit;
        EXPECT_EQ(IAMShmFree(&pool, &changed), -EINVAL) << bit;
    }
}
