// A subscriber whose owner says anything in its greeting, hands over any memory as ring and pools,
// and writes anything into the ring.
//
// The input is a script: the messages of the greeting up to a verdict, then steps of the owner
// between reads of the subscriber. What is read must be what lies in the block that the entry
// names, in a pool that was handed over, or in a short entry itself; the subscriber must not touch
// anything else.
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "fuzz/hosted_world.h"
#include "platform/hosted/queue_link.h"

namespace {

using fuzz::Require;
using fuzz::Script;
using hosted::QueueLink;
using hosted::QueueMessage;
using hosted::QueueMessageKind;
using hosted::RingEntry;
using hosted::SharedMemory;
using hosted::UniqueFd;

constexpr size_t kPoolBytes = 4096;
constexpr uint32_t kMostSlots = 64;

// Memory that no owner would hand over: not sealed, and no memory at all.
const UniqueFd& BadMemory(bool isFile)
{
    static const UniqueFd unsealed = UniqueFd::Make([] {
        const int fd = memfd_create("fuzz", MFD_CLOEXEC | MFD_ALLOW_SEALING);
        Require(ftruncate(fd, 1 << 20) == 0);
        return fd;
    });
    static const UniqueFd null = UniqueFd::Make([] { return open("/dev/null", O_RDWR); });
    return isFile ? unsealed : null;
}

// A pool whose bytes tell where they lie.
const SharedMemory& GoodPool()
{
    static const SharedMemory& pool = *new SharedMemory([] {
        auto memory =
            hosted::MakeSharedMemory("fuzz", kPoolBytes, hosted::SharedWriters::kMakerAlone);
        for (size_t at = 0; at < kPoolBytes; ++at) {
            memory.value.mapping.Bytes()[at] = static_cast<std::byte>(at % 251);
        }
        return std::move(memory.value);
    }());
    return pool;
}

class World {
public:
    explicit World(Script script)
        : script_(script),
          ring_(std::move(hosted::MakeSharedMemory("fuzz", hosted::RingBytes(kMostSlots),
                                                   hosted::SharedWriters::kBoth)
                              .value)),
          link_(std::move(pair_.ours), 1)
    {
    }

    void Run()
    {
        Greeting();
        const int error = link_.Greet(hosted::Deadline(0));
        Require(error >= 0);
        for (int steps = 0; error == 0 && steps < 256 && !script_.IsOver(); ++steps) {
            Step();
        }
    }

private:
    void Greeting()
    {
        for (auto count = script_.Take<uint8_t>() % 6; count > 0; --count) {
            SendMessage();
        }
        QueueMessage ring;
        ring.kind = QueueMessageKind::kRing;
        ring.count = 1 + script_.Take<uint8_t>() % kMostSlots;
        Send(ring, ring_.fd.Get());
        QueueMessage verdict;
        verdict.kind = QueueMessageKind::kVerdict;
        Send(verdict, -1);
    }

    void Send(const QueueMessage& message, int memory)
    {
        SendQueueMessage(pair_.theirs.Get(), message, memory);
    }

    int TakeMemory()
    {
        switch (script_.Take<uint8_t>() % 6) {
            case 0:
                return -1;
            case 1:
                return BadMemory(false).Get();
            case 2:
                return BadMemory(true).Get();
            case 3:
                isRingPool_ = true;  // as it may be: what it reads then is no pattern
                return ring_.fd.Get();
            default:
                return GoodPool().fd.Get();
        }
    }

    // Any fields, or bytes that are no message.
    void SendMessage()
    {
        QueueMessage message;
        const auto kind = script_.Take<uint8_t>();
        message.kind = QueueMessageKind{static_cast<uint16_t>(kind % 6)};
        message.error = (kind & 64U) != 0 ? script_.Take<int32_t>() : 0;
        message.pool = script_.Take<uint8_t>();
        message.size = script_.Take<uint32_t>();
        message.count = script_.Take<uint32_t>();
        if ((kind & 128U) == 0) {
            return Send(message, TakeMemory());
        }
        const std::string bytes = fuzz::BytesOf(message).substr(kind % 5) + script_.TakeBytes(3);
        fuzz::SendFrame(pair_.theirs, bytes);
    }

    void SendPool()
    {
        QueueMessage message;
        message.kind = QueueMessageKind::kPool;
        message.pool = script_.Take<uint8_t>() % 16;
        message.size = 1 + script_.Take<uint8_t>();
        message.count = 1 + script_.Take<uint8_t>() % 16;
        Send(message, TakeMemory());
    }

    void Step()
    {
        const uint8_t step = script_.Take<uint8_t>();
        switch (step % 7) {
            case 0:
                return SendMessage();
            case 1:
                return SendPool();
            case 2:
                return Corrupt();
            case 3:
                return Memory().StoreTail(script_.Take<uint64_t>());
            case 4:
            case 5:
                return Publish();
            default:
                return Read();
        }
    }

    hosted::SharedRingMemory Memory() const
    {
        return hosted::SharedRingMemory(ring_.mapping.Bytes());
    }

    void Corrupt()
    {
        mayBeShort_ = true;
        const size_t at = script_.Take<uint16_t>() % (ring_.mapping.Size() - 8);
        const auto word = script_.Take<uint64_t>();
        std::memcpy(ring_.mapping.Bytes() + at, &word, sizeof word);
    }

    // In every slot, so that the reader meets it wherever it is.
    void Publish()
    {
        RingEntry entry = {script_.Take<uint8_t>() % 16U, script_.Take<uint8_t>() % 20U,
                           script_.Take<uint16_t>()};
        mayBeShort_ = entry.size > 300 && entry.size % 16 <= 10;  // no block is so large
        if (mayBeShort_) {
            entry.size = hosted::kShortEntry | entry.size % 16;
        }
        for (uint32_t slot = 0; slot < kMostSlots; ++slot) {
            Memory().StoreEntry(slot, entry);
        }
        Memory().StoreTail(Memory().LoadHead() + 1);
        Read();
    }

    // Whatever the entry says, the bytes are a run of the pool's; those of a short entry may be
    // any.
    void Read()
    {
        std::vector<std::byte> bytes = {std::byte{1}};
        const QueueLink::NextEnd end = link_.Next(bytes);
        if (end != QueueLink::NextEnd::kEntry) {
            Require(bytes.size() == 1);
            return;
        }
        const bool isShort = mayBeShort_ && bytes.size() <= hosted::kMostShortBytes;
        for (size_t at = 1; !isRingPool_ && !isShort && at < bytes.size(); ++at) {
            const auto before = static_cast<unsigned>(bytes[at - 1]);
            Require(static_cast<unsigned>(bytes[at]) == (before + 1) % 251);
        }
    }

    Script script_;
    fuzz::SocketPair pair_;
    SharedMemory ring_;
    QueueLink link_;
    bool isRingPool_ = false;
    bool mayBeShort_ = false;  // an entry that lies in the ring
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzz::HostedWorld::Prepare();
    World(Script(data, size)).Run();
    return 0;
}
