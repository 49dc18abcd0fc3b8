#include "platform/hosted/pipe_listener.h"

#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "platform/hosted/endpoint_name.h"
#include "platform/hosted/hosted_log.h"
#include "platform/hosted/owner_endpoint.h"
#include "platform/hosted/socket_address.h"

namespace hosted {
namespace {

using Published = Outcome<std::unique_ptr<PipeListener>>;

Published FailToPublish(const std::string& name, int error)
{
    HOSTED_LOG(kLogError, "pipe %.128s cannot be published in %s: %s", name.c_str(),
               RuntimeDirPath().c_str(), strerror(error));
    return Published::Failed(error);
}

int ErrorOfAccept(int error)
{
    return error == EINTR || error == ECONNABORTED ? EAGAIN : error;
}

}  // namespace

PipeListener::PipeListener(std::string_view name, NameLock lock)
    : name_(name), instance_(NewInstance()), lock_(std::move(lock))
{
}

Published PipeListener::Publish(std::string_view name)
{
    if (name.empty() || name.size() > kMaxNameSize) {
        return Published::Failed(name.empty() ? EINVAL : ENAMETOOLONG);
    }
    const std::string text(name);
    const Outcome<RuntimeDir> directory = PrepareRuntimeDir();
    if (!directory) {
        return FailToPublish(text, directory.error);
    }
    Outcome<NameLock> lock = NameLock::Take(directory.value, name);
    if (!lock) {
        return FailToPublish(text, lock.error);
    }
    std::unique_ptr<PipeListener> listener(new PipeListener(name, std::move(lock.value)));
    Outcome<UniqueFd> socket =
        PublishAndListen(directory.value, name, {listener->instance_, 0, EndpointKind::kPipe});
    if (!socket) {
        return FailToPublish(text, socket.error);
    }
    listener->socket_ = std::move(socket.value);
    HOSTED_LOG(kLogInfo, "pipe %.128s is published in %s", text.c_str(), RuntimeDirPath().c_str());
    return Succeeded(std::move(listener));
}

Outcome<PipeListener::Accepted> PipeListener::Accept(const TimeLimit& limit) const
{
    while (AwaitInput(socket_.Get(), limit)) {
        if (isShutDown_.load()) {
            return Outcome<Accepted>::Failed(EPIPE);
        }
        Outcome<Accepted> accepted = AcceptNow();
        if (accepted.error != EAGAIN && accepted.error != EACCES) {
            return accepted;
        }
    }
    return Outcome<Accepted>::Failed(ETIMEDOUT);
}

Outcome<PipeListener::Accepted> PipeListener::AcceptNow() const
{
    int error = 0;
    Accepted accepted;
    accepted.socket = UniqueFd::Make([&] {
        const int fd = accept4(socket_.Get(), nullptr, nullptr, SOCK_CLOEXEC);
        error = fd < 0 ? ErrorOfAccept(errno) : 0;
        return fd;
    });
    if (error != 0) {
        return Outcome<Accepted>::Failed(error);
    }
    accepted.peer = CredentialsOf(accepted.socket.Get());
    if (!MayConnect(accepted.socket.Get(), accepted.peer, group_)) {
        HOSTED_LOG(kLogError, "pipe to %.128s refused: process %d of user %u is not permitted",
                   name_.c_str(), accepted.peer.process, accepted.peer.user);
        return Outcome<Accepted>::Failed(EACCES);
    }
    MakeRoomForMessages(accepted.socket.Get());
    return Succeeded(std::move(accepted));
}

// The flag says why a wait ends: an `accept` that does not block cannot tell.
void PipeListener::ShutDown()
{
    isShutDown_.store(true);
    shutdown(socket_.Get(), SHUT_RDWR);
}

void PipeListener::Withdraw(const RuntimeDir& directory) const
{
    WithdrawEndpoint(directory, name_, instance_);
}

}  // namespace hosted
