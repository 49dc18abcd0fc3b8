// The clients of this owner: how much each process and each user has of it, and the limits.
#ifndef OWNERLINK_PLATFORM_HOSTED_OWNER_PEERS_H
#define OWNERLINK_PLATFORM_HOSTED_OWNER_PEERS_H

#include <sys/types.h>

#include <atomic>
#include <map>
#include <memory>
#include <optional>
#include <utility>

#include "platform/hosted/mutex.h"
#include "platform/hosted/peer_credentials.h"

namespace hosted {

inline constexpr int kRequestsPerProcess = 64;
inline constexpr int kRequestsPerUser = 128;  // in sum, of users other than the owner's
inline constexpr int kReadsPerUser = 64;      // in sum, of users other than the owner's
inline constexpr int kConnectionsPerProcess = 256;
inline constexpr int kConnectionsPerUser = 512;

// Which limit refused something, for the log.
struct Refusal {
    const char* limitOf = nullptr;  // "process", "user" or "owner"; null: not refused
    int limit = 0;
    int count = 0;
    bool ofProcess = false;

    explicit operator bool() const { return limitOf != nullptr; }
};

// Counts up to a limit from any thread.
class Counter {
public:
    // False, and nothing counted, when `limit` is reached.
    bool Enter(int limit)
    {
        if (count_.fetch_add(1) < limit) {
            return true;
        }
        count_.fetch_sub(1);
        return false;
    }
    void Leave() { count_.fetch_sub(1); }
    int Count() const { return count_.load(); }
    void Set(int count) { count_.store(count); }

private:
    std::atomic<int> count_{0};
};

struct PeerUser {
    Counter connections;
    Counter requests;
    Counter reads;
};

// One client process. Lives as long as it has connections.
struct Peer {
    pid_t process = 0;
    uid_t user = 0;
    PeerUser* others = nullptr;  // the sums of its user; null for the owner's own user
    Counter connections;
    Counter requests;

    Refusal EnterRequest();
    void LeaveRequest();
    Refusal EnterRead() const;
    void LeaveRead() const;
};

class OwnerPeers {
public:
    // The peer of a new connection, counted; or null and the limit that refuses it.
    using Admission = std::pair<std::shared_ptr<Peer>, Refusal>;
    Admission Admit(const PeerCredentials& credentials) HOSTED_EXCLUDES(mutex_);
    void Leave(const std::shared_ptr<Peer>& peer) HOSTED_EXCLUDES(mutex_);

    // The user with the most connections, if anybody has one.
    std::optional<uid_t> GreediestUser() HOSTED_EXCLUDES(mutex_);

    void LockForFork();
    void UnlockAfterFork();
    void ForgetInChild();

private:
    using Key = std::pair<pid_t, uid_t>;

    std::shared_ptr<Peer> Find(const PeerCredentials& credentials) HOSTED_REQUIRES(mutex_);

    Mutex mutex_;
    std::map<Key, std::shared_ptr<Peer>> peers_ HOSTED_GUARDED_BY(mutex_);
    std::map<uid_t, PeerUser> users_ HOSTED_GUARDED_BY(mutex_);  // entries never move or go
};

}  // namespace hosted

#endif
