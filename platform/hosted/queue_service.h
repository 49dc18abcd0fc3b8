// One published queue: who has subscribed to it, and the thread that lets them in and out.
//
// All of a queue's hooks run on this one thread, one after the other and with no lock held. Entries
// do not pass through it.
#ifndef OWNERLINK_PLATFORM_HOSTED_QUEUE_SERVICE_H
#define OWNERLINK_PLATFORM_HOSTED_QUEUE_SERVICE_H

#include <sys/types.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/hosted/name_lock.h"
#include "platform/hosted/owner_peers.h"
#include "platform/hosted/peer_credentials.h"
#include "platform/hosted/queue_message.h"
#include "platform/hosted/unique_fd.h"
#include "platform/iam_queue.h"

namespace hosted {

inline constexpr int kSubscribersPerProcess = 16;
inline constexpr int kSubscribersPerUser = 64;  // in sum, of users other than the owner's
inline constexpr int kSubscribersPerQueue = 256;

class QueueService {
public:
    QueueService(NameLock lock, const IAMQueueServiceDesc& desc, uint64_t instance);

    const std::string& Name() const { return name_; }
    uint64_t Instance() const { return instance_; }

    // Serves `listener` on a thread of its own, which calls `onEnd` last. 0 or an errno number.
    int Start(UniqueFd listener, std::function<void()> onEnd);

    // Has the thread end all subscriptions and itself, without another hook. Any thread, at exit.
    void Stop();
    void ForgetInChild() { stopping_.store(true); }

    // Whether the calling thread is a service's, in a hook then.
    static bool IsOnThread();

private:
    struct Subscriber {
        UniqueFd socket;
        PeerCredentials peer;
        void* queue = nullptr;
        IamQfsMgrFile* file = nullptr;  // while a close hook is due
        bool hasGreeted = false;
    };
    using Hook = int (*)(IamQfsMgrFile*);

    void Run();
    void Serve(int fd);
    void AcceptOne();
    void ShedOne();
    UniqueFd Accept() const;
    // Both leave the socket where it is until nothing can throw.
    void Admit(UniqueFd& socket);
    void Keep(UniqueFd& socket, const PeerCredentials& peer);
    Refusal CheckLimits(const PeerCredentials& peer) const;
    void EndDeadSubscribers();
    void Receive(Subscriber& subscriber);
    int Open(Subscriber& subscriber);
    int MakeQueue(Subscriber& subscriber);
    int RunHook(Hook hook, IamQfsMgrFile& file, const char* which) const;
    void Refuse(Subscriber& subscriber, int error);
    void End(Subscriber& subscriber);
    void Close(Subscriber& subscriber);
    IamQfsMgrFile* TakeFile(void* queue);
    int Watch(int fd) const;

    const std::string name_;
    const IAMQueueOps ops_;
    const uint64_t instance_;
    const PermittedGroup group_;  // whose members may subscribe
    const NameLock lock_;         // held to the end of the process
    std::atomic<bool> stopping_{false};
    UniqueFd epoll_;
    UniqueFd stopEvent_;
    UniqueFd listener_;
    UniqueFd spare_;  // given up to accept and refuse a subscriber that there is no descriptor for

    // The thread's own.
    std::map<int, std::unique_ptr<Subscriber>> subscribers_;  // by socket
    std::vector<std::unique_ptr<IamQfsMgrFile>> files_;  // never freed: hosts keep their address
    std::vector<IamQfsMgrFile*> unusedFiles_;
};

}  // namespace hosted

#endif
