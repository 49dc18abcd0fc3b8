// The owner's end of one subscriber's ring.
#ifndef OWNERLINK_PLATFORM_HOSTED_QUEUE_OUTLET_H
#define OWNERLINK_PLATFORM_HOSTED_QUEUE_OUTLET_H

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "platform/hosted/pool_table.h"
#include "platform/hosted/queue_ring_memory.h"

namespace hosted {

// Pools whose entries one subscriber may have at the same time.
inline constexpr uint32_t kPoolsPerQueue = 8;

// Not thread-safe: the store's lock stands before it. Of what the subscriber can write it reads one
// count, and that is checked: which blocks are on their way stands in memory of the owner's own.
class QueueOutlet {
public:
    // `ring` is kRingSlots long; `socket` is the subscriber's, open until the outlet has ended.
    QueueOutlet(Mapping ring, int socket);

    // Hands the block over. 0 or an errno number: EAGAIN: the ring, or the way of a new pool, is
    // full. EPROTO: the subscriber has corrupted the ring. EPIPE: it has gone, or done so before.
    // EMFILE: more pools than the subscriber can have. EINVAL: no such block. On a failure the
    // block is still the caller's.
    int Push(PoolTable& pools, const PoolKey& key, const BlockKey& block);

    // Gives back the blocks that the subscriber has consumed. False when the ring is corrupt.
    bool Reclaim(PoolTable& pools);

    // Gives back all blocks: nothing is delivered any more.
    void End(PoolTable& pools);

    bool IsCorrupt() const { return isCorrupt_; }

private:
    // A pool as this subscriber knows it: under `number`, whose remainder is the place here.
    struct Handed {
        PoolKey key;
        uint32_t number = 0;
        uint32_t onTheWay = 0;  // entries that lie in it, or count as if they did
        bool isUsed = false;
        bool isKnown = false;  // handed over

        bool IsOf(const PoolKey& pool) const { return isUsed && key == pool; }
    };
    struct OnTheWay {
        uint8_t place = 0;
        bool isShort = false;
    };
    static_assert(kPoolsPerQueue <= UINT8_MAX, "a place fits its field");

    void GiveBack(PoolTable& pools, uint64_t end);
    int CheckRoom(PoolTable& pools);
    std::optional<uint32_t> PlaceOf(const PoolTable& pools, const PoolKey& key) const;
    std::optional<uint32_t> UnusedPlace(const PoolTable& pools) const;
    int Claim(uint32_t place, const PoolTable& pools, const PoolKey& key, bool isShort);
    int HandOver(const Pool& pool, uint32_t number) const;

    Mapping ring_;
    RingWriter<SharedRingMemory> writer_;
    int socket_;
    bool isCorrupt_ = false;
    bool hasEnded_ = false;
    uint64_t givenBack_ = 0;
    std::vector<OnTheWay> onTheWay_;  // by ring slot, as are
    std::vector<BlockKey> blocks_;    // those of entries that are not short
    std::array<Handed, kPoolsPerQueue> handed_;
};

}  // namespace hosted

#endif
