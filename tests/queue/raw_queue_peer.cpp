#include "tests/queue/raw_queue_peer.h"

#include <poll.h>
#include <sys/mman.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>

#include "platform/hosted/endpoint_record.h"
#include "platform/hosted/pool_table.h"
#include "platform/hosted/socket_address.h"

using namespace hosted;

namespace {

constexpr int kPatienceMs = 20000;

void AwaitInput(const UniqueFd& fd)
{
    pollfd entry = {fd.Get(), POLLIN, 0};
    poll(&entry, 1, kPatienceMs);
}

}  // namespace

QueueMessage ReceiveMessage(const UniqueFd& socket, UniqueFd* memory)
{
    AwaitInput(socket);
    QueueMessage message;
    const bool isMessage =
        ReceiveQueueMessage(socket.Get(), &message, memory) == QueueReceived::kMessage;
    return isMessage ? message : QueueMessage{0, 0, QueueMessageKind{0}, 0, 0, 0, 0};
}

RawSubscriber::RawSubscriber(const std::string& name)
{
    const Outcome<RuntimeDir> directory = OpenRuntimeDir();
    const Outcome<Endpoint> endpoint = ReadEndpoint(directory.value, name);
    socket_ =
        std::move(ConnectTo(directory.value, endpoint.value.instance, Deadline(kPatienceMs)).value);
}

int RawSubscriber::Greet()
{
    SendQueueMessage(socket_.Get(), QueueMessage{});
    UniqueFd memory;
    QueueMessage message = ReceiveMessage(socket_, &memory);
    if (message.kind == QueueMessageKind::kRing) {
        ringMemory_ = std::move(memory);
        ring_ = std::move(
            MapForeign(ringMemory_, hosted::RingBytes(message.count), PROT_READ | PROT_WRITE)
                .value);
        message = ReceiveMessage(socket_, &memory);
    }
    EXPECT_EQ(message.kind, QueueMessageKind::kVerdict);
    return message.error;
}

void RawSubscriber::Send(const void* bytes, size_t size, int memory) const
{
    if (memory >= 0) {
        QueueMessage message;
        std::memcpy(&message, bytes, sizeof message);
        EXPECT_EQ(SendQueueMessage(socket_.Get(), message, memory), 0);
        return;
    }
    EXPECT_EQ(send(socket_.Get(), bytes, size, MSG_NOSIGNAL), static_cast<ssize_t>(size));
}

bool RawSubscriber::IsEnded() const
{
    char bytes[64];
    while (recv(socket_.Get(), bytes, sizeof bytes, MSG_DONTWAIT) > 0) {}
    const ssize_t received = recv(socket_.Get(), bytes, sizeof bytes, MSG_DONTWAIT);
    return received == 0 || (received < 0 && errno == ECONNRESET);
}

RawQueueOwner::RawQueueOwner(const std::string& name, uint32_t timeoutMs)
{
    directory_ = std::move(PrepareRuntimeDir().value);
    const uint64_t instance = NewInstance();
    listener_ = std::move(ListenAt(directory_, instance).value);
    EXPECT_EQ(PublishEndpoint(directory_, name, {instance, timeoutMs, EndpointKind::kQueue}), 0);
}

UniqueFd RawQueueOwner::Accept() const
{
    AwaitInput(listener_);
    UniqueFd socket =
        UniqueFd::Make([&] { return accept4(listener_.Get(), nullptr, nullptr, SOCK_CLOEXEC); });
    EXPECT_EQ(ReceiveMessage(socket, nullptr).kind, QueueMessageKind::kHello);
    return socket;
}

SharedMemory SendRing(const UniqueFd& socket, uint32_t slots)
{
    SharedMemory ring =
        std::move(MakeSharedMemory("test-ring", RingBytes(slots), SharedWriters::kBoth).value);
    QueueMessage message;
    message.kind = QueueMessageKind::kRing;
    message.count = slots;
    EXPECT_EQ(SendQueueMessage(socket.Get(), message, ring.fd.Get()), 0);
    return ring;
}

SharedMemory SendPool(const UniqueFd& socket, uint32_t number, uint32_t blockSize,
                      uint32_t blockCount)
{
    SharedMemory pool = std::move(
        MakeSharedMemory("test-pool", StrideOf(blockSize) * blockCount, SharedWriters::kMakerAlone)
            .value);
    QueueMessage message;
    message.kind = QueueMessageKind::kPool;
    message.pool = number;
    message.size = blockSize;
    message.count = blockCount;
    EXPECT_EQ(SendQueueMessage(socket.Get(), message, pool.fd.Get()), 0);
    return pool;
}

void SendVerdict(const UniqueFd& socket, int error)
{
    QueueMessage message;
    message.kind = QueueMessageKind::kVerdict;
    message.error = error;
    EXPECT_EQ(SendQueueMessage(socket.Get(), message), 0);
}
