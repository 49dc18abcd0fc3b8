// open, read, close and the time-out of resource files.
#include "platform/fake/files.h"

#include <fcntl.h>

#include <algorithm>
#include <map>
#include <utility>
#include <vector>

#include "platform/fake/call.h"

namespace OwnerlinkFake {

namespace detail {
namespace {

struct Files {
    int first = kFirstDescriptor;
    bool requiresOwners = false;
    std::map<int, std::shared_ptr<OpenFile>> open;
};

Files& TheFiles()
{
    return Immortal<Files>();
}

std::string FlagsText(int flags)
{
    static constexpr const char* kModes[] = {"O_RDONLY", "O_WRONLY", "O_RDWR", "O_ACCMODE"};
    const std::string mode = kModes[flags & O_ACCMODE];
    const int rest = flags & ~O_ACCMODE;
    return rest == 0 ? mode : mode + "|" + std::to_string(rest);
}

int LowestFree()
{
    int number = TheFiles().first;
    while (TheFiles().open.contains(number)) {
        ++number;
    }
    return number;
}

int Enter(std::shared_ptr<OpenFile> file)
{
    const Lock lock = LockState();
    const int fd = LowestFree();
    TheFiles().open[fd] = std::move(file);
    return fd;
}

void EnterAs(int fd, const std::string& name)
{
    auto file = std::make_shared<OpenFile>();
    file->name = name;
    const Lock lock = LockState();
    TheFiles().open[fd] = std::move(file);
}

std::shared_ptr<OpenFile> Remove(int fd)
{
    const Lock lock = LockState();
    const auto found = TheFiles().open.find(fd);
    if (found == TheFiles().open.end()) {
        return nullptr;
    }
    auto file = std::move(found->second);
    TheFiles().open.erase(found);
    return file;
}

// A file for `name` with the registrations that stand behind it now; null when an owner is
// required and there is none.
std::shared_ptr<OpenFile> MakeFile(const std::string& name)
{
    auto file = std::make_shared<OpenFile>();
    file->name = name;
    file->handle.name = name;
    const Lock lock = LockState();
    const bool hasScript = HasScript(lock, name);
    file->service = hasScript ? std::nullopt : FindService(lock, name);
    file->queue = file->service ? std::nullopt : FindQueueService(lock, name);
    const bool hasOwner = hasScript || file->service || file->queue;
    return hasOwner || !TheFiles().requiresOwners ? file : nullptr;
}

// Tells the owner of a queue of a new file. A refusal is followed by the close hook, as for every
// open hook that has run.
bool OpenQueue(OpenFile& file)
{
    if (!file.queue) {
        return true;
    }
    file.queueFile = NewQueueFile(file.name.c_str());
    const bool isOpen = RunHook(file.queue->ops.open, file.queueFile).value_or(-1) >= 0;
    if (!isOpen) {
        file.End();
    }
    return isOpen;
}

long OpenAsUsual(Call& call, const std::string& name)
{
    auto file = MakeFile(name);
    if (file == nullptr) {
        return call.Return(-1, ENOENT);
    }
    if (!OpenQueue(*file)) {
        return call.Return(-1, EIO);
    }
    // Only now takes the file a number, for the hook may have opened and closed files itself.
    return call.Return(Enter(std::move(file)));
}

long OpenAsSet(Call& call, const std::string& name)
{
    if (call.Set()->value >= 0) {
        EnterAs(static_cast<int>(call.Set()->value), name);
    }
    return call.Return(*call.Set());
}

long ReadAsUsual(Call& call, int fd, char* buf, std::size_t count)
{
    const auto file = FindFile(fd);
    if (file == nullptr) {
        return call.Return(-1, EBADF);
    }
    if (!file->service) {
        return call.Return(0);
    }
    if (!file->BeginMessage()) {
        return call.Return(-1, EIO);
    }
    std::vector<char> bytes(count);
    long out = 0;
    const auto result = RunHook(file->service->ops.read, &file->handle, bytes.data(), count, &out);
    if (!result || *result > static_cast<long>(count)) {
        return call.Return(-1, EIO);
    }
    std::copy_n(bytes.begin(), std::max(*result, 0L), buf);
    return call.Return(*result, ErrorOf(*result));
}

bool SetTimeout(int fd, int timeoutMs)
{
    const Lock lock = LockState();
    const auto file = FindFile(lock, fd);
    if (file != nullptr) {
        file->timeoutMs = timeoutMs;
    }
    return file != nullptr;
}

}  // namespace

bool OpenFile::BeginMessage()
{
    std::call_once(begun_, [this] {
        isServed_ = RunHook(service->ops.open, &handle).value_or(-1) >= 0;
        if (!isServed_) {
            RunHook(service->ops.close, &handle);
        }
    });
    return isServed_;
}

void OpenFile::End()
{
    if (isServed_.exchange(false)) {
        RunHook(service->ops.close, &handle);
    }
    if (queue) {
        RunHook(queue->ops.close, queueFile);
    }
}

std::shared_ptr<OpenFile> FindFile(const Lock& /*lock*/, int fd)
{
    const auto found = TheFiles().open.find(fd);
    return found == TheFiles().open.end() ? nullptr : found->second;
}

std::shared_ptr<OpenFile> FindFile(int fd)
{
    return FindFile(LockState(), fd);
}

std::string FileName(int fd)
{
    const auto file = FindFile(fd);
    return file == nullptr ? "" : file->name;
}

std::vector<std::pair<int, std::shared_ptr<OpenFile>>> QueueReaders()
{
    const Lock lock = LockState();
    std::vector<std::pair<int, std::shared_ptr<OpenFile>>> readers;
    for (const auto& [fd, file] : TheFiles().open) {
        if (file->queueFile != nullptr) {
            readers.emplace_back(fd, file);
        }
    }
    return readers;
}

void ResetFiles()
{
    TheFiles() = {};
}

}  // namespace detail

void SetFirstDescriptor(int number)
{
    const detail::Lock lock = detail::LockState();
    detail::TheFiles().first = number;
}

void RequireOwners()
{
    const detail::Lock lock = detail::LockState();
    detail::TheFiles().requiresOwners = true;
}

std::vector<int> OpenDescriptors()
{
    const detail::Lock lock = detail::LockState();
    std::vector<int> numbers;
    for (const auto& [fd, file] : detail::TheFiles().open) {
        numbers.push_back(fd);
    }
    return numbers;
}

}  // namespace OwnerlinkFake

using OwnerlinkFake::detail::Call;

extern "C" {

OWNERLINK_FAKE_EXPORT int IAMFileOpen(const char* name, int flags, ...)
{
    const std::string resource = name == nullptr ? "" : name;
    Call call("open", resource + "," + OwnerlinkFake::detail::FlagsText(flags), resource);
    return static_cast<int>(call.Set() ? OwnerlinkFake::detail::OpenAsSet(call, resource)
                                       : OwnerlinkFake::detail::OpenAsUsual(call, resource));
}

OWNERLINK_FAKE_EXPORT ssize_t IAMFileRead(int fd, void* buf, size_t count)
{
    Call call("read", std::to_string(fd) + "," + std::to_string(count),
              OwnerlinkFake::detail::FileName(fd));
    return call.Set()
               ? call.Return(*call.Set())
               : OwnerlinkFake::detail::ReadAsUsual(call, fd, static_cast<char*>(buf), count);
}

OWNERLINK_FAKE_EXPORT int IAMFileClose(int fd)
{
    Call call("close", std::to_string(fd), OwnerlinkFake::detail::FileName(fd));
    const auto file =
        OwnerlinkFake::detail::Remove(fd);  // also where a failure is set: so does Linux
    if (file != nullptr) {
        file->End();
    }
    const auto usual = file != nullptr ? OwnerlinkFake::Gives(0) : OwnerlinkFake::Fails(EBADF);
    return static_cast<int>(call.Return(call.Set().value_or(usual)));
}

OWNERLINK_FAKE_EXPORT int IAMResetFileConfig(int fd, int timeoutMs)
{
    Call call("IAMResetFileConfig", std::to_string(fd) + "," + std::to_string(timeoutMs),
              OwnerlinkFake::detail::FileName(fd));
    if (call.Set()) {
        return static_cast<int>(call.Return(*call.Set()));
    }
    const bool isOpen = OwnerlinkFake::detail::SetTimeout(fd, timeoutMs);
    return static_cast<int>(isOpen ? call.Return(0) : call.Return(-1, EBADF));
}

}  // extern "C"
