#include "platform/hosted/queue_outlet.h"

#include <sys/socket.h>

#include <cerrno>
#include <utility>

#include "platform/hosted/queue_message.h"

namespace hosted {

QueueOutlet::QueueOutlet(Mapping ring, int socket)
    : ring_(std::move(ring)),
      writer_(SharedRingMemory(ring_.Bytes()), kRingSlots),
      socket_(socket),
      onTheWay_(kRingSlots),
      blocks_(kRingSlots)
{
}

int QueueOutlet::Push(PoolTable& pools, const PoolKey& key, const BlockKey& block)
{
    const std::span<const std::byte> bytes = pools.BytesOfTaken(key, block);
    if (bytes.empty()) {
        return EINVAL;
    }
    if (const int error = CheckRoom(pools); error != 0) {
        return error;
    }
    const std::optional<uint32_t> place = PlaceOf(pools, key);
    if (!place) {
        return EMFILE;
    }
    const bool isShort = bytes.size() <= kMostShortBytes;
    if (const int error = Claim(*place, pools, key, isShort); error != 0) {
        return error;
    }
    const size_t slot = writer_.Written() % kRingSlots;
    onTheWay_[slot] = {static_cast<uint8_t>(*place), isShort};
    ++handed_[*place].onTheWay;
    if (isShort) {
        pools.MarkCopied(block);
        writer_.Push(ShortEntry(bytes));
    } else {
        blocks_[slot] = block;
        pools.MarkQueued(block);
        writer_.Push({handed_[*place].number, block.block, static_cast<uint32_t>(bytes.size())});
    }
    return 0;
}

int QueueOutlet::CheckRoom(PoolTable& pools)
{
    if (hasEnded_) {
        return EPIPE;
    }
    if (!Reclaim(pools)) {
        return EPROTO;
    }
    return writer_.IsFull() ? EAGAIN : 0;
}

bool QueueOutlet::Reclaim(PoolTable& pools)
{
    if (hasEnded_) {
        return !isCorrupt_;
    }
    const std::optional<uint64_t> consumed = writer_.Consumed();
    if (!consumed) {
        isCorrupt_ = true;
        shutdown(socket_, SHUT_RDWR);  // its service sees the end and closes the file
        End(pools);
        return false;
    }
    GiveBack(pools, *consumed);
    return true;
}

void QueueOutlet::End(PoolTable& pools)
{
    hasEnded_ = true;
    GiveBack(pools, writer_.Written());
}

void QueueOutlet::GiveBack(PoolTable& pools, uint64_t end)
{
    for (; givenBack_ != end; ++givenBack_) {
        const size_t slot = givenBack_ % kRingSlots;
        const OnTheWay entry = onTheWay_[slot];
        Handed& handed = handed_[entry.place];
        if (entry.isShort) {
            pools.ForgetCopy(handed.key);
        } else {
            pools.FreeQueued(blocks_[slot]);
        }
        --handed.onTheWay;
    }
}

std::optional<uint32_t> QueueOutlet::PlaceOf(const PoolTable& pools, const PoolKey& key) const
{
    for (uint32_t place = 0; place < kPoolsPerQueue; ++place) {
        if (handed_[place].IsOf(key)) {
            return place;
        }
    }
    return UnusedPlace(pools);
}

// A place that never had a pool, or whose pool is gone and has no entry on the way any more.
std::optional<uint32_t> QueueOutlet::UnusedPlace(const PoolTable& pools) const
{
    for (uint32_t place = 0; place < kPoolsPerQueue; ++place) {
        const Handed& handed = handed_[place];
        if (!handed.isUsed || (handed.onTheWay == 0 && pools.Find(handed.key) == nullptr)) {
            return place;
        }
    }
    return std::nullopt;
}

// Makes the place the pool's, and the pool known to the subscriber if an entry is to lie in it.
int QueueOutlet::Claim(uint32_t place, const PoolTable& pools, const PoolKey& key, bool isShort)
{
    Handed& handed = handed_[place];
    if (handed.IsOf(key) && (isShort || handed.isKnown)) {
        return 0;
    }
    Handed next = handed;
    if (!handed.IsOf(key)) {
        next = {key, handed.isUsed ? handed.number + kPoolsPerQueue : place, 0, true, false};
    }
    if (!isShort) {
        if (const int error = HandOver(*pools.Find(key), next.number); error != 0) {
            return error;
        }
        next.isKnown = true;
    }
    handed = next;
    return 0;
}

int QueueOutlet::HandOver(const Pool& pool, uint32_t number) const
{
    QueueMessage message;
    message.kind = QueueMessageKind::kPool;
    message.pool = number;
    message.size = pool.BlockSize();
    message.count = pool.BlockCount();
    const int error = SendQueueMessage(socket_, message, pool.Memory().Get());
    // Who is gone misses neither the pool nor the entry: the end of its queue is on the way.
    const bool isGone = error == EPIPE || error == ECONNRESET || error == ENOTCONN;
    return isGone ? 0 : error;
}

}  // namespace hosted
