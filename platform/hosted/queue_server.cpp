#include "platform/hosted/queue_server.h"

#include <cerrno>
#include <cstring>
#include <new>
#include <utility>

#include "platform/hosted/endpoint_name.h"
#include "platform/hosted/hosted_log.h"
#include "platform/hosted/owner_endpoint.h"

namespace hosted {
namespace {

constexpr uint32_t kDefaultTimeoutMs = 5000;  // of a queue that names none

int CheckDescription(const IAMQueueServiceDesc& desc)
{
    const bool hasHooks =
        desc.ops != nullptr && desc.ops->open != nullptr && desc.ops->close != nullptr;
    if (desc.name == nullptr || *desc.name == '\0' || !hasHooks) {
        HOSTED_LOG(kLogError, "a queue needs %s", "a name, an open hook and a close hook");
        return EINVAL;
    }
    return strnlen(desc.name, kMaxNameSize + 1) <= kMaxNameSize ? 0 : ENAMETOOLONG;
}

}  // namespace

QueueServer& QueueServer::Instance()
{
    static auto* const server = new QueueServer;
    return *server;
}

int QueueServer::Register(const IAMQueueServiceDesc& desc)
{
    int error = CheckDescription(desc);
    if (error != 0) {
        return error;
    }
    {
        const Turn turn(turns_);
        error = IsStopping() ? ESHUTDOWN : Publish(desc);
    }
    if (error != 0) {
        HOSTED_LOG(kLogError, "queue %.128s cannot be published in %s: %s", desc.name,
                   RuntimeDirPath().c_str(), strerror(error));
        return error;
    }
    HOSTED_LOG(kLogInfo, "queue %.128s is published in %s", desc.name, RuntimeDirPath().c_str());
    return 0;
}

int QueueServer::Publish(const IAMQueueServiceDesc& desc)
{
    const Outcome<RuntimeDir> directory = PrepareRuntimeDir();
    if (!directory) {
        return directory.error;
    }
    Outcome<NameLock> lock = NameLock::Take(directory.value, desc.name);
    if (!lock) {
        return lock.error;
    }
    auto service = std::make_unique<QueueService>(std::move(lock.value), desc, NewInstance());
    const uint32_t timeoutMs = desc.timeout == 0 ? kDefaultTimeoutMs : desc.timeout;
    return GoUp(directory.value, std::move(service), timeoutMs);
}

int QueueServer::GoUp(const RuntimeDir& directory, std::unique_ptr<QueueService> service,
                      uint32_t timeoutMs)
{
    {
        const MutexLock lock(mutex_);
        services_.reserve(services_.size() + 1);  // may throw: ahead of the publishing
    }
    const Endpoint endpoint{service->Instance(), timeoutMs, EndpointKind::kQueue};
    Outcome<UniqueFd> listener = PublishAndListen(directory, service->Name(), endpoint);
    if (!listener) {
        return listener.error;
    }
    return Serve(directory, std::move(service), std::move(listener.value));
}

int QueueServer::Serve(const RuntimeDir& directory, std::unique_ptr<QueueService> service,
                       UniqueFd listener)
{
    {
        const MutexLock lock(mutex_);
        ++running_;
        exitHandler_.Install();
    }
    int error = 0;
    try {
        error = service->Start(std::move(listener), [this] { NoteEndOfService(); });
    } catch (const std::bad_alloc&) {
        error = ENOMEM;
    }
    if (error != 0) {
        WithdrawEndpoint(directory, service->Name(), service->Instance());
        NoteEndOfService();
        return error;
    }
    const MutexLock lock(mutex_);
    services_.push_back(std::move(service));
    return 0;
}

void QueueServer::NoteEndOfService()
{
    const MutexLock lock(mutex_);
    --running_;
    changed_.NotifyAll();
}

bool QueueServer::IsStopping()
{
    const MutexLock lock(mutex_);
    return stopping_;
}

void QueueServer::Stop()
{
    const Turn turn(turns_);
    const Outcome<RuntimeDir> directory = OpenRuntimeDir();
    const MutexLock lock(mutex_);
    if (!exitHandler_.IsInstalled() || std::exchange(stopping_, true)) {
        return;
    }
    for (const auto& service : services_) {
        if (directory) {
            WithdrawEndpoint(directory.value, service->Name(), service->Instance());
        }
        service->Stop();
    }
}

void QueueServer::WaitForHooks(std::chrono::steady_clock::time_point end)
{
    const MutexLock lock(mutex_);
    while (stopping_ && running_ > (QueueService::IsOnThread() ? 1 : 0)) {
        if (!changed_.WaitUntil(mutex_, end)) {
            return;
        }
    }
}

void QueueServer::LockForFork() HOSTED_TSA(no_thread_safety_analysis)
{
    mutex_.lock();
}

void QueueServer::UnlockAfterFork() HOSTED_TSA(no_thread_safety_analysis)
{
    mutex_.unlock();
}

// The services are left where they are: the thread that forked may stand in a hook of one of them.
void QueueServer::ForgetInChild() HOSTED_TSA(no_thread_safety_analysis)
{
    static auto* const left = new std::vector<std::unique_ptr<QueueService>>;
    for (auto& service : services_) {
        service->ForgetInChild();
        left->push_back(std::move(service));
    }
    services_.clear();
    turns_.Forget();
    stopping_ = false;
    running_ = QueueService::IsOnThread() ? 1 : 0;  // of all only the one whose hook has forked
}

}  // namespace hosted
