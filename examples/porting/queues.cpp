// Queues: an entry is one message over the subscription's connection. Blocks are ordinary memory of
// the owner, copied once more; a platform with shared memory hands over the block itself.

#include <sys/socket.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <map>
#include <thread>
#include <vector>

#include "descriptors.h"
#include "endpoint.h"
#include "platform/iam_queue.h"

namespace sample {
namespace {

constexpr auto kNextLifePause = std::chrono::milliseconds(100);

// ---- Pools. A handle is the pool's number and, of a block, its place.

struct Block {
    std::vector<char> bytes;
    bool isTaken = false;
};

struct Pools {
    std::mutex mutex;
    std::map<uint32_t, std::vector<Block>> byNumber;
    uint32_t lastNumber = 0;
};

Pools& ThePools()
{
    static Pools& pools = *new Pools;
    return pools;
}

// Null for a handle that is none. With the pools' lock held.
Block* FindBlock(const IAMShmBlock& handle)
{
    const auto pool = ThePools().byNumber.find(handle.opaque[0]);
    if (pool == ThePools().byNumber.end() || handle.opaque[1] >= pool->second.size()) {
        return nullptr;
    }
    Block& block = pool->second[handle.opaque[1]];
    return block.isTaken ? &block : nullptr;
}

// ---- The owner.

struct Service {
    std::string name;
    IAMQueueOps ops;
    uint32_t timeoutMs;
};

struct Queue {
    int socket;
};

// The file lives until a close hook has answered 0: until then the library may still enqueue.
void Serve(const Service& service, int socket)
{
    auto* const queue = new Queue{socket};
    auto* const file = new IamQfsMgrFile{nullptr, service.name.c_str(), nullptr, queue};
    const Greeting greeting{1, service.timeoutMs, service.ops.open(file)};
    Send(socket, &greeting, sizeof greeting);
    char byte = 0;
    while (greeting.verdict >= 0 && Receive(socket, &byte, 1, -1) > 0) {}
    if (service.ops.close(file) == 0) {
        CloseSocket(socket);
        delete file;
        delete queue;
    }
}

// ---- The subscriber.

// Delivers until this connection ends.
void Deliver(const Descriptor& descriptor, int fd, int (*callback)(int, void*, unsigned long))
{
    std::vector<char> entry(65536);
    ssize_t size = 0;
    while ((size = Receive(descriptor.socket, entry.data(), entry.size(), -1)) > 0 &&
           !descriptor.isClosed) {
        callback(fd, entry.data(), static_cast<unsigned long>(size));
    }
}

// False once the descriptor is closed.
bool AwaitNextLife(Descriptor& descriptor)
{
    while (!descriptor.isClosed) {
        Greeting greeting{};
        const int socket = Connect(descriptor.name, greeting);
        if (socket >= 0) {
            return descriptor.Replace(socket);
        }
        std::this_thread::sleep_for(kNextLifePause);
    }
    return false;
}

}  // namespace
}  // namespace sample

using namespace sample;

extern "C" {

int IAMRegisterQueueService(const IAMQueueServiceDesc* desc)
{
    if (desc == nullptr || desc->name == nullptr || desc->ops == nullptr) {
        return -EINVAL;
    }
    const auto* const service = new Service{desc->name, *desc->ops, desc->timeout};
    return Publish(service->name, [service](int socket) { Serve(*service, socket); });
}

int IAMShmRegisterPoolWithConfig(const IAMShmPoolConfig* config, IAMShmPool* pool)
{
    if (config == nullptr || pool == nullptr || config->blockCount == 0) {
        return -EINVAL;
    }
    const std::lock_guard<std::mutex> lock(ThePools().mutex);
    std::vector<Block> blocks(config->blockCount);
    for (Block& each : blocks) {
        each.bytes.reserve(config->blockSize);
    }
    pool->opaque[0] = ++ThePools().lastNumber;
    ThePools().byNumber[pool->opaque[0]] = std::move(blocks);
    return 0;
}

int IAMShmDestroyPool(IAMShmPool* pool)
{
    if (pool == nullptr) {
        return -EINVAL;
    }
    const std::lock_guard<std::mutex> lock(ThePools().mutex);
    const uint32_t number = pool->opaque[0];
    return number == 0 || ThePools().byNumber.erase(number) == 1 ? 0 : -EINVAL;
}

int IAMShmHandleMalloc(IAMShmPool* pool, uint32_t size, IAMShmBlock* block)
{
    const std::lock_guard<std::mutex> lock(ThePools().mutex);
    const auto found = ThePools().byNumber.find(pool->opaque[0]);
    if (found == ThePools().byNumber.end()) {
        return -EINVAL;
    }
    for (size_t i = 0; i < found->second.size(); ++i) {
        Block& each = found->second[i];
        if (!each.isTaken && size <= each.bytes.capacity()) {
            each.isTaken = true;
            each.bytes.assign(size, 0);
            *block = IAMShmBlock{{pool->opaque[0], static_cast<uint32_t>(i)}};
            return 0;
        }
    }
    return -ENOBUFS;
}

int IAMShmWrite(IAMShmBlock* block, const void* source, uint32_t size, uint32_t offset)
{
    const std::lock_guard<std::mutex> lock(ThePools().mutex);
    Block* const found = FindBlock(*block);
    if (found == nullptr || uint64_t{offset} + size > found->bytes.size()) {
        return found == nullptr ? -EINVAL : -EMSGSIZE;
    }
    std::memcpy(found->bytes.data() + offset, source, size);
    return 0;
}

int IAMShmFree(IAMShmPool* /*pool*/, IAMShmBlock* block)
{
    const std::lock_guard<std::mutex> lock(ThePools().mutex);
    Block* const found = FindBlock(*block);
    if (found == nullptr) {
        return -EINVAL;
    }
    found->isTaken = false;
    return 0;
}

// Never waits for a subscriber. One that has gone misses nothing until its close hook has run.
int IAMDataEnqueue(void* queue, IAMShmPool* /*pool*/, IAMShmBlock* block)
{
    const std::lock_guard<std::mutex> lock(ThePools().mutex);
    Block* const found = FindBlock(*block);
    if (found == nullptr) {
        return -EINVAL;
    }
    const int socket = static_cast<const Queue*>(queue)->socket;
    const auto sent =
        send(socket, found->bytes.data(), found->bytes.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    if (sent < 0 && errno != EPIPE && errno != ECONNRESET) {
        return -errno;
    }
    found->isTaken = false;
    return 0;
}

size_t IAMFastReadAsync(int fd, int (*callback)(int fd, void* buf, unsigned long count))
{
    const std::shared_ptr<Descriptor> descriptor = FindDescriptor(fd);
    if (descriptor == nullptr || !descriptor->isQueue) {
        return static_cast<size_t>(-EBADF);
    }
    StartDetached([descriptor, fd, callback] {
        do {
            Deliver(*descriptor, fd, callback);
        } while (AwaitNextLife(*descriptor));
    });
    return 0;
}

}  // extern "C"
