#include <cerrno>
#include <cstring>

#include "platform/iam_queue.h"
#include "tests/support/platform_test.h"

namespace {

using ::testing::ElementsAre;

class Pools : public PlatformTest {
protected:
    IAMShmPool MakePool(uint32_t blockSize, uint32_t blockCount)
    {
        const IAMShmPoolConfig config{"pool", blockSize, blockCount};
        IAMShmPool pool{};
        EXPECT_EQ(IAMShmRegisterPoolWithConfig(&config, &pool), 0);
        return pool;
    }

    IAMShmBlock block_{};
};

TEST_F(Pools, HandOutBlocksUntilTheyAreEmpty)
{
    IAMShmPool pool = MakePool(8, 2);
    IAMShmBlock second{};

    EXPECT_EQ(IAMShmHandleMalloc(&pool, 8, &block_), 0);
    EXPECT_EQ(IAMShmHandleMalloc(&pool, 1, &second), 0);
    EXPECT_EQ(IAMShmHandleMalloc(&pool, 1, &second), -ENOMEM);
    EXPECT_EQ(platform::BlocksInUse(), 2U);

    EXPECT_EQ(IAMShmFree(&pool, &block_), 0);
    EXPECT_EQ(IAMShmHandleMalloc(&pool, 1, &second), 0);
}

TEST_F(Pools, CheckSizes)
{
    IAMShmPool pool = MakePool(8, 2);

    EXPECT_EQ(IAMShmHandleMalloc(&pool, 9, &block_), -EINVAL);
    EXPECT_EQ(IAMShmHandleMalloc(&pool, 0, &block_), -EINVAL);
    ASSERT_EQ(IAMShmHandleMalloc(&pool, 4, &block_), 0);
    EXPECT_EQ(IAMShmWrite(&block_, "12345", 5, 0), -EINVAL);
    EXPECT_EQ(IAMShmWrite(&block_, "1", 1, 4), -EINVAL);
    EXPECT_EQ(IAMShmWrite(&block_, "1", 1, UINT32_MAX), -EINVAL);
    EXPECT_EQ(IAMShmWrite(&block_, "1234", 4, 0), 0);
    EXPECT_EQ(IAMShmWrite(&block_, "1", 1, 3), 0);
}

TEST_F(Pools, RefuseHandlesThatAreStaleOrAnothersOrNone)
{
    IAMShmPool pool = MakePool(8, 2);
    IAMShmPool other = MakePool(8, 2);
    ASSERT_EQ(IAMShmHandleMalloc(&pool, 4, &block_), 0);

    EXPECT_EQ(IAMShmFree(&other, &block_), -EINVAL);
    EXPECT_EQ(IAMShmFree(&pool, &block_), 0);
    EXPECT_EQ(IAMShmFree(&pool, &block_), -EINVAL);
    EXPECT_EQ(IAMShmWrite(&block_, "1", 1, 0), -EINVAL);
    EXPECT_EQ(IAMShmFree(&pool, nullptr), -EINVAL);
    EXPECT_EQ(IAMShmHandleMalloc(nullptr, 1, &block_), -EINVAL);
    EXPECT_EQ(IAMShmRegisterPoolWithConfig(nullptr, &pool), -EINVAL);
}

TEST_F(Pools, TakeTheirBlocksWithThem)
{
    IAMShmPool pool = MakePool(8, 2);
    ASSERT_EQ(IAMShmHandleMalloc(&pool, 4, &block_), 0);
    EXPECT_EQ(platform::PoolsInUse(), 1U);

    EXPECT_EQ(IAMShmDestroyPool(&pool), 0);

    EXPECT_EQ(platform::PoolsInUse(), 0U);
    EXPECT_EQ(platform::BlocksInUse(), 0U);
    EXPECT_EQ(IAMShmDestroyPool(&pool), -EINVAL);
    EXPECT_EQ(IAMShmHandleMalloc(&pool, 4, &block_), -EINVAL);
}

TEST_F(Pools, AZeroedPoolIsDestroyedWithSuccessAndGivesNoBlock)
{
    IAMShmPool zeroed{};

    EXPECT_EQ(IAMShmDestroyPool(&zeroed), 0);
    EXPECT_EQ(IAMShmHandleMalloc(&zeroed, 1, &block_), -EINVAL);
}

TEST_F(Pools, ASetFailureLeavesThePoolZeroed)
{
    platform::SetNext("IAMShmRegisterPoolWithConfig", {platform::Gives(-12)});
    const IAMShmPoolConfig config{"pool", 160, 1000};
    IAMShmPool pool{};
    const IAMShmPool zeroed{};

    EXPECT_EQ(IAMShmRegisterPoolWithConfig(&config, &pool), -12);

    EXPECT_EQ(std::memcmp(&pool, &zeroed, sizeof(pool)), 0);
}

TEST_F(Pools, ShowTheirCallsWithNameAndSizes)
{
    IAMShmPool pool = MakePool(160, 1000);
    IAMShmHandleMalloc(&pool, 3, &block_);
    IAMShmWrite(&block_, "258", 3, 0);
    IAMShmFree(&pool, &block_);
    IAMShmDestroyPool(&pool);

    EXPECT_THAT(
        platform::Calls(),
        ElementsAre("IAMShmRegisterPoolWithConfig(pool,160,1000)=0", "IAMShmHandleMalloc(pool,3)=0",
                    "IAMShmWrite(pool,3,0)=0", "IAMShmFree(pool)=0", "IAMShmDestroyPool(pool)=0"));
}

TEST_F(Pools, TakeSetResultsByName)
{
    IAMShmPool pool = MakePool(8, 2);
    platform::SetStanding("IAMShmHandleMalloc", platform::Gives(3), "pool");

    EXPECT_EQ(IAMShmHandleMalloc(&pool, 4, &block_), 3);
    EXPECT_EQ(platform::BlocksInUse(), 0U);
}

}  // namespace
