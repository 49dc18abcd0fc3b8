// Descriptors of resource files and what stands behind each.
#ifndef OWNERLINK_PLATFORM_FAKE_FILES_H
#define OWNERLINK_PLATFORM_FAKE_FILES_H

#include <atomic>
#include <cerrno>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "platform/fake/fake_platform.h"
#include "platform/fake/state.h"

// A file as a service's hooks see it.
struct IAMMgrFile {
    std::string name;
};

namespace OwnerlinkFake::detail {

struct OpenFile {
    std::string name;
    int timeoutMs = -1;
    IAMMgrFile handle;
    std::optional<Service> service;     // whose open hook the first message runs
    std::optional<QueueService> queue;  // whose open hook has accepted the file
    IamQfsMgrFile* queueFile = nullptr;

    // Runs the service's open hook ahead of the first message, and the close hook at once after a
    // refusal. Whether messages are served. Thread-safe.
    bool BeginMessage();
    // The close hook that is due.
    void End();

private:
    std::once_flag begun_;
    std::atomic<bool> isServed_{false};
};

// The file behind a descriptor, or null. Calls in progress share it with the table.
std::shared_ptr<OpenFile> FindFile(const Lock& lock, int fd);
std::shared_ptr<OpenFile> FindFile(int fd);

// The name behind a descriptor, or an empty text.
std::string FileName(int fd);

// The descriptors that are open on queues, with their queue files.
std::vector<std::pair<int, std::shared_ptr<OpenFile>>> QueueReaders();

// The latest registration of a name, if any.
std::optional<Service> FindService(const Lock& lock, const std::string& name);
std::optional<QueueService> FindQueueService(const Lock& lock, const std::string& name);

// Whether a script answers this resource.
bool HasScript(const Lock& lock, const std::string& name);

// What a hook of an owner answers; a null hook fails, and nothing where an exception has left it.
template <class Hook, class... Arguments>
std::optional<long> RunHook(Hook hook, Arguments... arguments)
{
    try {
        return hook == nullptr ? -1 : hook(arguments...);
    } catch (...) {
        return std::nullopt;
    }
}

// The errno number behind the answer of a service's hook, which is the caller's as it stands.
inline int ErrorOf(long answer)
{
    return answer < 0 ? EREMOTEIO : 0;
}

}  // namespace OwnerlinkFake::detail

#endif
