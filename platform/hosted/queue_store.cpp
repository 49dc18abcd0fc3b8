#include "platform/hosted/queue_store.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <utility>

namespace hosted {
namespace {

static_assert(sizeof(void*) == sizeof(uint64_t), "a queue's number fits a pointer");

// Place and generation; never null.
void* Number(size_t place, uint32_t generation)
{
    return std::bit_cast<void*>(uint64_t{generation} << 32U | (place + 1));
}

}  // namespace

QueueStore& QueueStore::Instance()
{
    static auto* const store = new QueueStore;
    return *store;
}

int QueueStore::RegisterPool(const IAMShmPoolConfig& config, IAMShmPool& pool)
{
    Outcome<std::unique_ptr<Pool>> made = Pool::Make(config);
    if (!made) {
        return made.error;
    }
    const MutexLock lock(mutex_);
    const Outcome<PoolKey> key = pools_.Insert(std::move(made.value));
    if (key) {
        Fill(pool, key.value);
    }
    return key.error;
}

int QueueStore::DestroyPool(const IAMShmPool& pool)
{
    if (IsZeroed(pool)) {
        return 0;
    }
    std::unique_ptr<Pool> removed;  // unmapped when the lock is free
    const MutexLock lock(mutex_);
    removed = pools_.Remove(KeyOf(pool));
    return removed != nullptr ? 0 : EINVAL;
}

// A dry pool is refilled with what its readers have consumed since the last look.
int QueueStore::TakeBlock(const IAMShmPool& pool, uint32_t size, IAMShmBlock& block)
{
    const MutexLock lock(mutex_);
    Outcome<BlockKey> taken = pools_.Take(KeyOf(pool), size);
    if (taken.error == ENOBUFS) {
        for (const Place& place : queues_) {
            if (place.outlet != nullptr) {
                place.outlet->Reclaim(pools_);
            }
        }
        taken = pools_.Take(KeyOf(pool), size);
    }
    if (taken) {
        Fill(block, taken.value);
    }
    return taken.error;
}

int QueueStore::WriteBlock(const IAMShmBlock& block, std::span<const std::byte> source,
                           uint32_t offset)
{
    const MutexLock lock(mutex_);
    return pools_.Write(KeyOf(block), source, offset);
}

int QueueStore::FreeBlock(const IAMShmPool& pool, const IAMShmBlock& block)
{
    const MutexLock lock(mutex_);
    return pools_.Free(KeyOf(pool), KeyOf(block));
}

int QueueStore::Enqueue(void* queue, const IAMShmPool& pool, const IAMShmBlock& block)
{
    const MutexLock lock(mutex_);
    Place* const place = Find(queue);
    return place != nullptr ? place->outlet->Push(pools_, KeyOf(pool), KeyOf(block)) : EPIPE;
}

void* QueueStore::AddQueue(std::unique_ptr<QueueOutlet> outlet)
{
    const MutexLock lock(mutex_);
    auto place = std::find_if(queues_.begin(), queues_.end(),
                              [](const Place& entry) { return entry.outlet == nullptr; });
    if (place == queues_.end()) {
        place = queues_.insert(queues_.end(), Place{});
    }
    place->outlet = std::move(outlet);
    return Number(static_cast<size_t>(place - queues_.begin()), ++place->generation);
}

bool QueueStore::RemoveQueue(void* queue)
{
    std::unique_ptr<QueueOutlet> removed;  // unmapped when the lock is free
    const MutexLock lock(mutex_);
    Place* const place = Find(queue);
    if (place == nullptr) {
        return false;
    }
    place->outlet->End(pools_);
    removed = std::move(place->outlet);
    return removed->IsCorrupt();
}

QueueStore::Place* QueueStore::Find(void* queue)
{
    const auto number = std::bit_cast<uint64_t>(queue);
    const uint64_t index = (number & UINT32_MAX) - 1;
    if (index >= queues_.size()) {
        return nullptr;
    }
    Place& place = queues_[index];
    const bool isSame = place.generation == static_cast<uint32_t>(number >> 32U);
    return isSame && place.outlet != nullptr ? &place : nullptr;
}

void QueueStore::LockForFork() HOSTED_TSA(no_thread_safety_analysis)
{
    mutex_.lock();
}

void QueueStore::UnlockAfterFork() HOSTED_TSA(no_thread_safety_analysis)
{
    mutex_.unlock();
}

void QueueStore::ForgetInChild() HOSTED_TSA(no_thread_safety_analysis)
{
    pools_.ForgetInChild();
    static auto* const left = new std::vector<std::unique_ptr<QueueOutlet>>;
    for (Place& place : queues_) {
        left->push_back(std::move(place.outlet));
    }
}

}  // namespace hosted
