// A subscription to one life of a queue's owner: the socket, the ring and the pools.
#ifndef OWNERLINK_PLATFORM_HOSTED_QUEUE_LINK_H
#define OWNERLINK_PLATFORM_HOSTED_QUEUE_LINK_H

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "platform/hosted/deadline.h"
#include "platform/hosted/endpoint_record.h"
#include "platform/hosted/outcome.h"
#include "platform/hosted/queue_memory.h"
#include "platform/hosted/queue_message.h"
#include "platform/hosted/queue_outlet.h"
#include "platform/hosted/queue_ring_memory.h"
#include "platform/hosted/unique_fd.h"

namespace hosted {

// Belongs to one reading thread, but for the calls that say otherwise.
class QueueLink {
public:
    using Opened = Outcome<std::shared_ptr<QueueLink>>;

    // Subscribes to `name`; returns when the owner's open hook has.
    //
    // ENOENT: no owner, or a dead one's leftover. EIO: the open hook said no. EBUSY: a limit.
    // EACCES, EPROTO, ETIMEDOUT as for resource files. ESTALE: the owner's life is `former` still.
    static Opened Open(std::string_view name, uint64_t former = 0);

    explicit QueueLink(UniqueFd socket, uint64_t instance);

    // The first call on a link: takes the ring, and the verdict of the owner's open hook. 0 or an
    // errno number; the link is of no use then.
    int Greet(const Deadline& deadline);

    uint64_t Instance() const { return instance_; }

    enum class NextEnd { kEntry, kNothing, kBroken };

    // Copies the next entry out and gives its block back. kBroken: what the owner has written
    // cannot be.
    NextEnd Next(std::vector<std::byte>& bytes);

    // Until there is an entry, or an `Interrupt` or `NoteEnd`; not at all while `isClosing`.
    void Sleep(const std::atomic<bool>& isClosing);

    // For any thread.
    void NoteEnd();  // the owner is gone
    bool HasEnded() const { return hasEnded_.load(); }
    void Interrupt() { reader_->Interrupt(); }
    void ShutDown();  // tells the owner that this is over
    int Socket() const { return socket_.Get(); }

private:
    struct ForeignPool {
        Mapping mapping;
        uint32_t number = 0;
        uint32_t blockSize = 0;
        uint32_t blockCount = 0;
    };

    static Opened OpenLife(const RuntimeDir& directory, const Endpoint& endpoint);
    std::optional<int> AwaitVerdict(const Deadline& deadline);
    std::optional<int> Handle(const QueueMessage& message, const UniqueFd& memory);
    int TakeRing(const QueueMessage& message, const UniqueFd& memory);
    int TakePool(const QueueMessage& message, const UniqueFd& memory);
    static bool CopyShort(const RingEntry& entry, std::vector<std::byte>& bytes);
    bool CopyBlock(const RingEntry& entry, std::vector<std::byte>& bytes);
    const ForeignPool* FindPool(uint32_t number);
    bool ReceivePool();

    UniqueFd socket_;
    const uint64_t instance_;
    std::atomic<bool> hasEnded_{false};
    Mapping ring_;
    std::optional<RingReader<SharedRingMemory>> reader_;
    std::array<ForeignPool, kPoolsPerQueue> pools_;
};

}  // namespace hosted

#endif
