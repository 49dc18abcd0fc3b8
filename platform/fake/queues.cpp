// Event queues, their registrations, and the delivery of events to readers.
#include <algorithm>
#include <memory>
#include <stdexcept>

#include "platform/fake/call.h"
#include "platform/fake/files.h"
#include "platform/fake/pools.h"

namespace OwnerlinkFake {

namespace detail {
namespace {

// A file's record, with the name and the entries that the record points to.
struct QueueFile {
    IamQfsMgrFile record{};
    std::string name;
    std::deque<BlockContents> entries;
};

struct Queues {
    std::vector<QueueService> services;
    std::deque<QueueFile> files;  // never removed: owners may keep a record's address
    std::vector<AsyncReader> readers;
};

Queues& TheQueues()
{
    return Immortal<Queues>();
}

QueueFile* FindQueue(const void* queue)
{
    for (QueueFile& file : TheQueues().files) {
        if (&file == queue) {
            return &file;
        }
    }
    return nullptr;
}

int Enqueue(void* queue, const IAMShmPool* pool, const IAMShmBlock* block)
{
    const Lock lock = LockState();
    QueueFile* file = FindQueue(queue);
    if (file == nullptr || pool == nullptr || block == nullptr) {
        return -EINVAL;
    }
    auto contents = EnqueueBlock(lock, *pool, *block);
    if (!contents) {
        return -EINVAL;
    }
    file->entries.push_back(std::move(*contents));
    return 0;
}

std::string QueueName(const void* queue)
{
    const Lock lock = LockState();
    const QueueFile* file = FindQueue(queue);
    return file == nullptr ? "" : file->name;
}

void AddQueueService(const IAMQueueServiceDesc& desc)
{
    const Lock lock = LockState();
    TheQueues().services.push_back({desc.name, desc.timeout, desc.reserved, *desc.ops});
}

AsyncReader FindReader(const std::string& resource)
{
    const Lock lock = LockState();
    const auto& readers = TheQueues().readers;
    const auto found =
        std::find_if(readers.rbegin(), readers.rend(),
                     [&](const AsyncReader& reader) { return reader.resource == resource; });
    if (found == readers.rend()) {
        throw std::invalid_argument("nobody reads '" + resource + "'");
    }
    return *found;
}

ReadCallback FindCallback(int fd, const std::string& resource)
{
    const Lock lock = LockState();
    const auto& readers = TheQueues().readers;
    const auto found = std::find_if(
        readers.rbegin(), readers.rend(),
        [&](const AsyncReader& reader) { return reader.fd == fd && reader.resource == resource; });
    return found == readers.rend() ? nullptr : found->callback;
}

std::vector<std::string> Texts(const std::deque<BlockContents>& entries)
{
    std::vector<std::string> texts;
    texts.reserve(entries.size());
    for (const BlockContents& entry : entries) {
        texts.push_back(entry.bytes);
    }
    return texts;
}

}  // namespace

std::optional<QueueService> FindQueueService(const Lock& /*lock*/, const std::string& name)
{
    const auto& services = TheQueues().services;
    const auto found =
        std::find_if(services.rbegin(), services.rend(),
                     [&](const QueueService& service) { return service.name == name; });
    return found == services.rend() ? std::nullopt : std::optional<QueueService>(*found);
}

void ResetQueues()
{
    TheQueues().services.clear();
    TheQueues().readers.clear();
    for (QueueFile& file : TheQueues().files) {
        file.entries.clear();
    }
    ResetPools();
}

}  // namespace detail

using detail::TheQueues;

std::vector<QueueService> QueueServices()
{
    const detail::Lock lock = detail::LockState();
    return TheQueues().services;
}

IamQfsMgrFile* NewQueueFile(const char* name)
{
    const detail::Lock lock = detail::LockState();
    detail::QueueFile& file = TheQueues().files.emplace_back();
    file.name = name == nullptr ? "" : name;
    file.record.name = name == nullptr ? nullptr : file.name.c_str();
    file.record.queue = &file;
    return &file.record;
}

std::vector<std::string> QueuedEvents(const IamQfsMgrFile* file)
{
    const detail::Lock lock = detail::LockState();
    const detail::QueueFile* queue = detail::FindQueue(file->queue);
    return queue == nullptr ? std::vector<std::string>{} : detail::Texts(queue->entries);
}

std::vector<std::string> TakeEvents(IamQfsMgrFile* file)
{
    const detail::Lock lock = detail::LockState();
    detail::QueueFile* queue = detail::FindQueue(file->queue);
    if (queue == nullptr) {
        return {};
    }
    for (const detail::BlockContents& entry : queue->entries) {
        detail::ReturnBlock(lock, entry.block);
    }
    std::vector<std::string> texts = detail::Texts(queue->entries);
    queue->entries.clear();
    return texts;
}

std::vector<AsyncReader> AsyncReaders()
{
    const detail::Lock lock = detail::LockState();
    return TheQueues().readers;
}

int DeliverEvent(const std::string& resource, const std::string& bytes)
{
    const AsyncReader reader = detail::FindReader(resource);
    std::string buffer = bytes;  // the callback takes a buffer that it might write to
    return reader.callback(reader.fd, buffer.data(), buffer.size());
}

std::size_t DeliverQueuedEvents()
{
    std::size_t count = 0;
    for (const auto& [fd, file] : detail::QueueReaders()) {
        const ReadCallback callback = detail::FindCallback(fd, file->name);
        if (callback == nullptr) {
            continue;
        }
        for (std::string& bytes : TakeEvents(file->queueFile)) {
            callback(fd, bytes.data(), bytes.size());
            ++count;
        }
    }
    return count;
}

}  // namespace OwnerlinkFake

using OwnerlinkFake::detail::Call;

extern "C" {

OWNERLINK_FAKE_EXPORT int IAMRegisterQueueService(const IAMQueueServiceDesc* desc)
{
    const bool isValid = desc != nullptr && desc->name != nullptr && desc->ops != nullptr;
    const std::string name = isValid ? desc->name : "";
    Call call("IAMRegisterQueueService", name, name);
    const auto result =
        call.Set().value_or(OwnerlinkFake::Gives(isValid && !name.empty() ? 0 : -EINVAL));
    if (isValid && result.value >= 0) {
        OwnerlinkFake::detail::AddQueueService(*desc);
    }
    return static_cast<int>(call.Return(result));
}

OWNERLINK_FAKE_EXPORT int IAMDataEnqueue(void* queue, IAMShmPool* pool, IAMShmBlock* block)
{
    const std::string name = OwnerlinkFake::detail::QueueName(queue);
    Call call("IAMDataEnqueue", name, name);
    return static_cast<int>(call.Set()
                                ? call.Return(*call.Set())
                                : call.Return(OwnerlinkFake::detail::Enqueue(queue, pool, block)));
}

OWNERLINK_FAKE_EXPORT size_t IAMFastReadAsync(int fd, int (*callback)(int fd, void* buf,
                                                                      unsigned long count))
{
    const std::string name = OwnerlinkFake::detail::FileName(fd);
    Call call("IAMFastReadAsync", std::to_string(fd), name);
    {
        const auto lock = OwnerlinkFake::detail::LockState();
        OwnerlinkFake::detail::TheQueues().readers.push_back({name, fd, callback});
    }
    return static_cast<size_t>(call.Return(call.Set().value_or(OwnerlinkFake::Gives(0))));
}

}  // extern "C"
