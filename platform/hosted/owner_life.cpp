// The owner's server from registration to the end of the process, forks included.
#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <utility>

#include "platform/hosted/endpoint_name.h"
#include "platform/hosted/hosted_log.h"
#include "platform/hosted/log/router.h"
#include "platform/hosted/owner_endpoint.h"
#include "platform/hosted/owner_server.h"
#include "platform/hosted/runtime_dir.h"
#include "platform/hosted/spare_fd.h"

namespace hosted {
namespace {

constexpr uint32_t kDefaultTimeoutMs = 5000;  // of a service that names none

int CheckDescription(const IAMServiceDesc& desc)
{
    if (desc.name == nullptr || *desc.name == '\0' || desc.ops == nullptr) {
        HOSTED_LOG(kLogError, "a resource needs %s", "a name and its hooks");
        return EINVAL;
    }
    return strnlen(desc.name, kMaxNameSize + 1) <= kMaxNameSize ? 0 : ENAMETOOLONG;
}

}  // namespace

OwnerServer& OwnerServer::Instance()
{
    static OwnerServer* const server = new OwnerServer;
    return *server;
}

int OwnerServer::Register(const IAMServiceDesc& desc)
{
    int error = CheckDescription(desc);
    if (error != 0) {
        return error;
    }
    const std::string name = desc.name;  // may throw: ahead of the publishing
    {
        const Turn turn(turns_);
        error = stopping_.load() ? ESHUTDOWN : Publish(desc);
    }
    if (error != 0) {
        HOSTED_LOG(kLogError, "resource %.128s cannot be published in %s: %s", desc.name,
                   RuntimeDirPath().c_str(), strerror(error));
        return error;
    }
    log::Router::NameOwner(name);
    HOSTED_LOG(kLogInfo, "resource %.128s is published in %s", desc.name, RuntimeDirPath().c_str());
    return 0;
}

int OwnerServer::Publish(const IAMServiceDesc& desc)
{
    const Outcome<RuntimeDir> directory = PrepareRuntimeDir();
    if (!directory) {
        return directory.error;
    }
    Outcome<NameLock> lock = NameLock::Take(directory.value, desc.name);
    if (!lock) {
        return lock.error;
    }
    auto service = std::make_unique<OwnerService>(std::move(lock.value));
    service->name = desc.name;
    service->ops = *desc.ops;
    service->instance = NewInstance();
    if (const int error = StartOnce(); error != 0) {
        return error;
    }
    const uint32_t timeoutMs = desc.timeout == 0 ? kDefaultTimeoutMs : desc.timeout;
    return GoUp(directory.value, std::move(service), timeoutMs);
}

int OwnerServer::StartOnce()
{
    if (threads_.IsStarted()) {
        return 0;
    }
    if (const int error = threads_.Start(ThreadBody); error != 0) {
        return error;
    }
    UniqueFd spare = MakeSpareFd();
    const MutexLock lock(mutex_);
    spare_ = std::move(spare);
    exitHandler_.Install();
    return 0;
}

int OwnerServer::GoUp(const RuntimeDir& directory, std::unique_ptr<OwnerService> service,
                      uint32_t timeoutMs)
{
    {
        const MutexLock lock(mutex_);
        services_.reserve(services_.size() + 1);  // may throw: ahead of the publishing
    }
    const Endpoint endpoint{service->instance, timeoutMs, EndpointKind::kFile};
    Outcome<UniqueFd> listener = PublishAndListen(directory, service->name, endpoint);
    if (!listener) {
        return listener.error;
    }
    service->listener = std::move(listener.value);
    const int error = Serve(service);
    if (error != 0) {
        WithdrawEndpoint(directory, service->name, service->instance);
    }
    return error;
}

// Moved from at success alone. From then on the service stays, so that its threads need no lock to
// look at it.
int OwnerServer::Serve(std::unique_ptr<OwnerService>& service)
{
    const MutexLock lock(mutex_);
    const int error = threads_.Watch(service->listener.Get(), service.get(), true);
    if (error == 0) {
        services_.push_back(std::move(service));
    }
    return error;
}

void OwnerServer::Stop()
{
    const Turn turn(turns_);
    const Outcome<RuntimeDir> directory = OpenRuntimeDir();
    const MutexLock lock(mutex_);
    if (!exitHandler_.IsInstalled() || stopping_.exchange(true)) {
        return;
    }
    threads_.Stop();
    EndServices(directory ? &directory.value : nullptr);
    EndIdleConnections();
}

// The name's lock stays with the process: until it is gone nobody else may publish the name.
void OwnerServer::EndServices(const RuntimeDir* directory)
{
    for (const auto& service : services_) {
        if (directory != nullptr) {
            WithdrawEndpoint(*directory, service->name, service->instance);
        }
        service->listener.Reset();
    }
}

// A request that lies unread at the close is one that the client knows was not taken. No hook runs
// any more, the close hooks included. The others' threads see the end once they have answered.
void OwnerServer::EndIdleConnections()
{
    for (OwnerConnection* const connection : connections_) {
        if (connection->isParked.exchange(false)) {
            connection->fd.Reset();
        } else {
            shutdown(connection->fd.Get(), SHUT_RD);
        }
    }
}

void OwnerServer::WaitForHooks(std::chrono::steady_clock::time_point end)
{
    const MutexLock lock(mutex_);
    while (stopping_.load() && runningHooks_.load() > HooksOnThisThread()) {
        if (!hooksEnded_.WaitUntil(mutex_, end)) {
            return;
        }
    }
}

void OwnerServer::LockForFork() HOSTED_TSA(no_thread_safety_analysis)
{
    mutex_.lock();
    peers_.LockForFork();
}

void OwnerServer::UnlockAfterFork() HOSTED_TSA(no_thread_safety_analysis)
{
    peers_.UnlockAfterFork();
    mutex_.unlock();
}

// The services and connections are left where they are: the thread that forked may stand in a hook
// of one of them.
void OwnerServer::ForgetInChild() HOSTED_TSA(no_thread_safety_analysis)
{
    static auto* const leftServices = new std::vector<std::unique_ptr<OwnerService>>;
    static auto* const leftConnections = new std::unordered_set<OwnerConnection*>;
    for (auto& service : services_) {
        leftServices->push_back(std::move(service));
    }
    leftConnections->merge(connections_);
    connections_.clear();
    services_.clear();
    peers_.ForgetInChild();
    stopping_.store(false);
    const int staying = HooksOnThisThread();  // of all threads only the one that forked is here
    threads_.ForgetInChild(staying);
    runningHooks_.store(staying);
    callbacks_.Set(staying);
    lookUps_.Set(0);
    turns_.Forget();
}

}  // namespace hosted
