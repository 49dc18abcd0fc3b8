// The pools of this process and who has which of their blocks.
#ifndef OWNERLINK_PLATFORM_HOSTED_POOL_TABLE_H
#define OWNERLINK_PLATFORM_HOSTED_POOL_TABLE_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "platform/hosted/queue_memory.h"
#include "platform/iam_queue.h"

namespace hosted {

inline constexpr uint32_t kMaxPools = 1024;
inline constexpr uint32_t kMaxBlockSize = 65536;
inline constexpr uint32_t kMaxBlockCount = 1U << 20U;
inline constexpr uint64_t kMaxPoolBytes = 64U << 20U;

// How far apart a pool's blocks lie: whole cache lines.
constexpr uint64_t StrideOf(uint32_t blockSize)
{
    return (uint64_t{blockSize} + 63) / 64 * 64;
}

// No pool is empty or larger than the limits.
constexpr bool IsPoolSize(uint32_t blockSize, uint32_t blockCount)
{
    return blockSize > 0 && blockSize <= kMaxBlockSize && blockCount > 0 &&
           blockCount <= kMaxBlockCount && StrideOf(blockSize) * blockCount <= kMaxPoolBytes;
}

// What an IAMShmPool says. `generation` tells the pools that have had one slot from each other.
struct PoolKey {
    uint32_t slot = 0;
    uint64_t generation = 0;

    bool operator==(const PoolKey&) const = default;
};

// What an IAMShmBlock says. `generation` is of the block: no two that were ever taken share it.
struct BlockKey {
    uint32_t slot = 0;
    uint32_t block = 0;
    uint64_t generation = 0;
};

bool IsZeroed(const IAMShmPool& pool);
PoolKey KeyOf(const IAMShmPool& pool);  // of no pool, if `pool` was never filled
void Fill(IAMShmPool& pool, const PoolKey& key);
BlockKey KeyOf(const IAMShmBlock& block);
void Fill(IAMShmBlock& block, const BlockKey& key);

// One pool. The blocks' states are the owner's own; nothing is read from the shared memory.
class Pool {
public:
    // EINVAL: an empty or oversized pool.
    static Outcome<std::unique_ptr<Pool>> Make(const IAMShmPoolConfig& config);

    const UniqueFd& Memory() const { return memory_.fd; }
    uint32_t BlockSize() const { return blockSize_; }
    uint32_t BlockCount() const { return static_cast<uint32_t>(blocks_.size()); }
    uint32_t Stride() const { return stride_; }

private:
    friend class PoolTable;

    enum class State : uint8_t { kFree, kTaken, kQueued };
    struct Block {
        uint64_t generation = 0;
        uint32_t size = 0;
        State state = State::kFree;
    };

    Pool(SharedMemory memory, uint32_t blockSize, uint32_t stride, uint32_t blockCount);

    SharedMemory memory_;
    uint32_t blockSize_;
    uint32_t stride_;
    uint64_t generation_ = 0;
    std::vector<Block> blocks_;
    std::vector<uint32_t> free_;  // the last one is taken next: it is the one most likely cached
    size_t copiesQueued_ = 0;     // entries that count as a block each, and lie in none
};

// Not thread-safe: the store's lock stands before it. Each call answers 0 or an errno number;
// EINVAL is a key that names nothing, or not this.
class PoolTable {
public:
    // EMFILE when there are too many.
    Outcome<PoolKey> Insert(std::unique_ptr<Pool> pool);
    std::unique_ptr<Pool> Remove(const PoolKey& key);  // null when there is none
    const Pool* Find(const PoolKey& key) const { return FindPool(key); }

    // ENOBUFS: no block is free. EMSGSIZE: no block is so large.
    Outcome<BlockKey> Take(const PoolKey& key, uint32_t size);
    // EMSGSIZE: beyond the size that was asked for.
    int Write(const BlockKey& key, std::span<const std::byte> source, uint32_t offset);
    int Free(const PoolKey& key, const BlockKey& block);

    // The block's bytes, if the caller holds it and may hand it to a queue; none is none of them.
    std::span<const std::byte> BytesOfTaken(const PoolKey& key, const BlockKey& block) const;
    void MarkQueued(const BlockKey& block);
    // A queue is done with the block; if its pool is gone, nothing.
    void FreeQueued(const BlockKey& block);

    // A queue has copied what lies in the block, which is free at once. Its pool is as dry as with
    // a queued block until the queue is done with the copy: no host can tell the difference.
    void MarkCopied(const BlockKey& block);
    void ForgetCopy(const PoolKey& key);

    // The pools stay where they are, unreachable: a thread of the parent's may have stood in one.
    void ForgetInChild();

private:
    Pool* FindPool(const PoolKey& key) const;
    Pool::Block* FindBlock(const BlockKey& key, Pool::State state) const;
    void Release(const BlockKey& key, Pool::Block& block);

    std::vector<std::unique_ptr<Pool>> pools_;  // by slot
    uint64_t lastPool_ = 0;
    uint64_t lastBlock_ = 0;
};

// What each event goes through for each subscriber is inlined.

inline constexpr uint32_t kPoolMagic = 0x504e4c4fU;  // "OLNP"

// 8 bytes for all three: 10 bits of slot, 20 of block, 34 of generation.
inline constexpr unsigned kGenerationBits = 34;
inline constexpr unsigned kBlockBits = 20;
inline constexpr uint64_t kGenerationMask = (uint64_t{1} << kGenerationBits) - 1;
static_assert(kMaxBlockCount == 1U << kBlockBits && kMaxPools == 1U << 10U);

struct PoolImage {
    uint32_t magic;
    uint32_t slot;
    uint64_t generation;
};
static_assert(sizeof(PoolImage) <= sizeof(IAMShmPool), "an IAMShmPool holds its image");

inline PoolKey KeyOf(const IAMShmPool& pool)
{
    PoolImage image = {};
    std::memcpy(&image, pool.opaque, sizeof image);
    return image.magic == kPoolMagic ? PoolKey{image.slot, image.generation} : PoolKey{};
}

inline BlockKey KeyOf(const IAMShmBlock& block)
{
    uint64_t image = 0;
    std::memcpy(&image, block.opaque, sizeof image);
    return {static_cast<uint32_t>(image >> (kGenerationBits + kBlockBits)),
            static_cast<uint32_t>(image >> kGenerationBits) & (kMaxBlockCount - 1),
            image & kGenerationMask};
}

inline void Fill(IAMShmBlock& block, const BlockKey& key)
{
    const uint64_t image = uint64_t{key.slot} << (kGenerationBits + kBlockBits) |
                           uint64_t{key.block} << kGenerationBits | key.generation;
    std::memcpy(block.opaque, &image, sizeof image);
}

inline Pool* PoolTable::FindPool(const PoolKey& key) const
{
    Pool* const pool = key.slot < pools_.size() ? pools_[key.slot].get() : nullptr;
    return pool != nullptr && pool->generation_ == key.generation ? pool : nullptr;
}

inline Pool::Block* PoolTable::FindBlock(const BlockKey& key, Pool::State state) const
{
    Pool* const pool = key.slot < pools_.size() ? pools_[key.slot].get() : nullptr;
    if (pool == nullptr || key.block >= pool->blocks_.size()) {
        return nullptr;
    }
    Pool::Block& block = pool->blocks_[key.block];
    return block.state == state && block.generation == key.generation ? &block : nullptr;
}

inline std::span<const std::byte> PoolTable::BytesOfTaken(const PoolKey& key,
                                                          const BlockKey& block) const
{
    const Pool* const pool = FindPool(key);
    const Pool::Block* const found = FindBlock(block, Pool::State::kTaken);
    if (pool == nullptr || found == nullptr || block.slot != key.slot) {
        return {};
    }
    return {pool->memory_.mapping.Bytes() + size_t{block.block} * pool->stride_, found->size};
}

inline void PoolTable::Release(const BlockKey& key, Pool::Block& block)
{
    block.state = Pool::State::kFree;
    pools_[key.slot]->free_.push_back(key.block);
}

inline void PoolTable::MarkCopied(const BlockKey& block)
{
    Pool& pool = *pools_[block.slot];
    Release(block, pool.blocks_[block.block]);
    ++pool.copiesQueued_;
}

inline void PoolTable::ForgetCopy(const PoolKey& key)
{
    if (Pool* const pool = FindPool(key); pool != nullptr) {
        --pool->copiesQueued_;
    }
}

}  // namespace hosted

#endif
