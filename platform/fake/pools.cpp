#include "platform/fake/pools.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>

#include "platform/fake/call.h"

namespace OwnerlinkFake {

namespace detail {
namespace {

struct Pool {
    std::string name;
    uint32_t blockSize = 0;
    uint32_t blockCount = 0;
};

struct Block {
    uint32_t pool = 0;
    bool isEnqueued = false;
    std::string bytes;
};

// Numbers are never used twice, so that a stale handle is always found out.
struct Pools {
    uint32_t lastPool = 0;
    uint64_t lastBlock = 0;
    std::map<uint32_t, Pool> pools;
    std::map<uint64_t, Block> blocks;
};

Pools& ThePools()
{
    return Immortal<Pools>();
}

uint32_t PoolNumber(const IAMShmPool* pool)
{
    return pool == nullptr ? 0 : pool->opaque[0];
}

uint64_t BlockNumber(const IAMShmBlock& block)
{
    uint64_t number = 0;
    std::memcpy(&number, &block, sizeof(number));
    return number;
}

Block* FindBlock(const IAMShmBlock* block)
{
    const auto found =
        block == nullptr ? ThePools().blocks.end() : ThePools().blocks.find(BlockNumber(*block));
    return found == ThePools().blocks.end() ? nullptr : &found->second;
}

std::size_t CountBlocks(uint32_t pool)
{
    const auto& blocks = ThePools().blocks;
    return static_cast<std::size_t>(
        std::count_if(blocks.begin(), blocks.end(),
                      [pool](const auto& entry) { return entry.second.pool == pool; }));
}

std::string TextOf(const IAMShmPoolConfig* config)
{
    if (config == nullptr) {
        return "null";
    }
    const std::string name = config->name == nullptr ? "null" : config->name;
    return name + "," + std::to_string(config->blockSize) + "," +
           std::to_string(config->blockCount);
}

int RegisterPool(const IAMShmPoolConfig* config, IAMShmPool* pool)
{
    if (config == nullptr || pool == nullptr || config->blockSize == 0 || config->blockCount == 0) {
        return -EINVAL;
    }
    const Lock lock = LockState();
    const uint32_t number = ++ThePools().lastPool;
    const std::string name = config->name == nullptr ? "" : config->name;
    ThePools().pools[number] = {name, config->blockSize, config->blockCount};
    *pool = IAMShmPool{};
    pool->opaque[0] = number;
    return 0;
}

// A pool takes its blocks with it; what lies in a queue has been copied there.
int DestroyPool(IAMShmPool* pool)
{
    const uint32_t number = PoolNumber(pool);
    const Lock lock = LockState();
    if (pool == nullptr || (number != 0 && ThePools().pools.erase(number) == 0)) {
        return -EINVAL;
    }
    auto& blocks = ThePools().blocks;
    for (auto entry = blocks.begin(); entry != blocks.end();) {
        entry = entry->second.pool == number ? blocks.erase(entry) : std::next(entry);
    }
    return 0;
}

int AllocateBlock(const IAMShmPool* pool, uint32_t size, IAMShmBlock* block)
{
    const Lock lock = LockState();
    const auto found = ThePools().pools.find(PoolNumber(pool));
    if (found == ThePools().pools.end() || block == nullptr || size == 0 ||
        size > found->second.blockSize) {
        return -EINVAL;
    }
    if (CountBlocks(found->first) >= found->second.blockCount) {
        return -ENOMEM;
    }
    const uint64_t number = ++ThePools().lastBlock;
    ThePools().blocks[number] = {found->first, false, std::string(size, '\0')};
    std::memcpy(block, &number, sizeof(number));
    return 0;
}

int WriteBlock(const IAMShmBlock* block, const void* source, uint32_t size, uint32_t offset)
{
    const Lock lock = LockState();
    Block* found = FindBlock(block);
    if (found == nullptr || source == nullptr || found->isEnqueued ||
        offset > found->bytes.size() || size > found->bytes.size() - offset) {
        return -EINVAL;
    }
    std::memcpy(found->bytes.data() + offset, source, size);
    return 0;
}

int FreeBlock(const IAMShmPool* pool, const IAMShmBlock* block)
{
    const Lock lock = LockState();
    const Block* found = FindBlock(block);
    if (found == nullptr || found->isEnqueued || found->pool != PoolNumber(pool)) {
        return -EINVAL;
    }
    ThePools().blocks.erase(BlockNumber(*block));
    return 0;
}

// Gives the set result, or that of `usual`, which then does the work.
template <class Usual>
int Complete(Call& call, const Usual& usual)
{
    return static_cast<int>(call.Set() ? call.Return(*call.Set()) : call.Return(usual()));
}

std::string BlockPoolName(const IAMShmBlock* block)
{
    const Lock lock = LockState();
    const Block* found = FindBlock(block);
    return found == nullptr ? "" : ThePools().pools[found->pool].name;
}

}  // namespace

std::string PoolName(const IAMShmPool* pool)
{
    const Lock lock = LockState();
    const auto found = ThePools().pools.find(PoolNumber(pool));
    return found == ThePools().pools.end() ? "" : found->second.name;
}

std::optional<BlockContents> EnqueueBlock(const Lock& /*lock*/, const IAMShmPool& pool,
                                          const IAMShmBlock& block)
{
    Block* found = FindBlock(&block);
    if (found == nullptr || found->isEnqueued || found->pool != PoolNumber(&pool)) {
        return std::nullopt;
    }
    found->isEnqueued = true;
    return BlockContents{BlockNumber(block), found->bytes};
}

void ReturnBlock(const Lock& /*lock*/, uint64_t block)
{
    ThePools().blocks.erase(block);
}

void ResetPools()
{
    ThePools().pools.clear();
    ThePools().blocks.clear();
}

}  // namespace detail

std::size_t BlocksInUse()
{
    const detail::Lock lock = detail::LockState();
    const auto& blocks = detail::ThePools().blocks;
    return static_cast<std::size_t>(std::count_if(
        blocks.begin(), blocks.end(), [](const auto& entry) { return !entry.second.isEnqueued; }));
}

std::size_t PoolsInUse()
{
    const detail::Lock lock = detail::LockState();
    return detail::ThePools().pools.size();
}

}  // namespace OwnerlinkFake

using OwnerlinkFake::detail::Call;
using OwnerlinkFake::detail::Complete;
using OwnerlinkFake::detail::PoolName;

extern "C" {

OWNERLINK_FAKE_EXPORT int IAMShmRegisterPoolWithConfig(const IAMShmPoolConfig* config,
                                                       IAMShmPool* pool)
{
    const bool isNamed = config != nullptr && config->name != nullptr;
    const std::string name = isNamed ? config->name : "";
    Call call("IAMShmRegisterPoolWithConfig", OwnerlinkFake::detail::TextOf(config), name);
    return Complete(call, [&] { return OwnerlinkFake::detail::RegisterPool(config, pool); });
}

OWNERLINK_FAKE_EXPORT int IAMShmDestroyPool(IAMShmPool* pool)
{
    const std::string name = PoolName(pool);
    Call call("IAMShmDestroyPool", name, name);
    return Complete(call, [&] { return OwnerlinkFake::detail::DestroyPool(pool); });
}

OWNERLINK_FAKE_EXPORT int IAMShmHandleMalloc(IAMShmPool* pool, uint32_t size, IAMShmBlock* block)
{
    const std::string name = PoolName(pool);
    Call call("IAMShmHandleMalloc", name + "," + std::to_string(size), name);
    return Complete(call, [&] { return OwnerlinkFake::detail::AllocateBlock(pool, size, block); });
}

OWNERLINK_FAKE_EXPORT int IAMShmWrite(IAMShmBlock* block, const void* source, uint32_t size,
                                      uint32_t offset)
{
    const std::string name = OwnerlinkFake::detail::BlockPoolName(block);
    Call call("IAMShmWrite", name + "," + std::to_string(size) + "," + std::to_string(offset),
              name);
    return Complete(call,
                    [&] { return OwnerlinkFake::detail::WriteBlock(block, source, size, offset); });
}

OWNERLINK_FAKE_EXPORT int IAMShmFree(IAMShmPool* pool, IAMShmBlock* block)
{
    const std::string name = PoolName(pool);
    Call call("IAMShmFree", name, name);
    return Complete(call, [&] { return OwnerlinkFake::detail::FreeBlock(pool, block); });
}

}  // extern "C"
