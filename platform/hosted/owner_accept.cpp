// How the owner's server takes in connections, and what it does when there are too many of them.
#include <poll.h>
#include <sys/socket.h>

#include <cerrno>
#include <memory>
#include <new>
#include <utility>

#include "platform/hosted/hosted_log.h"
#include "platform/hosted/owner_server.h"
#include "platform/hosted/peer_credentials.h"
#include "platform/hosted/refusal_message.h"
#include "platform/hosted/socket_address.h"
#include "platform/hosted/spare_fd.h"

namespace hosted {
namespace {

constexpr int kShortagePauseMs = 100;

constexpr int kUnreadAnswers = 2;  // a client of ours has one
constexpr int kMostLookUps = 64;   // threads in the name service

UniqueFd Accept(const OwnerService& service)
{
    return UniqueFd::Make(
        [&] { return accept4(service.listener.Get(), nullptr, nullptr, SOCK_CLOEXEC); });
}

bool IsShortage(int error)
{
    return error == EMFILE || error == ENFILE || error == ENOBUFS || error == ENOMEM;
}

// False when it could not even be accepted.
bool RefuseNext(const OwnerService& service)
{
    const UniqueFd next = Accept(service);
    if (next) {
        SendRefusal(next.Get(), EBUSY);
    }
    return next || !IsShortage(errno);
}

void LogRefusal(const OwnerService& service, const PeerCredentials& peer, const Refusal& refusal)
{
    HOSTED_LOG(kLogError,
               "connection to %.128s refused: process %d of user %u, limit of %s %d, count %d",
               service.name.c_str(), peer.process, peer.user, refusal.limitOf, refusal.limit,
               refusal.count);
}

class Counted {
public:
    Counted(Counter& counter, int limit) : counter_(counter), isCounted_(counter.Enter(limit)) {}
    ~Counted()
    {
        if (isCounted_) {
            counter_.Leave();
        }
    }
    Counted(const Counted&) = delete;
    Counted& operator=(const Counted&) = delete;

    explicit operator bool() const { return isCounted_; }

private:
    Counter& counter_;
    const bool isCounted_;
};

int CheckMembership(const OwnerService& service, int fd, const PeerCredentials& peer)
{
    if (MayConnect(fd, peer, service.group)) {
        return 0;
    }
    HOSTED_LOG(kLogError, "connection to %.128s refused: process %d of user %u is not permitted",
               service.name.c_str(), peer.process, peer.user);
    return EACCES;
}

}  // namespace

// Leaves the listener to the next thread, whatever has happened.
class OwnerServer::ListenAgain {
public:
    ListenAgain(OwnerServer& server, OwnerService& service) : server_(server), service_(service) {}
    ~ListenAgain()
    {
        const MutexLock lock(server_.mutex_);
        if (service_.listener) {
            server_.threads_.Rearm(service_.listener.Get(), &service_);
        }
    }
    ListenAgain(const ListenAgain&) = delete;
    ListenAgain& operator=(const ListenAgain&) = delete;

private:
    OwnerServer& server_;
    OwnerService& service_;
};

void OwnerServer::AcceptFrom(OwnerService& service, MessageBuffer& buffer)
{
    bool shortage = false;
    UniqueFd fd = AcceptOne(service, &shortage);
    if (shortage) {
        RelieveShortage(service, buffer);
    }
    OwnerConnection* const connection = fd ? Admit(service, std::move(fd), buffer) : nullptr;
    if (connection != nullptr) {
        ServeConnection(*connection, buffer, threads_.MayStick());
    }
}

// Leaves the listener to the next thread, unless the next would fail as this one did.
UniqueFd OwnerServer::AcceptOne(OwnerService& service, bool* shortage)
{
    const MutexLock lock(mutex_);
    if (!service.listener) {
        return {};  // stopped
    }
    UniqueFd fd = Accept(service);
    *shortage = !fd && IsShortage(errno);
    if (!*shortage) {
        if (!spare_) {
            spare_ = MakeSpareFd();
        }
        threads_.Rearm(service.listener.Get(), &service);
    }
    return fd;
}

// Null when the peer has been turned away.
OwnerConnection* OwnerServer::Admit(OwnerService& service, UniqueFd fd, MessageBuffer& buffer)
{
    const PeerCredentials credentials = CredentialsOf(fd.Get());
    if (const int error = CheckPeer(service, fd.Get(), credentials); error != 0) {
        SendRefusal(fd.Get(), error);
        return nullptr;
    }
    auto connection = std::make_unique<OwnerConnection>();
    auto [peer, refusal] = AdmitPeer(credentials, buffer);
    if (refusal) {
        LogRefusal(service, credentials, refusal);
        SendRefusal(fd.Get(), EBUSY);
        return nullptr;
    }
    MakeRoomForMessages(fd.Get(), kUnreadAnswers);
    connection->fd = std::move(fd);
    connection->peer = std::move(peer);
    connection->file.service = &service;
    return Keep(std::move(connection));
}

// 0, or why the peer is turned away. The name service may block for long: another thread waits
// meanwhile, and most of the pool is kept for requests.
int OwnerServer::CheckPeer(const OwnerService& service, int fd, const PeerCredentials& peer)
{
    if (IsOwnerOrRoot(peer) || service.group.IsKnown()) {
        return CheckMembership(service, fd, peer);
    }
    const Counted lookUp(lookUps_, kMostLookUps);
    if (lookUp && threads_.EnsureWaiting()) {
        return CheckMembership(service, fd, peer);
    }
    LogRefusal(service, peer,
               lookUp ? Refusal{"owner", kMaxThreads, runningHooks_.load(), false}
                      : Refusal{"owner", kMostLookUps, lookUps_.Count(), false});
    return EBUSY;
}

OwnerConnection* OwnerServer::Keep(std::unique_ptr<OwnerConnection> connection)
{
    try {
        const MutexLock lock(mutex_);
        connections_.insert(connection.get());
    } catch (const std::bad_alloc&) {
        peers_.Leave(connection->peer);
        throw;
    }
    return connection.release();
}

// A process or user at its limit pays with its own connection that has been idle longest.
OwnerPeers::Admission OwnerServer::AdmitPeer(const PeerCredentials& credentials,
                                             MessageBuffer& buffer)
{
    OwnerPeers::Admission admission = peers_.Admit(credentials);
    if (!admission.second) {
        return admission;
    }
    const bool ofProcess = admission.second.ofProcess;
    OwnerConnection* const idle = TakeLongestIdle([&](const Peer& peer) {
        return peer.user == credentials.user && (!ofProcess || peer.process == credentials.process);
    });
    if (idle == nullptr) {
        return admission;
    }
    EndWithoutLoss(*idle, buffer);
    return peers_.Admit(credentials);
}

// This process has no descriptor left: the user with the most connections pays with one.
void OwnerServer::RelieveShortage(OwnerService& service, MessageBuffer& buffer)
{
    const ListenAgain listenAgain(*this, service);
    const std::optional<uid_t> greediest = peers_.GreediestUser();
    OwnerConnection* const idle =
        TakeLongestIdle([&](const Peer& peer) { return peer.user == greediest; });
    if (idle != nullptr) {
        EndWithoutLoss(*idle, buffer);
    } else {
        ShedConnection(service);
    }
}

// Nobody is idle: the spare descriptor accepts the connection, which is then ended. Left alone it
// would stay in the backlog and wake a thread for ever.
void OwnerServer::ShedConnection(const OwnerService& service)
{
    HOSTED_LOG(kLogError, "connection to %.128s refused: no descriptor left in this process",
               service.name.c_str());
    bool isShed = false;
    {
        const MutexLock lock(mutex_);
        spare_.Reset();
        isShed = RefuseNext(service);
        spare_ = MakeSpareFd();
    }
    if (!isShed) {
        poll(nullptr, 0, kShortagePauseMs);  // somebody else took the spare one
    }
}

// An event may take a parked connection from us at any time; then it is not idle.
template <typename Condition>
OwnerConnection* OwnerServer::TakeLongestIdle(Condition condition)
{
    const MutexLock lock(mutex_);
    while (true) {
        OwnerConnection* longest = nullptr;
        for (OwnerConnection* const connection : connections_) {
            const bool isCandidate = connection->isParked.load() && condition(*connection->peer);
            if (isCandidate && (longest == nullptr || connection->parkedAt < longest->parkedAt)) {
                longest = connection;
            }
        }
        if (longest == nullptr || longest->isParked.exchange(false)) {
            return longest;
        }
    }
}

// What the peer sends from now on fails there, and it knows that we have not taken it; what it has
// sent before is answered.
void OwnerServer::EndWithoutLoss(OwnerConnection& connection, MessageBuffer& buffer)
{
    shutdown(connection.fd.Get(), SHUT_RD);
    size_t size = 0;
    while (Receive(connection, buffer, false, &size) == Received::kMessage &&
           HandleMessage(connection, buffer, size)) {}
    End(connection);
}

}  // namespace hosted
