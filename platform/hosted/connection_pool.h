// Connections of this process that no descriptor holds, by name: the last one given back first.
#ifndef OWNERLINK_PLATFORM_HOSTED_CONNECTION_POOL_H
#define OWNERLINK_PLATFORM_HOSTED_CONNECTION_POOL_H

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/hosted/brief_mutex.h"
#include "platform/hosted/client_connection.h"

namespace hosted {

class ConnectionPool {
public:
    // Null when none of `name` is alive. Dead ones, of former lives above all, end here.
    std::unique_ptr<ClientConnection> Take(std::string_view name) HOSTED_EXCLUDES(mutex_);

    // Keeps a few for each name and ends the others.
    void GiveBack(std::unique_ptr<ClientConnection> connection) HOSTED_EXCLUDES(mutex_);

    void LockForFork();
    void UnlockAfterFork();
    void ForgetInChild();

private:
    struct NameHash {
        using is_transparent = void;
        size_t operator()(std::string_view name) const
        {
            return std::hash<std::string_view>()(name);
        }
    };
    using Kept = std::vector<std::unique_ptr<ClientConnection>>;

    std::unique_ptr<ClientConnection> TakeLast(std::string_view name) HOSTED_EXCLUDES(mutex_);
    Kept& KeptOf(const std::string& name) HOSTED_REQUIRES(mutex_);

    BriefMutex mutex_;
    // A name stays when its last connection is taken: the steady state allocates nothing.
    std::unordered_map<std::string, Kept, NameHash, std::equal_to<>> names_
        HOSTED_GUARDED_BY(mutex_);
};

}  // namespace hosted

#endif
