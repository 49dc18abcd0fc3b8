// A name at which this process takes pipes.
#ifndef OWNERLINK_PLATFORM_HOSTED_PIPE_LISTENER_H
#define OWNERLINK_PLATFORM_HOSTED_PIPE_LISTENER_H

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "platform/hosted/name_lock.h"
#include "platform/hosted/outcome.h"
#include "platform/hosted/peer_credentials.h"
#include "platform/hosted/runtime_dir.h"
#include "platform/hosted/socket_wait.h"
#include "platform/hosted/unique_fd.h"

namespace hosted {

class PipeListener {
public:
    // EINVAL, ENAMETOOLONG, EADDRINUSE, EEXIST, and the errors of the runtime directory; logs why.
    static Outcome<std::unique_ptr<PipeListener>> Publish(std::string_view name);

    struct Accepted {
        UniqueFd socket;
        PeerCredentials peer;
    };
    // The next peer that may connect; others are turned away and logged. ETIMEDOUT; EPIPE when it
    // was shut down. Thread-safe.
    Outcome<Accepted> Accept(const TimeLimit& limit) const;

    // Makes those return that wait in `Accept`.
    void ShutDown();

    // Takes the name back. The lock goes with the object.
    void Withdraw(const RuntimeDir& directory) const;

    const std::string& Name() const { return name_; }
    uint64_t Instance() const { return instance_; }

private:
    PipeListener(std::string_view name, NameLock lock);
    Outcome<Accepted> AcceptNow() const;

    const std::string name_;
    const uint64_t instance_;
    const PermittedGroup group_;  // whose members may connect
    const NameLock lock_;
    UniqueFd socket_;
    std::atomic<bool> isShutDown_{false};
};

}  // namespace hosted

#endif
