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
      onTheWay_(kRingSlots)
{
}

int QueueOutlet::Push(PoolTable& pools, const PoolKey& key, const BlockKey& block)
{
    const std::optional<uint32_t> size = pools.SizeOfTaken(key, block);
    if (!size) {
        return EINVAL;
    }
    if (const int error = CheckRoom(pools); error != 0) {
        return error;
    }
    const Outcome<uint32_t> place = PlaceOf(pools, key);
    if (!place) {
        return place.error;
    }
    Handed& handed = handed_[place.value];
    onTheWay_[writer_.Written() % kRingSlots] = {block, place.value};
    ++handed.onTheWay;
    pools.MarkQueued(block);
    writer_.Push({handed.number, block.block, *size});
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
        const OnTheWay& entry = onTheWay_[givenBack_ % kRingSlots];
        pools.FreeQueued(entry.block);
        --handed_[entry.place].onTheWay;
    }
}

Outcome<uint32_t> QueueOutlet::PlaceOf(const PoolTable& pools, const PoolKey& key)
{
    for (uint32_t place = 0; place < kPoolsPerQueue; ++place) {
        if (handed_[place].isUsed && handed_[place].key == key) {
            return Succeeded(place);
        }
    }
    const std::optional<uint32_t> place = UnusedPlace(pools);
    if (!place) {
        return Outcome<uint32_t>::Failed(EMFILE);
    }
    const int error = HandOver(*pools.Find(key), key, *place);
    return error == 0 ? Succeeded(*place) : Outcome<uint32_t>::Failed(error);
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

int QueueOutlet::HandOver(const Pool& pool, const PoolKey& key, uint32_t place)
{
    Handed& handed = handed_[place];
    QueueMessage message;
    message.kind = QueueMessageKind::kPool;
    message.pool = handed.isUsed ? handed.number + kPoolsPerQueue : place;
    message.size = pool.BlockSize();
    message.count = pool.BlockCount();
    const int error = SendQueueMessage(socket_, message, pool.Memory().Get());
    // Who is gone misses neither the pool nor the entry: the end of its queue is on the way.
    const bool isGone = error == EPIPE || error == ECONNRESET || error == ENOTCONN;
    if (error != 0 && !isGone) {
        return error;
    }
    handed = {key, message.pool, 0, true};
    return 0;
}

}  // namespace hosted
