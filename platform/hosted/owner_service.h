// What an owner has published, and the files that clients have open of it.
#ifndef OWNERLINK_PLATFORM_HOSTED_OWNER_SERVICE_H
#define OWNERLINK_PLATFORM_HOSTED_OWNER_SERVICE_H

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <utility>

#include "platform/hosted/message.h"
#include "platform/hosted/name_lock.h"
#include "platform/hosted/owner_peers.h"
#include "platform/hosted/permitted_group.h"
#include "platform/hosted/unique_fd.h"
#include "platform/iam_file.h"

namespace hosted {
struct OwnerService;
}

// The file of one connection, as the hooks see it.
struct IAMMgrFile {
    hosted::OwnerService* service = nullptr;
    bool isOpen = false;     // the open hook has run and its close hook has not
    bool isRefused = false;  // the open hook said no: until the client opens anew
    bool isStale = false;  // the client has opened anew; the close hook is due at its next request
};

namespace hosted {

// Something that the owner's threads wait for.
struct EventSource {
    enum class Kind { kService, kConnection, kStop };
    explicit EventSource(Kind sourceKind) : kind(sourceKind) {}
    const Kind kind;
};

// One published name. Never freed.
struct OwnerService : EventSource {
    explicit OwnerService(NameLock nameLock)
        : EventSource(Kind::kService), lock(std::move(nameLock))
    {
    }

    std::string name;
    IAMFileOps ops = {};
    uint64_t instance = 0;
    PermittedGroup group;  // whose members may connect
    NameLock lock;         // held to the end of the process
    UniqueFd listener;
};

// One accepted connection. Belongs to the thread that serves it; while it is parked, to whoever
// turns `isParked` off first.
struct OwnerConnection : EventSource {
    OwnerConnection() : EventSource(Kind::kConnection) {}

    UniqueFd fd;
    std::shared_ptr<Peer> peer;
    IAMMgrFile file;
    bool hasReceiveTimeout = false;
    bool isWatched = false;  // the epoll knows it
    std::atomic<bool> isParked{false};
    std::chrono::steady_clock::time_point parkedAt;  // guarded by the server's lock
};

// Runs the hooks that a request asks for, the close of the connection's former file included, and
// turns `header` into the answer's. `payload` is the request's and becomes the answer's; it has
// room for `kMaxPayload` bytes. No exception leaves.
void RunHooks(IAMMgrFile& file, MessageHeader& header, std::byte* payload);

// The close hook of a connection's file at its end, if the file is open.
void RunCloseHook(IAMMgrFile& file);

}  // namespace hosted

#endif
