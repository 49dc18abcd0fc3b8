#include "platform/hosted/pipe_ends.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <utility>

#include "platform/hosted/endpoint_name.h"
#include "platform/hosted/endpoint_search.h"
#include "platform/hosted/hosted_log.h"
#include "platform/hosted/pipe_table.h"
#include "platform/hosted/socket_address.h"

namespace hosted {
namespace {

constexpr int kConnectWaitMs = 500;  // for room in an owner's backlog

// The caller's end of a pair, until it is the caller's. The layer does not close it in a fork.
struct BareSocket {
    int fd = -1;

    BareSocket() = default;
    BareSocket(const BareSocket&) = delete;
    BareSocket& operator=(const BareSocket&) = delete;
    ~BareSocket()
    {
        if (fd >= 0) {
            close(fd);
        }
    }
};

Outcome<int> InsertPipe(UniqueFd socket, const PipeOrigin& origin = {})
{
    PipeSlot slot;
    slot.pipe = std::make_unique<Pipe>(std::move(socket), origin);
    return PipeTable::Instance().Insert(slot);
}

void Withdraw(const PipeListener& listener)
{
    const Outcome<RuntimeDir> directory = OpenRuntimeDir();
    if (directory) {
        listener.Withdraw(directory.value);
    }
}

int CheckKind(const Endpoint& endpoint)
{
    return endpoint.kind == EndpointKind::kPipe ? 0 : EPROTO;
}

int OptionOf(int socket, int option)
{
    int value = -1;
    socklen_t size = sizeof value;
    return getsockopt(socket, SOL_SOCKET, option, &value, &size) == 0 ? value : -1;
}

int CheckSocket(int socket)
{
    sockaddr_un peer = {};
    socklen_t size = sizeof peer;
    if (getpeername(socket, reinterpret_cast<sockaddr*>(&peer), &size) != 0) {
        return errno;
    }
    const bool isRightKind =
        OptionOf(socket, SO_DOMAIN) == AF_UNIX && OptionOf(socket, SO_TYPE) == SOCK_SEQPACKET;
    return isRightKind ? 0 : EPROTOTYPE;
}

}  // namespace

Outcome<int> ListenForPipes(std::string_view name)
{
    Outcome<std::unique_ptr<PipeListener>> listener = PipeListener::Publish(name);
    if (!listener) {
        return Outcome<int>::Failed(listener.error);
    }
    PipeSlot slot;
    slot.listener = std::move(listener.value);
    const Outcome<int> number = PipeTable::Instance().Insert(slot);
    if (!number) {
        Withdraw(*slot.listener);
    }
    return number;
}

Outcome<int> AcceptPipe(const PipeListener& listener, const TimeLimit& limit)
{
    while (true) {
        Outcome<PipeListener::Accepted> accepted = listener.Accept(limit);
        if (!accepted) {
            return Outcome<int>::Failed(accepted.error);
        }
        const PeerCredentials& peer = accepted.value.peer;
        const PipeOrigin origin{listener.Instance(), peer};
        const Refusal refusal = PipeTable::Instance().CheckPeer(origin);
        if (!refusal) {
            return InsertPipe(std::move(accepted.value.socket), origin);
        }
        HOSTED_LOG(kLogError,
                   "pipe to %.128s refused: process %d of user %u, limit of %s %d, count %d",
                   listener.Name().c_str(), peer.process, peer.user, refusal.limitOf, refusal.limit,
                   refusal.count);
    }
}

Outcome<int> ConnectPipe(std::string_view name)
{
    if (name.empty() || name.size() > kMaxNameSize) {
        return Outcome<int>::Failed(name.empty() ? ENOENT : ENAMETOOLONG);
    }
    const Deadline deadline(kConnectWaitMs);
    Outcome<UniqueFd> socket = ConnectByName<Outcome<UniqueFd>>(
        name, CheckKind, [&](const RuntimeDir& directory, const Endpoint& endpoint) {
            return ConnectTo(directory, endpoint.instance, deadline);
        });
    if (!socket) {
        return Outcome<int>::Failed(socket.error);
    }
    MakeRoomForMessages(socket.value.Get());
    return InsertPipe(std::move(socket.value));
}

Outcome<int> MakePipe(int* peer)
{
    BareSocket theirs;
    UniqueFd ours = UniqueFd::Make([&] {
        int ends[2] = {-1, -1};
        const int type = SOCK_SEQPACKET | SOCK_CLOEXEC;
        const int result = socketpair(AF_UNIX, type, 0, ends);
        theirs.fd = ends[1];
        return result == 0 ? ends[0] : -1;
    });
    if (!ours) {
        return Outcome<int>::Failed(errno);
    }
    MakeRoomForMessages(ours.Get());
    MakeRoomForMessages(theirs.fd);
    const Outcome<int> number = InsertPipe(std::move(ours));
    if (number) {
        *peer = std::exchange(theirs.fd, -1);
    }
    return number;
}

// By a descriptor of our own, so that a failure leaves the caller's as it was.
Outcome<int> AdoptPipe(int socket)
{
    if (const int error = CheckSocket(socket); error != 0) {
        return Outcome<int>::Failed(error);
    }
    UniqueFd ours = UniqueFd::Make([=] { return fcntl(socket, F_DUPFD_CLOEXEC, 0); });
    if (!ours) {
        return Outcome<int>::Failed(errno);
    }
    MakeRoomForMessages(ours.Get());
    const Outcome<int> number = InsertPipe(std::move(ours));
    if (number) {
        close(socket);
    }
    return number;
}

int ClosePipe(int number)
{
    const Outcome<PipeSlot> removed = PipeTable::Instance().Remove(number);
    if (removed && removed.value.listener != nullptr) {
        Withdraw(*removed.value.listener);
    }
    return removed.error;
}

}  // namespace hosted
