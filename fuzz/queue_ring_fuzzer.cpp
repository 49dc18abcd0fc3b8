// An owner whose subscriber writes anything into the ring that they share, and whose host calls
// with any handle.
//
// The input is a script: each step is a byte that chooses it and the bytes that it takes. Whatever
// the script does, the owner must neither crash nor lose a block: at the end, with the subscription
// over, each pool has all of its blocks again.
#include <sys/socket.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <utility>
#include <vector>

#include "fuzz/script.h"
#include "platform/hosted/queue_message.h"
#include "platform/hosted/queue_store.h"

namespace {

using fuzz::Require;
using fuzz::Script;
using hosted::QueueStore;
using hosted::UniqueFd;

constexpr uint32_t kPools = 10;  // more than one subscriber can have
constexpr uint32_t kBlockSize = 16;
constexpr uint32_t kBlockCount = 5;

class World {
public:
    explicit World(Script script) : script_(script)
    {
        int ends[2];
        Require(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) == 0);
        owner_ = UniqueFd::Make([&] { return ends[0]; });
        subscriber_ = UniqueFd::Make([&] { return ends[1]; });
        auto ring = hosted::MakeSharedMemory("fuzz", hosted::RingBytes(hosted::kRingSlots),
                                             hosted::SharedWriters::kBoth);
        auto outlet =
            std::make_unique<hosted::QueueOutlet>(std::move(ring.value.mapping), owner_.Get());
        // The subscriber's own mapping: the owner's ends with the queue.
        foreign_ = std::move(
            hosted::MapForeign(ring.value.fd, hosted::RingBytes(hosted::kRingSlots), 3).value);
        queue_ = QueueStore::Instance().AddQueue(std::move(outlet));
        for (IAMShmPool& pool : pools_) {
            MakePool(pool);
        }
    }

    void Run()
    {
        while (!script_.IsOver()) {
            Step();
        }
        QueueStore::Instance().RemoveQueue(queue_);
        for (auto& [pool, block] : held_) {
            IAMShmFree(&pools_[pool], &block);
        }
        for (IAMShmPool& pool : pools_) {
            CheckAndDestroy(pool);
        }
    }

private:
    void Step()
    {
        switch (script_.Take<uint8_t>() % 10) {
            case 0:
                return TakeBlock();
            case 1:
                return Enqueue();
            case 2:
                return Corrupt();
            case 3:
                return Acknowledge(script_.Take<uint8_t>());
            case 4:
                return WriteBlock();
            case 5:
                return FreeBlock();
            case 6:
                return Drain();
            case 7:
                return Renew(script_.Take<uint8_t>() % kPools);
            case 8:
                return TryAnyHandle();
            default:
                return TakeAndEnqueue();
        }
    }

    static void MakePool(IAMShmPool& pool)
    {
        pool = {};
        const IAMShmPoolConfig config = {nullptr, kBlockSize, kBlockCount};
        Require(IAMShmRegisterPoolWithConfig(&config, &pool) == 0);
    }

    void TakeBlock()
    {
        const uint32_t pool = script_.Take<uint8_t>() % kPools;
        IAMShmBlock block = {};
        if (IAMShmHandleMalloc(&pools_[pool], script_.Take<uint8_t>() % 20, &block) == 0) {
            held_.emplace_back(pool, block);
        }
    }

    void Enqueue()
    {
        if (held_.empty()) {
            return;
        }
        auto [pool, block] = held_.back();
        if (IAMDataEnqueue(queue_, &pools_[pool], &block) == 0) {
            held_.pop_back();
            Require(IAMShmFree(&pools_[pool], &block) != 0);  // it is the queue's
        }
    }

    void TakeAndEnqueue()
    {
        TakeBlock();
        Enqueue();
    }

    void WriteBlock()
    {
        const auto size = script_.Take<uint8_t>();
        const auto offset = script_.Take<uint32_t>();
        const std::array<char, 256> source = {};
        if (!held_.empty()) {
            const int result = IAMShmWrite(&held_.back().second, source.data(), size, offset);
            Require(result != 0 || uint64_t{offset} + size <= kBlockSize);
        }
    }

    void FreeBlock()
    {
        if (!held_.empty()) {
            auto [pool, block] = held_.back();
            held_.pop_back();
            IAMShmFree(&pools_[pool], &block);
        }
    }

    void Corrupt()
    {
        const size_t at = script_.Take<uint16_t>() % (foreign_.Size() - 8);
        const auto word = script_.Take<uint64_t>();
        std::memcpy(foreign_.Bytes() + at, &word, sizeof word);
    }

    // As a subscriber that keeps the rules, unless the count goes beyond what is there.
    void Acknowledge(uint8_t count)
    {
        auto& header = *reinterpret_cast<hosted::RingHeader*>(foreign_.Bytes());
        header.head.store(header.head.load() + count % 4);
        header.flag.store(count / 4U % 3);
    }

    void Drain()
    {
        hosted::QueueMessage message;
        UniqueFd memory;
        hosted::ReceiveQueueMessage(subscriber_.Get(), &message, &memory);
    }

    void Renew(uint32_t pool)
    {
        Require(IAMShmDestroyPool(&pools_[pool]) == 0);
        Require(IAMShmDestroyPool(&pools_[pool]) != 0);
        MakePool(pools_[pool]);
        std::erase_if(held_, [&](const auto& entry) { return entry.first == pool; });
    }

    // Handles that the host has made up, unless they happen to be one that it was given.
    void TryAnyHandle()
    {
        auto pool = script_.Take<IAMShmPool>();
        auto block = script_.Take<IAMShmBlock>();
        if (hosted::KeyOf(pool) == hosted::PoolKey{}) {
            IAMShmFree(&pool, &block);
            IAMDataEnqueue(queue_, &pool, &block);
            IAMShmHandleMalloc(&pool, 1, &block);
            IAMShmDestroyPool(&pool);
        }
        IAMDataEnqueue(reinterpret_cast<void*>(script_.Take<uint64_t>() | 1U << 31U), &pools_[0],
                       &block);
    }

    static void CheckAndDestroy(IAMShmPool& pool)
    {
        IAMShmBlock block = {};
        for (uint32_t i = 0; i < kBlockCount; ++i) {
            Require(IAMShmHandleMalloc(&pool, kBlockSize, &block) == 0);
        }
        Require(IAMShmHandleMalloc(&pool, kBlockSize, &block) != 0);
        Require(IAMShmDestroyPool(&pool) == 0);
    }

    Script script_;
    UniqueFd owner_;
    UniqueFd subscriber_;
    hosted::Mapping foreign_;
    void* queue_ = nullptr;
    std::array<IAMShmPool, kPools> pools_;
    std::vector<std::pair<uint32_t, IAMShmBlock>> held_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    World(Script(data, size)).Run();
    return 0;
}
