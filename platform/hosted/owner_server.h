// The owner's side of resource files: accepts, receives, runs the hooks and answers.
#ifndef OWNERLINK_PLATFORM_HOSTED_OWNER_SERVER_H
#define OWNERLINK_PLATFORM_HOSTED_OWNER_SERVER_H

#include <atomic>
#include <chrono>
#include <memory>
#include <unordered_set>
#include <vector>

#include "platform/hosted/condition.h"
#include "platform/hosted/exit_handler.h"
#include "platform/hosted/message.h"
#include "platform/hosted/message_buffer.h"
#include "platform/hosted/mutex.h"
#include "platform/hosted/owner_peers.h"
#include "platform/hosted/owner_service.h"
#include "platform/hosted/owner_threads.h"
#include "platform/hosted/runtime_dir.h"
#include "platform/hosted/turns.h"
#include "platform/iam_file.h"

namespace hosted {

class OwnerServer {
public:
    // Built at the first registration, never destroyed.
    static OwnerServer& Instance();

    // Publishes `desc`. 0 or an errno number; logs why.
    int Register(const IAMServiceDesc& desc) HOSTED_EXCLUDES(mutex_);

    // Stops taking work and ends what is idle.
    void Stop() HOSTED_EXCLUDES(mutex_);

    // Once stopped: waits for the hooks that run, but for those that the calling thread stands in.
    void WaitForHooks(std::chrono::steady_clock::time_point end) HOSTED_EXCLUDES(mutex_);

    void LockForFork();
    void UnlockAfterFork();
    void ForgetInChild();

private:
    enum class Received { kMessage, kNothing, kEnd };
    class RunningHook;
    class ListenAgain;

    static void ThreadBody(MessageBuffer& buffer);
    static int HooksOnThisThread();
    void ServeEvent(EventSource* source, MessageBuffer& buffer) HOSTED_EXCLUDES(mutex_);
    bool Take(EventSource* source) HOSTED_EXCLUDES(mutex_);

    void AcceptFrom(OwnerService& service, MessageBuffer& buffer);
    UniqueFd AcceptOne(OwnerService& service, bool* shortage) HOSTED_EXCLUDES(mutex_);
    OwnerConnection* Admit(OwnerService& service, UniqueFd fd, MessageBuffer& buffer)
        HOSTED_EXCLUDES(mutex_);
    int CheckPeer(const OwnerService& service, int fd, const PeerCredentials& peer);
    OwnerConnection* Keep(std::unique_ptr<OwnerConnection> connection) HOSTED_EXCLUDES(mutex_);
    OwnerPeers::Admission AdmitPeer(const PeerCredentials& credentials, MessageBuffer& buffer)
        HOSTED_EXCLUDES(mutex_);
    void RelieveShortage(OwnerService& service, MessageBuffer& buffer) HOSTED_EXCLUDES(mutex_);
    void ShedConnection(const OwnerService& service) HOSTED_EXCLUDES(mutex_);
    template <typename Condition>
    OwnerConnection* TakeLongestIdle(Condition condition) HOSTED_EXCLUDES(mutex_);
    void EndWithoutLoss(OwnerConnection& connection, MessageBuffer& buffer) HOSTED_EXCLUDES(mutex_);

    void ServeConnection(OwnerConnection& connection, MessageBuffer& buffer, bool mayStick);
    Received Receive(OwnerConnection& connection, MessageBuffer& buffer, bool sticky, size_t* size);
    bool HandleMessage(OwnerConnection& connection, MessageBuffer& buffer, size_t size);
    bool HandleRequest(OwnerConnection& connection, MessageBuffer& buffer, MessageHeader& header);
    bool HandleRead(OwnerConnection& connection, MessageBuffer& buffer, MessageHeader& header);
    bool HandleIoctl(OwnerConnection& connection, MessageBuffer& buffer, MessageHeader& header);
    Refusal RunBesideAnother(OwnerConnection& connection, MessageBuffer& buffer,
                             MessageHeader& header);
    bool Refuse(OwnerConnection& connection, MessageHeader& header, const Refusal& refusal);
    bool AnswerFrom(OwnerConnection& connection, MessageBuffer& buffer, MessageHeader& header);
    bool Answer(OwnerConnection& connection, std::byte* message, MessageHeader& header);
    void Park(OwnerConnection& connection) HOSTED_EXCLUDES(mutex_);
    bool Arm(OwnerConnection& connection) HOSTED_REQUIRES(mutex_);
    void End(OwnerConnection& connection) HOSTED_EXCLUDES(mutex_);

    int StartOnce() HOSTED_EXCLUDES(mutex_);
    int Publish(const IAMServiceDesc& desc) HOSTED_EXCLUDES(mutex_);
    int GoUp(const RuntimeDir& directory, std::unique_ptr<OwnerService> service, uint32_t timeoutMs)
        HOSTED_EXCLUDES(mutex_);
    int Serve(std::unique_ptr<OwnerService>& service) HOSTED_EXCLUDES(mutex_);
    void EndServices(const RuntimeDir* directory) HOSTED_REQUIRES(mutex_);
    void EndIdleConnections() HOSTED_REQUIRES(mutex_);

    OwnerThreads threads_;
    OwnerPeers peers_;
    std::atomic<bool> stopping_{false};
    std::atomic<int> runningHooks_{0};
    Counter callbacks_;  // the ioctl hooks among them
    Counter lookUps_;    // of the group, for clients that wait to be admitted

    Mutex mutex_;
    Condition hooksEnded_;
    Turns turns_{mutex_};  // one registration at a time, and none beside `Stop`
    // `mutex_` guards their listeners too.
    std::vector<std::unique_ptr<OwnerService>> services_ HOSTED_GUARDED_BY(mutex_);
    std::unordered_set<OwnerConnection*> connections_ HOSTED_GUARDED_BY(mutex_);
    UniqueFd spare_ HOSTED_GUARDED_BY(mutex_);  // given up to accept and end a connection too many
    ExitHandler exitHandler_ HOSTED_GUARDED_BY(mutex_);
};

}  // namespace hosted

#endif
