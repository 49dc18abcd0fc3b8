#include "platform/hosted/pool_table.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <numeric>
#include <utility>

namespace hosted {

bool IsZeroed(const IAMShmPool& pool)
{
    return std::all_of(std::begin(pool.opaque), std::end(pool.opaque),
                       [](uint32_t word) { return word == 0; });
}

void Fill(IAMShmPool& pool, const PoolKey& key)
{
    const PoolImage image{kPoolMagic, key.slot, key.generation};
    pool = {};
    std::memcpy(pool.opaque, &image, sizeof image);
}

Pool::Pool(SharedMemory memory, uint32_t blockSize, uint32_t stride, uint32_t blockCount)
    : memory_(std::move(memory)),
      blockSize_(blockSize),
      stride_(stride),
      blocks_(blockCount),
      free_(blockCount)
{
    std::iota(free_.rbegin(), free_.rend(), 0U);  // the first block is taken first
}

Outcome<std::unique_ptr<Pool>> Pool::Make(const IAMShmPoolConfig& config)
{
    using Made = Outcome<std::unique_ptr<Pool>>;
    if (!IsPoolSize(config.blockSize, config.blockCount)) {
        return Made::Failed(EINVAL);
    }
    const uint64_t stride = StrideOf(config.blockSize);
    Outcome<SharedMemory> memory =
        MakeSharedMemory("ownerlink-pool", stride * config.blockCount, SharedWriters::kMakerAlone);
    if (!memory) {
        return Made::Failed(memory.error);
    }
    return Succeeded(
        std::unique_ptr<Pool>(new Pool(std::move(memory.value), config.blockSize,
                                       static_cast<uint32_t>(stride), config.blockCount)));
}

Outcome<PoolKey> PoolTable::Insert(std::unique_ptr<Pool> pool)
{
    const auto place = std::find(pools_.begin(), pools_.end(), nullptr);
    const auto slot = static_cast<uint32_t>(place - pools_.begin());
    if (slot == kMaxPools) {
        return Outcome<PoolKey>::Failed(EMFILE);
    }
    pool->generation_ = ++lastPool_;
    const PoolKey key{slot, lastPool_};
    if (place == pools_.end()) {
        pools_.push_back(std::move(pool));
    } else {
        *place = std::move(pool);
    }
    return Succeeded(key);
}

std::unique_ptr<Pool> PoolTable::Remove(const PoolKey& key)
{
    return FindPool(key) != nullptr ? std::move(pools_[key.slot]) : nullptr;
}

Outcome<BlockKey> PoolTable::Take(const PoolKey& key, uint32_t size)
{
    Pool* const pool = FindPool(key);
    if (pool == nullptr || size == 0) {
        return Outcome<BlockKey>::Failed(EINVAL);
    }
    if (size > pool->blockSize_) {
        return Outcome<BlockKey>::Failed(EMSGSIZE);
    }
    if (pool->free_.size() == pool->copiesQueued_) {
        return Outcome<BlockKey>::Failed(ENOBUFS);
    }
    const uint32_t index = pool->free_.back();
    pool->free_.pop_back();
    lastBlock_ = (lastBlock_ + 1) & kGenerationMask;
    pool->blocks_[index] = {lastBlock_, size, Pool::State::kTaken};
    // What the owner does not write must be nobody's former bytes.
    std::memset(pool->memory_.mapping.Bytes() + size_t{index} * pool->stride_, 0, size);
    return Succeeded(BlockKey{key.slot, index, lastBlock_});
}

int PoolTable::Write(const BlockKey& key, std::span<const std::byte> source, uint32_t offset)
{
    const Pool::Block* const block = FindBlock(key, Pool::State::kTaken);
    if (block == nullptr) {
        return EINVAL;
    }
    if (uint64_t{offset} + source.size() > block->size) {
        return EMSGSIZE;
    }
    const Pool& pool = *pools_[key.slot];
    if (!source.empty()) {
        std::memcpy(pool.memory_.mapping.Bytes() + size_t{key.block} * pool.stride_ + offset,
                    source.data(), source.size());
    }
    return 0;
}

int PoolTable::Free(const PoolKey& key, const BlockKey& block)
{
    if (BytesOfTaken(key, block).empty()) {
        return EINVAL;
    }
    Release(block, pools_[block.slot]->blocks_[block.block]);
    return 0;
}

void PoolTable::MarkQueued(const BlockKey& block)
{
    pools_[block.slot]->blocks_[block.block].state = Pool::State::kQueued;
}

void PoolTable::FreeQueued(const BlockKey& block)
{
    if (Pool::Block* const found = FindBlock(block, Pool::State::kQueued); found != nullptr) {
        Release(block, *found);
    }
}

void PoolTable::ForgetInChild()
{
    static auto* const left = new std::vector<std::unique_ptr<Pool>>;
    for (auto& pool : pools_) {
        left->push_back(std::move(pool));
    }
    pools_.clear();
}

}  // namespace hosted
