// Both ends of a subscription without the layer behind them.
#ifndef OWNERLINK_TESTS_QUEUE_RAW_QUEUE_PEER_H
#define OWNERLINK_TESTS_QUEUE_RAW_QUEUE_PEER_H

#include <cstdint>
#include <string>

#include "platform/hosted/queue_memory.h"
#include "platform/hosted/queue_message.h"
#include "platform/hosted/queue_ring_memory.h"
#include "platform/hosted/runtime_dir.h"
#include "platform/hosted/unique_fd.h"
#include "tests/queue/queue_world.h"

// Waits for a message; its kind is 0 at the end of the connection.
hosted::QueueMessage ReceiveMessage(const hosted::UniqueFd& socket, hosted::UniqueFd* memory);

// A subscriber by hand: what it writes into its ring is the test's.
class RawSubscriber {
public:
    // Connects; `Greet` subscribes and maps the ring.
    explicit RawSubscriber(const std::string& name = kQueue);

    int Greet();  // the verdict
    void Send(const void* bytes, size_t size, int memory = -1) const;
    bool IsEnded() const;
    void Close() { socket_.Reset(); }

    hosted::RingHeader& Ring() { return *reinterpret_cast<hosted::RingHeader*>(ring_.Bytes()); }
    hosted::Mapping& RingBytes() { return ring_; }
    const hosted::UniqueFd& RingMemory() const { return ringMemory_; }
    const hosted::UniqueFd& Socket() const { return socket_; }

private:
    hosted::UniqueFd socket_;
    hosted::UniqueFd ringMemory_;
    hosted::Mapping ring_;
};

// A published queue behind which nothing runs.
class RawQueueOwner {
public:
    explicit RawQueueOwner(const std::string& name = kQueue, uint32_t timeoutMs = 5000);

    hosted::UniqueFd Accept() const;  // and takes the greeting

private:
    hosted::RuntimeDir directory_;
    hosted::UniqueFd listener_;
};

// Sends a ring of `slots`, which stays mapped here.
hosted::SharedMemory SendRing(const hosted::UniqueFd& socket, uint32_t slots);
hosted::SharedMemory SendPool(const hosted::UniqueFd& socket, uint32_t number, uint32_t blockSize,
                              uint32_t blockCount);
void SendVerdict(const hosted::UniqueFd& socket, int error);

#endif
