#include "platform/hosted/queue_link.h"

#include <sys/mman.h>
#include <sys/socket.h>

#include <cerrno>
#include <utility>

#include "platform/hosted/endpoint_search.h"
#include "platform/hosted/socket_address.h"
#include "platform/hosted/socket_wait.h"

namespace hosted {
namespace {

constexpr int kConnectWaitMs = 500;  // for room in an owner's backlog
constexpr uint32_t kMostRingSlots = 65536;
constexpr int kMostErrno = 4095;

int CheckLife(const Endpoint& endpoint, uint64_t former)
{
    if (endpoint.kind != EndpointKind::kQueue) {
        return EPROTO;
    }
    return endpoint.instance == former ? ESTALE : 0;
}

}  // namespace

QueueLink::QueueLink(UniqueFd socket, uint64_t instance)
    : socket_(std::move(socket)), instance_(instance)
{
}

QueueLink::Opened QueueLink::Open(std::string_view name, uint64_t former)
{
    return ConnectByName<Opened>(
        name, [=](const Endpoint& endpoint) { return CheckLife(endpoint, former); }, OpenLife);
}

QueueLink::Opened QueueLink::OpenLife(const RuntimeDir& directory, const Endpoint& endpoint)
{
    Outcome<UniqueFd> socket = ConnectTo(directory, endpoint.instance, Deadline(kConnectWaitMs));
    if (!socket) {
        return Opened::Failed(socket.error);
    }
    auto link = std::make_shared<QueueLink>(std::move(socket.value), endpoint.instance);
    const int error = link->Greet(Deadline(endpoint.timeoutMs));
    return error == 0 ? Succeeded(std::move(link)) : Opened::Failed(error);
}

// An owner that refuses may have closed the connection already: its reason lies there nevertheless.
int QueueLink::Greet(const Deadline& deadline)
{
    SendQueueMessage(socket_.Get(), QueueMessage{});
    std::optional<int> verdict;
    while (!verdict) {
        verdict = AwaitVerdict(deadline);
    }
    return *verdict == 0 && !reader_ ? EPROTO : *verdict;
}

// None while the verdict is still out.
std::optional<int> QueueLink::AwaitVerdict(const Deadline& deadline)
{
    QueueMessage message;
    UniqueFd memory;
    switch (ReceiveQueueMessage(socket_.Get(), &message, &memory)) {
        case QueueReceived::kMessage:
            return Handle(message, memory);
        case QueueReceived::kNothing:
            return AwaitInput(socket_.Get(), deadline) ? std::nullopt : std::optional(ETIMEDOUT);
        case QueueReceived::kEnd:
            return ENOENT;  // gone without a word
        default:
            return EPROTO;
    }
}

std::optional<int> QueueLink::Handle(const QueueMessage& message, const UniqueFd& memory)
{
    int error = EPROTO;
    switch (message.kind) {
        case QueueMessageKind::kRing:
            error = TakeRing(message, memory);
            break;
        case QueueMessageKind::kPool:
            error = TakePool(message, memory);
            break;
        case QueueMessageKind::kVerdict:
            return message.error >= 0 && message.error <= kMostErrno ? message.error : EPROTO;
        default:
            break;
    }
    return error == 0 ? std::nullopt : std::optional(error);
}

int QueueLink::TakeRing(const QueueMessage& message, const UniqueFd& memory)
{
    if (reader_ || !memory || message.count == 0 || message.count > kMostRingSlots) {
        return EPROTO;
    }
    Outcome<Mapping> ring = MapForeign(memory, RingBytes(message.count), PROT_READ | PROT_WRITE);
    if (ring) {
        ring_ = std::move(ring.value);
        reader_.emplace(SharedRingMemory(ring_.Bytes()), message.count);
    }
    return ring.error;
}

int QueueLink::TakePool(const QueueMessage& message, const UniqueFd& memory)
{
    if (!memory || !IsPoolSize(message.size, message.count)) {
        return EPROTO;
    }
    Outcome<Mapping> pool = MapForeign(memory, StrideOf(message.size) * message.count, PROT_READ);
    if (pool) {
        pools_[message.pool % kPoolsPerQueue] = {std::move(pool.value), message.pool, message.size,
                                                 message.count};
    }
    return pool.error;
}

QueueLink::NextEnd QueueLink::Next(std::vector<std::byte>& bytes)
{
    RingEntry entry;
    const TakeEnd taken = reader_->Take(&entry);
    if (taken != TakeEnd::kTaken) {
        return taken == TakeEnd::kEmpty ? NextEnd::kNothing : NextEnd::kBroken;
    }
    const bool isCopied =
        (entry.size & kShortEntry) != 0 ? CopyShort(entry, bytes) : CopyBlock(entry, bytes);
    if (!isCopied) {
        return NextEnd::kBroken;
    }
    reader_->Release();
    return NextEnd::kEntry;
}

bool QueueLink::CopyShort(const RingEntry& entry, std::vector<std::byte>& bytes)
{
    const uint32_t size = entry.size - kShortEntry;
    if (size > kMostShortBytes) {
        return false;
    }
    const ShortBytes source = BytesOf(entry);
    bytes.assign(source.begin(), source.begin() + size);
    return true;
}

bool QueueLink::CopyBlock(const RingEntry& entry, std::vector<std::byte>& bytes)
{
    const ForeignPool* const pool = FindPool(entry.pool);
    if (pool == nullptr || entry.block >= pool->blockCount || entry.size > pool->blockSize) {
        return false;
    }
    const std::byte* const block =
        pool->mapping.Bytes() + size_t{entry.block} * StrideOf(pool->blockSize);
    bytes.assign(block, block + entry.size);
    return true;
}

// A pool that is new to us has been sent ahead of the entry.
const QueueLink::ForeignPool* QueueLink::FindPool(uint32_t number)
{
    const ForeignPool& pool = pools_[number % kPoolsPerQueue];
    while (!pool.mapping || pool.number != number) {
        if (!ReceivePool()) {
            return nullptr;
        }
    }
    return &pool;
}

bool QueueLink::ReceivePool()
{
    QueueMessage message;
    UniqueFd memory;
    return ReceiveQueueMessage(socket_.Get(), &message, &memory) == QueueReceived::kMessage &&
           message.kind == QueueMessageKind::kPool && TakePool(message, memory) == 0;
}

void QueueLink::Sleep(const std::atomic<bool>& isClosing)
{
    reader_->Sleep([&] { return hasEnded_.load() || isClosing.load(); });
}

void QueueLink::NoteEnd()
{
    hasEnded_.store(true);
    Interrupt();
}

void QueueLink::ShutDown()
{
    shutdown(socket_.Get(), SHUT_RDWR);
}

}  // namespace hosted
