// Descriptors of resource files and what stands behind each.
#ifndef OWNERLINK_PLATFORM_FAKE_FILES_H
#define OWNERLINK_PLATFORM_FAKE_FILES_H

#include <memory>
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
    std::optional<Service> service;     // whose open hook has accepted the file
    std::optional<QueueService> queue;  // the same for a queue
    IamQfsMgrFile* queueFile = nullptr;
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

// Runs a hook of an owner; an exception or a null hook counts as a negative result.
template <class Hook, class... Arguments>
long RunHook(Hook hook, Arguments... arguments)
{
    try {
        return hook == nullptr ? -1 : hook(arguments...);
    } catch (...) {
        return -1;
    }
}

}  // namespace OwnerlinkFake::detail

#endif
