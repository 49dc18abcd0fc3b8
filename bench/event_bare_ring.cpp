// The floor: a ring in shared memory for each subscriber, a flag that it raises before it sleeps on
// it, and nothing else: no blocks, no checks, no lock.

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <stdexcept>

#include "bench/event_system.h"
#include "bench/shared_file.h"

namespace bench {
namespace {

constexpr uint64_t kSlots = 1024;

struct Ring {
    alignas(128) std::atomic<uint64_t> tail;
    alignas(128) std::atomic<uint64_t> head;
    std::atomic<uint32_t> isAsleep;
    std::atomic<uint32_t> isUsed;
    alignas(128) std::array<std::atomic<uint32_t>, kSlots> slots;
};
using Rings = std::array<Ring, kMostSubscribers>;

std::string PathIn(const std::string& directory)
{
    return directory + "/bare-rings";
}

Rings& MapIn(const std::string& directory)
{
    return *static_cast<Rings*>(MapSharedFile(PathIn(directory), sizeof(Rings)));
}

void Futex(std::atomic<uint32_t>& word, int operation, uint32_t value)
{
    syscall(SYS_futex, &word, operation, value, nullptr, nullptr, 0);
}

class RingSender : public EventSender {
public:
    explicit RingSender(const std::string& directory) : rings_(MapIn(directory)) {}

    void Send(uint32_t event) override
    {
        for (Ring& ring : rings_) {
            if (ring.isUsed.load() != 0) {
                Push(ring, event);
            }
        }
    }

private:
    static void Push(Ring& ring, uint32_t event)
    {
        const uint64_t tail = ring.tail.load(std::memory_order_relaxed);
        if (tail - ring.head.load() >= kSlots) {
            throw std::runtime_error("a bare ring is full");
        }
        ring.slots[tail % kSlots].store(event, std::memory_order_relaxed);
        ring.tail.store(tail + 1);
        if (ring.isAsleep.load() != 0 && ring.isAsleep.exchange(0) != 0) {
            Futex(ring.isAsleep, FUTEX_WAKE, 1);
        }
    }

    Rings& rings_;
};

void Await(Ring& ring, uint64_t head)
{
    while (ring.tail.load() == head) {
        ring.isAsleep.store(1);
        if (ring.tail.load() == head) {
            Futex(ring.isAsleep, FUTEX_WAIT, 1);
        }
        ring.isAsleep.store(0);
    }
}

void Receive(const std::string& directory, size_t number, const EventSink& sink)
{
    Ring& ring = MapIn(directory)[number];
    ring.isUsed.store(1);
    for (uint64_t head = 0;; ++head) {
        Await(ring, head);
        const uint32_t event = ring.slots[head % kSlots].load(std::memory_order_relaxed);
        ring.head.store(head + 1);
        sink(event);
    }
}

}  // namespace

EventSystem BareRingEvents()
{
    return {"bare ring", 250,
            [](const std::string& directory) { return std::make_unique<RingSender>(directory); },
            Receive};
}

}  // namespace bench
