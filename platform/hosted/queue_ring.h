// The ring that carries a subscriber's entries: the steps of both ends, apart from the memory that
// they work on.
//
// One writer, the owner, and one reader, the subscriber. Both count entries from 0 and never wrap
// in practice: `tail` is what has been written, `head` what has been consumed. Each end keeps its
// own count to itself and publishes copies; it believes the other's copy only within the bounds
// that its own count sets. `Memory` supplies the steps on the shared words: LoadTail, StoreTail,
// LoadHead, StoreHead, LoadFlag, StoreFlag, ExchangeFlag, StoreEntry, LoadEntry, Sleep (until
// somebody wakes it, unless the flag is no longer kAsleep) and Wake. Those of the tail and the flag
// are sequentially consistent; the head's, for which nobody sleeps, may be seen late.
#ifndef OWNERLINK_PLATFORM_HOSTED_QUEUE_RING_H
#define OWNERLINK_PLATFORM_HOSTED_QUEUE_RING_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <span>
#include <utility>

namespace hosted {

inline constexpr uint32_t kAwake = 0;
inline constexpr uint32_t kAsleep = 1;

// Where an entry's bytes lie. Of a short entry, `pool` and `block` are the bytes themselves: as
// many events as wait then touch no more memory than the ring.
struct RingEntry {
    uint32_t pool = 0;  // the number under which the pool was handed over
    uint32_t block = 0;
    uint32_t size = 0;  // with kShortEntry, of a short entry
};

inline constexpr uint32_t kShortEntry = 1U << 31U;
inline constexpr uint32_t kMostShortBytes = 8;
using ShortBytes = std::array<std::byte, kMostShortBytes>;

// `bytes` are kMostShortBytes at most.
inline RingEntry ShortEntry(std::span<const std::byte> bytes)
{
    std::array<uint32_t, 2> words = {};
    std::memcpy(words.data(), bytes.data(), bytes.size());
    return {words[0], words[1], kShortEntry | static_cast<uint32_t>(bytes.size())};
}

inline ShortBytes BytesOf(const RingEntry& entry)
{
    const std::array<uint32_t, 2> words = {entry.pool, entry.block};
    ShortBytes bytes;
    std::memcpy(bytes.data(), words.data(), sizeof bytes);
    return bytes;
}

template <typename Memory>
class RingWriter {
public:
    RingWriter(Memory memory, uint32_t slots) : memory_(std::move(memory)), slots_(slots) {}

    uint64_t Written() const { return tail_; }

    // How many entries the reader has consumed; none when it claims what cannot be.
    std::optional<uint64_t> Consumed()
    {
        const uint64_t head = memory_.LoadHead();
        if (head - consumed_ > tail_ - consumed_) {
            return std::nullopt;
        }
        consumed_ = head;
        return head;
    }

    // By the last look at `Consumed`.
    bool IsFull() const { return tail_ - consumed_ >= slots_; }

    // Only when it is not full. Wakes the reader if that sleeps, and makes no system call if not.
    void Push(const RingEntry& entry)
    {
        memory_.StoreEntry(static_cast<uint32_t>(tail_ % slots_), entry);
        memory_.StoreTail(++tail_);
        if (memory_.LoadFlag() == kAsleep && memory_.ExchangeFlag(kAwake) == kAsleep) {
            memory_.Wake();
        }
    }

private:
    Memory memory_;
    uint32_t slots_;
    uint64_t tail_ = 0;
    uint64_t consumed_ = 0;
};

enum class TakeEnd { kTaken, kEmpty, kCorrupt };

template <typename Memory>
class RingReader {
public:
    RingReader(Memory memory, uint32_t slots) : memory_(std::move(memory)), slots_(slots) {}

    // The oldest entry, which stays the reader's until `Release`.
    TakeEnd Take(RingEntry* entry)
    {
        const uint64_t waiting = memory_.LoadTail() - head_;
        if (waiting == 0) {
            return TakeEnd::kEmpty;
        }
        if (waiting > slots_) {
            return TakeEnd::kCorrupt;
        }
        *entry = memory_.LoadEntry(static_cast<uint32_t>(head_ % slots_));
        return TakeEnd::kTaken;
    }

    void Release() { memory_.StoreHead(++head_); }

    // Sleeps until there is an entry or `Interrupt` is called; returns early at will. `isStopped`
    // is looked at after the flag is up: who sets what it reads calls `Interrupt` afterwards.
    template <typename IsStopped>
    void Sleep(IsStopped isStopped)
    {
        memory_.StoreFlag(kAsleep);
        if (memory_.LoadTail() == head_ && !isStopped()) {
            memory_.Sleep();
        }
        memory_.StoreFlag(kAwake);
    }

    // Ends a `Sleep`; for any thread of the reader's process.
    void Interrupt()
    {
        if (memory_.ExchangeFlag(kAwake) == kAsleep) {
            memory_.Wake();
        }
    }

private:
    Memory memory_;
    uint32_t slots_;
    uint64_t head_ = 0;
};

}  // namespace hosted

#endif
