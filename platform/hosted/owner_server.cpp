#include "platform/hosted/owner_server.h"

#include <sys/socket.h>
#include <sys/time.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <new>
#include <utility>

#include "platform/hosted/hosted_log.h"
#include "platform/hosted/refusal_message.h"

namespace hosted {
namespace {

// How long a thread stays with a connection that is silent.
constexpr timeval kStickyTime = {0, 20000};

thread_local int hooksOnThisThread = 0;

}  // namespace

int OwnerServer::HooksOnThisThread()
{
    return hooksOnThisThread;
}

// Counts a hook from before the look at `stopping_` until its answer is sent, so that `Stop` either
// waits for it or has it refused.
class OwnerServer::RunningHook {
public:
    explicit RunningHook(OwnerServer& server) : server_(server)
    {
        server_.runningHooks_.fetch_add(1);
        ++hooksOnThisThread;
    }
    ~RunningHook()
    {
        --hooksOnThisThread;
        server_.runningHooks_.fetch_sub(1);
        if (server_.stopping_.load()) {
            const MutexLock lock(server_.mutex_);
            server_.hooksEnded_.NotifyAll();
        }
    }
    RunningHook(const RunningHook&) = delete;
    RunningHook& operator=(const RunningHook&) = delete;

    bool MayRun() const { return !server_.stopping_.load(); }

private:
    OwnerServer& server_;
};

void OwnerServer::ThreadBody(MessageBuffer& buffer)
{
    OwnerServer& server = Instance();
    EventSource* source = server.threads_.Wait();
    while (source != nullptr) {
        try {
            server.ServeEvent(source, buffer);
        } catch (const std::bad_alloc&) {
            HOSTED_LOG(kLogError, "a connection is lost: no memory");
        }
        source = server.threads_.WaitAgain();
    }
}

void OwnerServer::ServeEvent(EventSource* source, MessageBuffer& buffer)
{
    if (!Take(source)) {
        return;
    }
    if (source->kind == EventSource::Kind::kService) {
        AcceptFrom(static_cast<OwnerService&>(*source), buffer);
    } else {
        ServeConnection(static_cast<OwnerConnection&>(*source), buffer, false);
    }
}

// Another thread may have ended a parked connection while its event was on the way here: it is not
// looked at before it is known to be there. Another one at its address is served as well.
bool OwnerServer::Take(EventSource* source)
{
    const MutexLock lock(mutex_);
    const auto found = connections_.find(static_cast<OwnerConnection*>(source));
    if (found != connections_.end()) {
        return (*found)->isParked.exchange(false);
    }
    return std::any_of(services_.begin(), services_.end(),
                       [=](const auto& service) { return service.get() == source; });
}

// Back to the epoll after each message while nobody else waits there: peers that never pause would
// keep all threads to themselves.
void OwnerServer::ServeConnection(OwnerConnection& connection, MessageBuffer& buffer, bool mayStick)
{
    while (true) {
        size_t size = 0;
        const Received received = Receive(connection, buffer, mayStick, &size);
        if (received == Received::kNothing) {
            break;
        }
        if (received == Received::kEnd || !HandleMessage(connection, buffer, size)) {
            End(connection);
            return;
        }
        mayStick = threads_.MayStick();
        if (!mayStick) {
            break;
        }
    }
    Park(connection);
}

OwnerServer::Received OwnerServer::Receive(OwnerConnection& connection, MessageBuffer& buffer,
                                           bool sticky, size_t* size)
{
    if (sticky && !connection.hasReceiveTimeout) {
        setsockopt(connection.fd.Get(), SOL_SOCKET, SO_RCVTIMEO, &kStickyTime, sizeof kStickyTime);
        connection.hasReceiveTimeout = true;
    }
    // Without room for ancillary data the kernel closes descriptors that a peer sends along.
    const ssize_t received = recv(connection.fd.Get(), buffer.Bytes(), kMaxMessage,
                                  MSG_TRUNC | (sticky ? 0 : MSG_DONTWAIT));
    if (received > 0) {
        *size = static_cast<size_t>(received);
        buffer.NoteReceived(std::min(*size, kMaxMessage));
        return Received::kMessage;
    }
    const bool isSilence = received < 0 && (errno == EAGAIN || errno == EINTR);
    return isSilence ? Received::kNothing : Received::kEnd;
}

// False when the connection is to end.
bool OwnerServer::HandleMessage(OwnerConnection& connection, MessageBuffer& buffer, size_t size)
{
    MessageHeader header = {};
    if (!IsWholeMessage(buffer.Bytes(), size, &header)) {
        HOSTED_LOG(kLogError, "garbage of %zu bytes from process %d of user %u: connection ended",
                   size, connection.peer->process, connection.peer->user);
        return false;
    }
    if (header.version != kProtocolVersion || !IsRequest(header)) {
        HOSTED_LOG(kLogError, "protocol %u, flags %u from process %d of user %u: connection ended",
                   header.version, header.flags, connection.peer->process, connection.peer->user);
        SendRefusal(connection.fd.Get(), EPROTO);
        return false;
    }
    buffer.Clear(header.size, size_t{header.size} + header.zeros);
    header.size += std::exchange(header.zeros, 0);
    return HandleRequest(connection, buffer, header);
}

bool OwnerServer::HandleRequest(OwnerConnection& connection, MessageBuffer& buffer,
                                MessageHeader& header)
{
    const RunningHook running(*this);
    if (!running.MayRun()) {
        return false;
    }
    return (header.flags & kFlagRead) != 0 ? HandleRead(connection, buffer, header)
                                           : HandleIoctl(connection, buffer, header);
}

// Reads stand in no limit of the process or the owner: they tell a living owner from a dead one.
bool OwnerServer::HandleRead(OwnerConnection& connection, MessageBuffer& buffer,
                             MessageHeader& header)
{
    Refusal refusal = connection.peer->EnterRead();
    if (!refusal) {
        refusal = RunBesideAnother(connection, buffer, header);
        connection.peer->LeaveRead();
    }
    return refusal ? Refuse(connection, header, refusal) : AnswerFrom(connection, buffer, header);
}

bool OwnerServer::HandleIoctl(OwnerConnection& connection, MessageBuffer& buffer,
                              MessageHeader& header)
{
    if (!callbacks_.Enter(kMaxCallbacks)) {
        return Refuse(connection, header, {"owner", kMaxCallbacks, callbacks_.Count(), false});
    }
    Refusal refusal = connection.peer->EnterRequest();
    if (!refusal) {
        refusal = RunBesideAnother(connection, buffer, header);
        connection.peer->LeaveRequest();
    }
    callbacks_.Leave();
    return refusal ? Refuse(connection, header, refusal) : AnswerFrom(connection, buffer, header);
}

// Behind the limits of peers: what those refuse must not have all threads started.
Refusal OwnerServer::RunBesideAnother(OwnerConnection& connection, MessageBuffer& buffer,
                                      MessageHeader& header)
{
    if (!threads_.EnsureWaiting()) {
        return {"owner", kMaxThreads, runningHooks_.load(), false};
    }
    RunHooks(connection.file, header, buffer.Payload());
    return {};
}

bool OwnerServer::Refuse(OwnerConnection& connection, MessageHeader& header, const Refusal& refusal)
{
    HOSTED_LOG(kLogError,
               "request to %.128s refused: process %d of user %u, limit of %s %d, count %d",
               connection.file.service->name.c_str(), connection.peer->process,
               connection.peer->user, refusal.limitOf, refusal.limit, refusal.count);
    // The next request must open the file that this one has not.
    connection.file.isStale = connection.file.isStale || (header.flags & kFlagOpen) != 0;
    header.size = 0;
    header.result = -1;
    header.error = EBUSY;
    std::byte message[sizeof header];
    return Answer(connection, message, header);
}

bool OwnerServer::AnswerFrom(OwnerConnection& connection, MessageBuffer& buffer,
                             MessageHeader& header)
{
    const bool isSent = Answer(connection, buffer.Bytes(), header);
    buffer.NoteZeros(header.size, size_t{header.size} + header.zeros);
    return isSent;
}

// Never waits: a peer that cannot take its answer is dropped.
bool OwnerServer::Answer(OwnerConnection& connection, std::byte* message, MessageHeader& header)
{
    const size_t sent = SizeWithoutZeros({message + sizeof header, header.size});
    header.flags = static_cast<uint16_t>((header.flags & kFlagRead) | kFlagAnswer);
    header.zeros = header.size - static_cast<uint32_t>(sent);
    header.size = static_cast<uint32_t>(sent);
    std::memcpy(message, &header, sizeof header);
    const size_t size = sizeof header + sent;
    return send(connection.fd.Get(), message, size, MSG_DONTWAIT | MSG_NOSIGNAL) ==
           static_cast<ssize_t>(size);
}

void OwnerServer::Park(OwnerConnection& connection)
{
    bool isParked = false;
    {
        // Whoever takes a parked connection to end it holds the lock too: not before the epoll
        // has it.
        const MutexLock lock(mutex_);
        isParked = !stopping_.load() && Arm(connection);
    }
    if (!isParked) {
        End(connection);
    }
}

bool OwnerServer::Arm(OwnerConnection& connection)
{
    const bool isFirst = !std::exchange(connection.isWatched, true);
    connection.parkedAt = std::chrono::steady_clock::now();
    connection.isParked.store(true);
    const bool isArmed = threads_.Watch(connection.fd.Get(), &connection, isFirst) == 0;
    if (!isArmed) {
        connection.isParked.store(false);
    }
    return isArmed;
}

void OwnerServer::End(OwnerConnection& connection)
{
    if (connection.file.isOpen) {
        const RunningHook running(*this);
        threads_.EnsureWaiting();
        if (running.MayRun()) {
            RunCloseHook(connection.file);
        }
    }
    {
        const MutexLock lock(mutex_);
        connections_.erase(&connection);
    }
    peers_.Leave(connection.peer);
    delete &connection;
}

}  // namespace hosted
