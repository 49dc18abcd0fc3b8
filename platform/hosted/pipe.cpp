#include "platform/hosted/pipe.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/uio.h>

#include <algorithm>
#include <cerrno>
#include <new>
#include <utility>

#include "platform/hosted/hosted_log.h"

namespace hosted {
namespace {

constexpr int kLookForEndMs = 100;  // while nobody reads

bool IsGone(int error)
{
    return error == EPIPE || error == ECONNRESET || error == ENOTCONN;
}

bool HasHungUp(int fd)
{
    pollfd entry = {fd, POLLRDHUP, 0};
    return poll(&entry, 1, 0) > 0;
}

uint64_t NewIdentity()
{
    static std::atomic<uint64_t> last{0};
    return ++last;
}

// Whoever else holds an inherited socket may have made it non-blocking, so that a wait without
// limit polls, too, if it must. A message can lie behind the error of a connection that was reset.
ssize_t Receive(int fd, std::vector<std::byte>& buffer, const TimeLimit& limit)
{
    int flags = limit ? MSG_TRUNC | MSG_DONTWAIT : MSG_TRUNC;
    while (true) {
        if (limit && !AwaitInput(fd, limit)) {
            errno = ETIMEDOUT;
            return -1;
        }
        const ssize_t received = recv(fd, buffer.data(), buffer.size(), flags);
        if (received >= 0 || (errno != EINTR && errno != EAGAIN && errno != ECONNRESET)) {
            return received;
        }
        if (errno == EAGAIN) {
            AwaitInput(fd, limit);
        }
    }
}

}  // namespace

Pipe::Pipe(UniqueFd socket, const PipeOrigin& origin)
    : socket_(std::move(socket)),
      origin_(origin),
      identity_(NewIdentity()),
      buffer_(kMaxPipeMessage)
{
    calls_.reserve(kCallsInFlight);
}

int Pipe::SendRequest(const PipeRecord& request)
{
    return Send(PipeMessageKind::kRequest, 0, request);
}

int Pipe::SendResponse(const EzcomResponse& response)
{
    const PipeCallId& call = response.answers;
    if (call.pipe != identity_ || call.sequence == 0) {
        return EINVAL;
    }
    return Send(PipeMessageKind::kResponse, call.sequence, response.record);
}

int Pipe::Send(PipeMessageKind kind, uint64_t sequence, const PipeRecord& record)
{
    PipeHeader header;
    header.kind = kind;
    header.sequence = sequence;
    header.type = record.type;
    header.size = static_cast<uint32_t>(record.data.size());
    iovec parts[] = {{&header, sizeof header},
                     {const_cast<std::byte*>(record.data.data()), record.data.size()}};
    msghdr message = {};
    message.msg_iov = parts;
    message.msg_iovlen = 2;
    const ssize_t sent = sendmsg(socket_.Get(), &message, MSG_DONTWAIT | MSG_NOSIGNAL);
    return sent >= 0 ? 0 : ErrorOfSend(errno);
}

int Pipe::ErrorOfSend(int error)
{
    if (error == ENOBUFS) {
        return ENOMEM;
    }
    if (!IsGone(error)) {
        return error;
    }
    const MutexLock lock(mutex_);
    return ended_ != 0 ? ended_ : EPIPE;
}

int Pipe::Call(const PipeRecord& request, PipeRecord& response, const TimeLimit& limit)
{
    PendingCall call{0, &response};
    if (const int error = Enter(call); error != 0) {
        return error;
    }
    const int sent = Send(PipeMessageKind::kCall, call.sequence, request);
    return AwaitResponse(call, sent, limit);
}

// Ahead of the sending: another thread may read the response before we wait for it.
int Pipe::Enter(PendingCall& call)
{
    const MutexLock lock(mutex_);
    if (calls_.size() >= kCallsInFlight) {
        return EAGAIN;
    }
    call.sequence = ++lastCall_;
    calls_.push_back(&call);
    return 0;
}

int Pipe::AwaitResponse(PendingCall& call, int sent, const TimeLimit& limit)
{
    const MutexLock lock(mutex_);
    const int error = sent != 0 ? sent : Await(&call, limit);
    Leave(call);
    return error;
}

void Pipe::Leave(const PendingCall& call)
{
    calls_.erase(std::find(calls_.begin(), calls_.end(), &call));
}

int Pipe::Receive(EzcomRequest& request, const TimeLimit& limit)
{
    const MutexLock lock(mutex_);
    const int error = Await(nullptr, limit);
    if (error != 0) {
        return error;
    }
    request = std::move(requests_.front());
    requests_.pop_front();
    changed_.NotifyAll();  // there may be room again for whoever reads
    return 0;
}

bool Pipe::HasCome(const PendingCall* call) const
{
    return call != nullptr ? call->isAnswered : !requests_.empty();
}

// What has come before the end, or in the last moment, counts.
int Pipe::Await(const PendingCall* call, const TimeLimit& limit)
{
    bool inTime = true;
    while (!HasCome(call)) {
        if (ended_ != 0 || !inTime) {
            return ended_ != 0 ? ended_ : ETIMEDOUT;
        }
        if (isReading_) {
            inTime = WaitForReader(limit);
        } else {
            inTime = HasRoom() ? ReadForAll(limit) : WaitForRoom(limit);
        }
    }
    return 0;
}

// What is left behind a hang-up is no more than the socket's buffer holds.
bool Pipe::HasRoom() const
{
    return isHungUp_ || requests_.size() < kWaitingRequests;
}

bool Pipe::WaitForReader(const TimeLimit& limit)
{
    if (limit) {
        return changed_.WaitUntil(mutex_, limit->End());
    }
    changed_.Wait(mutex_);
    return true;
}

// Nobody reads, so that nobody would see the end: whoever receives makes room, and one who has
// gone makes none.
bool Pipe::WaitForRoom(const TimeLimit& limit)
{
    const Deadline look = limit ? limit->NoLaterThan(kLookForEndMs) : Deadline(kLookForEndMs);
    if (changed_.WaitUntil(mutex_, look.End())) {
        return true;
    }
    isHungUp_ = HasHungUp(socket_.Get());
    return isHungUp_ || !limit || limit->RemainingMs() > 0;
}

bool Pipe::ReadForAll(const TimeLimit& limit)
{
    isReading_ = true;
    mutex_.unlock();
    PipeHeader header;
    const ReadEnd end = Read(&header, limit);
    mutex_.lock();
    isReading_ = false;
    if (end == ReadEnd::kMessage) {
        Take(header);
    } else if (end != ReadEnd::kTimedOut) {
        End(end == ReadEnd::kGarbage ? EPROTO : EPIPE);
    }
    changed_.NotifyAll();
    return end != ReadEnd::kTimedOut;
}

Pipe::ReadEnd Pipe::Read(PipeHeader* header, const TimeLimit& limit)
{
    const ssize_t received = hosted::Receive(socket_.Get(), buffer_, limit);
    if (received <= 0) {
        return received < 0 && errno == ETIMEDOUT ? ReadEnd::kTimedOut : ReadEnd::kGone;
    }
    const auto size = static_cast<size_t>(received);
    if (IsWholePipeMessage(buffer_.data(), size, lastCall_.load(), header)) {
        return ReadEnd::kMessage;
    }
    const PeerCredentials peer = CredentialsOf(socket_.Get());
    HOSTED_LOG(kLogError, "pipe ended: process %d of user %u sent %zu bytes that are no message",
               peer.process, peer.user, size);
    return ReadEnd::kGarbage;
}

// A message that cannot be kept must not be lost in silence: the pipe ends with it.
void Pipe::Take(const PipeHeader& header)
{
    try {
        if (header.kind == PipeMessageKind::kResponse) {
            TakeResponse(header);
        } else {
            TakeRequest(header);
        }
    } catch (const std::bad_alloc&) {
        End(EPIPE);
    }
}

void Pipe::TakeRequest(const PipeHeader& header)
{
    const std::byte* const data = buffer_.data() + sizeof header;
    EzcomRequest request{{header.type, {data, data + header.size}}, {identity_, header.sequence}};
    requests_.push_back(std::move(request));
}

// That of a call which has timed out has nobody who waits for it.
void Pipe::TakeResponse(const PipeHeader& header)
{
    const auto found = std::find_if(calls_.begin(), calls_.end(), [&](const PendingCall* call) {
        return call->sequence == header.sequence && !call->isAnswered;
    });
    if (found == calls_.end()) {
        return;
    }
    const std::byte* const data = buffer_.data() + sizeof header;
    PendingCall& call = **found;
    call.response->data.assign(data, data + header.size);
    call.response->type = header.type;
    call.isAnswered = true;
}

void Pipe::End(int error)
{
    ended_ = error;
    shutdown(socket_.Get(), SHUT_RDWR);
}

void Pipe::ShutDown()
{
    shutdown(socket_.Get(), SHUT_RDWR);
    const MutexLock lock(mutex_);
    isHungUp_ = true;
    changed_.NotifyAll();
}

}  // namespace hosted
