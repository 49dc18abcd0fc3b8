#include "platform/hosted/queue_service.h"

#include <poll.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <exception>
#include <utility>

#include "platform/hosted/detached_thread.h"
#include "platform/hosted/hosted_log.h"
#include "platform/hosted/queue_store.h"
#include "platform/hosted/runtime_dir.h"
#include "platform/hosted/spare_fd.h"

namespace hosted {
namespace {

constexpr int kShortagePauseMs = 100;

thread_local bool isOnThread = false;

bool IsShortage(int error)
{
    return error == EMFILE || error == ENFILE || error == ENOBUFS || error == ENOMEM;
}

void SendVerdict(const UniqueFd& socket, int error)
{
    QueueMessage verdict;
    verdict.kind = QueueMessageKind::kVerdict;
    verdict.error = error;
    SendQueueMessage(socket.Get(), verdict);
}

bool HasEnded(const UniqueFd& socket)
{
    char byte = 0;
    const ssize_t received = recv(socket.Get(), &byte, 1, MSG_PEEK | MSG_DONTWAIT);
    return received == 0 || (received < 0 && errno != EAGAIN && errno != EINTR);
}

}  // namespace

QueueService::QueueService(NameLock lock, const IAMQueueServiceDesc& desc, uint64_t instance)
    : name_(desc.name), ops_(*desc.ops), instance_(instance), lock_(std::move(lock))
{
}

int QueueService::Start(UniqueFd listener, std::function<void()> onEnd)
{
    epoll_ = UniqueFd::Make([] { return epoll_create1(EPOLL_CLOEXEC); });
    stopEvent_ = UniqueFd::Make([] { return eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK); });
    if (!epoll_ || !stopEvent_) {
        return errno;
    }
    listener_ = std::move(listener);
    spare_ = MakeSpareFd();
    for (const int fd : {listener_.Get(), stopEvent_.Get()}) {
        if (const int error = Watch(fd); error != 0) {
            return error;
        }
    }
    return StartDetached("ownerlink-queue", [this, onEnd = std::move(onEnd)] {
        Run();
        onEnd();
    });
}

bool QueueService::IsOnThread()
{
    return isOnThread;
}

void QueueService::Stop()
{
    stopping_.store(true);
    const uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = write(stopEvent_.Get(), &one, sizeof one);
}

// 0 or an errno number.
int QueueService::Watch(int fd) const
{
    epoll_event event = {};
    event.events = EPOLLIN | EPOLLRDHUP;
    event.data.fd = fd;
    return epoll_ctl(epoll_.Get(), EPOLL_CTL_ADD, fd, &event) == 0 ? 0 : errno;
}

// A subscriber's memory is freed at the end of the service too; its close hook is not run.
void QueueService::Run()
{
    isOnThread = true;
    while (!stopping_.load()) {
        epoll_event event = {};
        const int ready = epoll_wait(epoll_.Get(), &event, 1, -1);
        if (ready < 0 && errno != EINTR) {
            break;
        }
        if (ready > 0 && !stopping_.load()) {
            Serve(event.data.fd);
        }
    }
    listener_.Reset();
    for (const auto& [fd, subscriber] : subscribers_) {
        QueueStore::Instance().RemoveQueue(subscriber->queue);
    }
    subscribers_.clear();
}

void QueueService::Serve(int fd)
{
    try {
        if (fd == listener_.Get()) {
            AcceptOne();
            return;
        }
        const auto found = subscribers_.find(fd);
        if (found != subscribers_.end()) {
            Receive(*found->second);
        }
    } catch (const std::bad_alloc&) {
        HOSTED_LOG(kLogError, "a subscription to %.128s is lost: no memory", name_.c_str());
        const auto found = subscribers_.find(fd);
        if (found != subscribers_.end()) {
            Refuse(*found->second, EBUSY);
        }
    }
}

UniqueFd QueueService::Accept() const
{
    return UniqueFd::Make([&] { return accept4(listener_.Get(), nullptr, nullptr, SOCK_CLOEXEC); });
}

void QueueService::AcceptOne()
{
    UniqueFd socket = Accept();
    if (!socket) {
        if (IsShortage(errno)) {
            ShedOne();
        }
        return;
    }
    try {
        Admit(socket);
    } catch (const std::bad_alloc&) {
        SendVerdict(socket, EBUSY);
        throw;
    }
}

// Left alone the subscriber would stay in the backlog and wake the thread for ever.
void QueueService::ShedOne()
{
    HOSTED_LOG(kLogError, "subscription to %.128s refused: no descriptor left in this process",
               name_.c_str());
    spare_.Reset();
    {
        const UniqueFd shed = Accept();
        if (shed) {
            SendVerdict(shed, EBUSY);
        } else {
            poll(nullptr, 0, kShortagePauseMs);  // somebody else took the spare one
        }
    }
    spare_ = MakeSpareFd();
}

void QueueService::Admit(UniqueFd& socket)
{
    const PeerCredentials peer = CredentialsOf(socket.Get());
    if (!MayConnect(socket.Get(), peer, group_)) {
        HOSTED_LOG(kLogError,
                   "subscription to %.128s refused: process %d of user %u is not permitted",
                   name_.c_str(), peer.process, peer.user);
        SendVerdict(socket, EACCES);
        return;
    }
    if (CheckLimits(peer)) {
        EndDeadSubscribers();
    }
    if (const Refusal refusal = CheckLimits(peer)) {
        HOSTED_LOG(kLogError,
                   "subscription to %.128s refused: process %d of user %u, limit of %s %d, count "
                   "%d",
                   name_.c_str(), peer.process, peer.user, refusal.limitOf, refusal.limit,
                   refusal.count);
        SendVerdict(socket, EBUSY);
        return;
    }
    Keep(socket, peer);
}

void QueueService::Keep(UniqueFd& socket, const PeerCredentials& peer)
{
    const int fd = socket.Get();
    auto subscriber = std::make_unique<Subscriber>();
    subscriber->peer = peer;
    Subscriber& kept = *(subscribers_[fd] = std::move(subscriber));
    kept.socket = std::move(socket);
    if (const int error = Watch(fd); error != 0) {
        HOSTED_LOG(kLogError, "subscription of process %d to %.128s failed: %s", peer.process,
                   name_.c_str(), strerror(error));
        Refuse(kept, EBUSY);
    }
}

Refusal QueueService::CheckLimits(const PeerCredentials& peer) const
{
    const int all = static_cast<int>(subscribers_.size());
    int ofProcess = 0;
    int ofUser = 0;
    for (const auto& [fd, other] : subscribers_) {
        const bool isSameUser = other->peer.user == peer.user;
        ofUser += isSameUser ? 1 : 0;
        ofProcess += isSameUser && other->peer.process == peer.process ? 1 : 0;
    }
    if (ofProcess >= kSubscribersPerProcess) {
        return {"process", kSubscribersPerProcess, ofProcess, true};
    }
    if (peer.user != geteuid() && ofUser >= kSubscribersPerUser) {
        return {"user", kSubscribersPerUser, ofUser, false};
    }
    if (all >= kSubscribersPerQueue) {
        return {"queue", kSubscribersPerQueue, all, false};
    }
    return {};
}

// Those whose end the thread has not come to see yet must not keep a living one out.
void QueueService::EndDeadSubscribers()
{
    std::vector<Subscriber*> dead;
    for (const auto& [fd, subscriber] : subscribers_) {
        if (HasEnded(subscriber->socket)) {
            dead.push_back(subscriber.get());
        }
    }
    for (Subscriber* const subscriber : dead) {
        End(*subscriber);
    }
}

void QueueService::Receive(Subscriber& subscriber)
{
    QueueMessage message;
    const QueueReceived received = ReceiveQueueMessage(subscriber.socket.Get(), &message, nullptr);
    if (received == QueueReceived::kNothing) {
        return;
    }
    if (received == QueueReceived::kEnd) {
        End(subscriber);
        return;
    }
    const bool isHello = received == QueueReceived::kMessage && !subscriber.hasGreeted &&
                         message.kind == QueueMessageKind::kHello;
    if (!isHello) {
        HOSTED_LOG(kLogError, "garbage from process %d of user %u: subscription to %.128s ended",
                   subscriber.peer.process, subscriber.peer.user, name_.c_str());
        End(subscriber);
        return;
    }
    subscriber.hasGreeted = true;
    const int error = message.version == kProtocolVersion ? Open(subscriber) : EPROTO;
    if (error != 0) {
        Refuse(subscriber, error);
    }
}

// The ring goes out ahead of the open hook: from within it the host may enqueue already.
int QueueService::Open(Subscriber& subscriber)
{
    if (const int error = MakeQueue(subscriber); error != 0) {
        HOSTED_LOG(kLogError, "subscription of process %d to %.128s failed: %s",
                   subscriber.peer.process, name_.c_str(), strerror(error));
        return EBUSY;
    }
    subscriber.file = TakeFile(subscriber.queue);
    if (RunHook(ops_.open, *subscriber.file, "open") < 0) {
        return EIO;
    }
    SendVerdict(subscriber.socket, 0);
    HOSTED_LOG(kLogInfo, "process %d of user %u has subscribed to %.128s", subscriber.peer.process,
               subscriber.peer.user, name_.c_str());
    return 0;
}

int QueueService::MakeQueue(Subscriber& subscriber)
{
    Outcome<SharedMemory> ring =
        MakeSharedMemory("ownerlink-ring", RingBytes(kRingSlots), SharedWriters::kBoth);
    if (!ring) {
        return ring.error;
    }
    QueueMessage message;
    message.kind = QueueMessageKind::kRing;
    message.count = kRingSlots;
    const int socket = subscriber.socket.Get();
    if (const int error = SendQueueMessage(socket, message, ring.value.fd.Get()); error != 0) {
        return error;
    }
    subscriber.queue = QueueStore::Instance().AddQueue(
        std::make_unique<QueueOutlet>(std::move(ring.value.mapping), socket));
    return 0;
}

// A record is the host's until a close hook has answered 0, and no word of it changes before.
IamQfsMgrFile* QueueService::TakeFile(void* queue)
{
    if (unusedFiles_.empty()) {
        unusedFiles_.reserve(files_.size() + 1);
        files_.push_back(std::make_unique<IamQfsMgrFile>());
        unusedFiles_.push_back(files_.back().get());
    }
    IamQfsMgrFile* const file = unusedFiles_.back();
    unusedFiles_.pop_back();
    *file = {nullptr, name_.c_str(), nullptr, queue};
    return file;
}

// An exception counts as -1.
int QueueService::RunHook(Hook hook, IamQfsMgrFile& file, const char* which) const
{
    try {
        return hook(&file);
    } catch (const std::exception& error) {
        HOSTED_LOG(kLogError, "exception left the %s hook of %.128s: %s", which, name_.c_str(),
                   error.what());
    } catch (...) {
        HOSTED_LOG(kLogError, "exception left the %s hook of %.128s", which, name_.c_str());
    }
    return -1;
}

void QueueService::Refuse(Subscriber& subscriber, int error)
{
    Close(subscriber);
    SendVerdict(subscriber.socket, error);
    subscribers_.erase(subscriber.socket.Get());
}

void QueueService::End(Subscriber& subscriber)
{
    Close(subscriber);
    subscribers_.erase(subscriber.socket.Get());
}

// The queue goes after the hook: until the host has forgotten the file, a report to it is no
// failure.
void QueueService::Close(Subscriber& subscriber)
{
    const pid_t process = subscriber.peer.process;
    if (subscriber.queue == nullptr) {
        return;
    }
    IamQfsMgrFile* const file = std::exchange(subscriber.file, nullptr);
    const bool mayRunHook = file != nullptr && !stopping_.load();
    const bool isForgotten = mayRunHook && RunHook(ops_.close, *file, "close") == 0;
    if (QueueStore::Instance().RemoveQueue(subscriber.queue)) {
        HOSTED_LOG(kLogError, "ring of %.128s corrupted by process %d: subscription ended",
                   name_.c_str(), process);
    }
    if (isForgotten) {
        unusedFiles_.push_back(file);
    }
    HOSTED_LOG(kLogInfo, "the subscription of process %d to %.128s has ended", process,
               name_.c_str());
}

}  // namespace hosted
