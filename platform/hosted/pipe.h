// One end of a pipe: requests go out and come in, calls wait for their responses.
//
// There is no thread behind it. Of the threads that wait for something, one reads the socket for
// all of them, and hands the reading on when it has what it waited for; while none waits, what
// comes lies in the kernel's buffer, and when that is full the peer is told that the pipe is busy.
#ifndef OWNERLINK_PLATFORM_HOSTED_PIPE_H
#define OWNERLINK_PLATFORM_HOSTED_PIPE_H

#include <atomic>
#include <cstdint>
#include <deque>
#include <vector>

#include "platform/hosted/condition.h"
#include "platform/hosted/mutex.h"
#include "platform/hosted/peer_credentials.h"
#include "platform/hosted/pipe_message.h"
#include "platform/hosted/pipe_record.h"
#include "platform/hosted/socket_wait.h"
#include "platform/hosted/unique_fd.h"

namespace hosted {

inline constexpr size_t kCallsInFlight = 64;  // of one end of a pipe
inline constexpr size_t kWaitingRequests = 64;

// From where a pipe was accepted, and whose process it was.
struct PipeOrigin {
    uint64_t listener = 0;  // 0: it was not accepted
    PeerCredentials peer;
};

// Thread-safe. Each call returns 0 or an errno number; EPIPE when the peer is gone, EPROTO when it
// sent garbage.
class Pipe {
public:
    explicit Pipe(UniqueFd socket, const PipeOrigin& origin = {});

    // Never wait: EAGAIN when the socket's buffer is full, ENOMEM when the kernel has no memory.
    int SendRequest(const PipeRecord& request) HOSTED_EXCLUDES(mutex_);
    // EINVAL when `response` answers no call that came over this pipe.
    int SendResponse(const EzcomResponse& response) HOSTED_EXCLUDES(mutex_);

    // As above, EAGAIN also at the limit of calls in flight; then waits for the response, which is
    // written at success alone. ETIMEDOUT.
    int Call(const PipeRecord& request, PipeRecord& response, const TimeLimit& limit)
        HOSTED_EXCLUDES(mutex_);

    // The next request of the peer, in the order of their sending. ETIMEDOUT.
    int Receive(EzcomRequest& request, const TimeLimit& limit) HOSTED_EXCLUDES(mutex_);

    // Ends the calls that wait, at both ends.
    void ShutDown() HOSTED_EXCLUDES(mutex_);

    const PipeOrigin& Origin() const { return origin_; }

private:
    struct PendingCall {
        uint64_t sequence = 0;
        PipeRecord* response = nullptr;
        bool isAnswered = false;
    };
    enum class ReadEnd { kMessage, kTimedOut, kGone, kGarbage };

    int Send(PipeMessageKind kind, uint64_t sequence, const PipeRecord& record)
        HOSTED_EXCLUDES(mutex_);
    int ErrorOfSend(int error) HOSTED_EXCLUDES(mutex_);
    int Enter(PendingCall& call) HOSTED_EXCLUDES(mutex_);
    int AwaitResponse(PendingCall& call, int sent, const TimeLimit& limit) HOSTED_EXCLUDES(mutex_);
    void Leave(const PendingCall& call) HOSTED_REQUIRES(mutex_);

    // Waits for the response of `call`, or for a request where that is null.
    int Await(const PendingCall* call, const TimeLimit& limit) HOSTED_REQUIRES(mutex_);
    bool HasCome(const PendingCall* call) const HOSTED_REQUIRES(mutex_);
    bool HasRoom() const HOSTED_REQUIRES(mutex_);
    bool WaitForReader(const TimeLimit& limit) HOSTED_REQUIRES(mutex_);
    bool WaitForRoom(const TimeLimit& limit) HOSTED_REQUIRES(mutex_);
    bool ReadForAll(const TimeLimit& limit) HOSTED_REQUIRES(mutex_);
    ReadEnd Read(PipeHeader* header, const TimeLimit& limit) HOSTED_EXCLUDES(mutex_);
    void Take(const PipeHeader& header) HOSTED_REQUIRES(mutex_);
    void TakeRequest(const PipeHeader& header) HOSTED_REQUIRES(mutex_);
    void TakeResponse(const PipeHeader& header) HOSTED_REQUIRES(mutex_);
    void End(int error) HOSTED_REQUIRES(mutex_);

    const UniqueFd socket_;
    const PipeOrigin origin_;
    const uint64_t identity_;
    std::vector<std::byte> buffer_;  // belongs to the thread that reads
    std::atomic<uint64_t> lastCall_{0};
    Mutex mutex_;
    Condition changed_;
    bool isReading_ HOSTED_GUARDED_BY(mutex_) = false;
    bool isHungUp_ HOSTED_GUARDED_BY(mutex_) = false;  // the peer sends nothing any more
    int ended_ HOSTED_GUARDED_BY(mutex_) = 0;          // an errno number: nothing comes any more
    std::vector<PendingCall*> calls_ HOSTED_GUARDED_BY(mutex_);
    std::deque<EzcomRequest> requests_ HOSTED_GUARDED_BY(mutex_);
};

}  // namespace hosted

#endif
