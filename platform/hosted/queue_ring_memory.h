// The ring's words in shared memory.
#ifndef OWNERLINK_PLATFORM_HOSTED_QUEUE_RING_MEMORY_H
#define OWNERLINK_PLATFORM_HOSTED_QUEUE_RING_MEMORY_H

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "platform/hosted/queue_ring.h"

namespace hosted {

inline constexpr uint32_t kRingSlots = 1024;

// Apart from each other by two cache lines, which processors fetch in pairs. The flag has lines of
// its own: the writer looks at it with each entry, and the reader changes it only around a sleep.
struct RingHeader {
    alignas(128) std::atomic<uint64_t> tail;
    alignas(128) std::atomic<uint64_t> head;
    alignas(128) std::atomic<uint32_t> flag;  // kAwake or kAsleep; the word that the sleeping
                                              // reader waits on
};
static_assert(sizeof(RingHeader) == 384, "layout of RingHeader");

struct RingSlot {
    std::atomic<uint64_t> place;  // pool in the upper half, block in the lower; or a short entry
    std::atomic<uint64_t> size;
};
static_assert(sizeof(RingSlot) == 16, "layout of RingSlot");
static_assert(std::atomic<uint64_t>::is_always_lock_free, "no lock may live in shared memory");

constexpr size_t RingBytes(uint32_t slots)
{
    return sizeof(RingHeader) + size_t{slots} * sizeof(RingSlot);
}

// `bytes` are zero, or what the other end has made of them; they outlive it.
class SharedRingMemory {
public:
    explicit SharedRingMemory(std::byte* bytes)
        : header_(reinterpret_cast<RingHeader*>(bytes)),
          slots_(reinterpret_cast<RingSlot*>(bytes + sizeof(RingHeader)))
    {
    }

    uint64_t LoadTail() const { return header_->tail.load(); }
    void StoreTail(uint64_t tail) { header_->tail.store(tail); }
    uint64_t LoadHead() const { return header_->head.load(); }
    // Nobody sleeps until it changes: it need not be seen ahead of what follows it.
    void StoreHead(uint64_t head) { header_->head.store(head, std::memory_order_release); }
    uint32_t LoadFlag() const { return header_->flag.load(); }
    void StoreFlag(uint32_t flag) { header_->flag.store(flag); }
    uint32_t ExchangeFlag(uint32_t flag) { return header_->flag.exchange(flag); }

    // The tail's store and load order these.
    void StoreEntry(uint32_t slot, const RingEntry& entry)
    {
        slots_[slot].place.store(uint64_t{entry.pool} << 32U | entry.block,
                                 std::memory_order_relaxed);
        slots_[slot].size.store(entry.size, std::memory_order_relaxed);
    }

    RingEntry LoadEntry(uint32_t slot) const
    {
        const uint64_t place = slots_[slot].place.load(std::memory_order_relaxed);
        const uint64_t size = slots_[slot].size.load(std::memory_order_relaxed);
        return {static_cast<uint32_t>(place >> 32U), static_cast<uint32_t>(place),
                static_cast<uint32_t>(size)};
    }

    void Sleep();
    void Wake();

private:
    RingHeader* header_;
    RingSlot* slots_;
};

}  // namespace hosted

#endif
