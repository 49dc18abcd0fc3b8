// Shared-memory pools, kept in ordinary memory.
#ifndef OWNERLINK_PLATFORM_FAKE_POOLS_H
#define OWNERLINK_PLATFORM_FAKE_POOLS_H

#include <cstdint>
#include <optional>
#include <string>

#include "platform/fake/state.h"
#include "platform/iam_queue.h"

namespace OwnerlinkFake::detail {

// What a block holds.
struct BlockContents {
    uint64_t block = 0;
    std::string bytes;
};

// Marks the block as a queue's and gives its contents; nothing if the pool does not know it.
std::optional<BlockContents> EnqueueBlock(const Lock& lock, const IAMShmPool& pool,
                                          const IAMShmBlock& block);

// Returns an enqueued block to its pool, if the pool still stands.
void ReturnBlock(const Lock& lock, uint64_t block);

// The name that the pool was registered with.
std::string PoolName(const IAMShmPool* pool);

void ResetPools();

}  // namespace OwnerlinkFake::detail

#endif
