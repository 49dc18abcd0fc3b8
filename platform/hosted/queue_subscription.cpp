#include "platform/hosted/queue_subscription.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <exception>
#include <new>
#include <thread>
#include <utility>

#include "platform/hosted/detached_thread.h"
#include "platform/hosted/hosted_log.h"
#include "platform/hosted/queue_end_watch.h"
#include "platform/hosted/queue_pause.h"

namespace hosted {
namespace {

// Between attempts on an owner that is up and cannot or will not let us in.
constexpr int kShortestPauseMs = 1000;
constexpr int kLongestPauseMs = 60000;

// What ends without the owner's doing, and may do so at any moment.
bool IsOwnShortage(int error)
{
    return error == ENOMEM || error == EMFILE || error == ENFILE;
}

struct ReaderSystem {
    static std::chrono::steady_clock::time_point Now() { return std::chrono::steady_clock::now(); }
    static void Nap(std::chrono::microseconds time) { std::this_thread::sleep_for(time); }
    void Sleep() const { link->Sleep(*isClosing); }

    QueueLink* link;
    const std::atomic<bool>* isClosing;
};

}  // namespace

// What wakes the reader comes first: without it no owner need be asked.
Outcome<std::shared_ptr<QueueSubscription>> QueueSubscription::Open(std::string name,
                                                                    Deliveries& deliveries)
{
    using Opened = Outcome<std::shared_ptr<QueueSubscription>>;
    UniqueFd wake = UniqueFd::Make([] { return eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK); });
    if (!wake) {
        return Opened::Failed(errno);
    }
    QueueLink::Opened link = QueueLink::Open(name);
    if (!link) {
        return Opened::Failed(link.error);
    }
    return Succeeded(std::make_shared<QueueSubscription>(std::move(name), std::move(wake),
                                                         std::move(link.value), deliveries));
}

QueueSubscription::QueueSubscription(std::string name, UniqueFd wake,
                                     std::shared_ptr<QueueLink> link, Deliveries& deliveries)
    : name_(std::move(name)),
      deliveries_(deliveries),
      wake_(std::move(wake)),
      link_(std::move(link))
{
}

int QueueSubscription::StartReading(const std::shared_ptr<QueueSubscription>& self, int number,
                                    Callback callback)
{
    if (self->isReading_.exchange(true)) {
        return EALREADY;
    }
    self->number_ = number;
    self->callback_ = callback;
    int error = ENOMEM;
    try {
        self->entry_.reserve(kMaxBlockSize);
        error = EndWatch::Instance().Watch(self->CurrentLink());
        if (error == 0) {
            error = StartDetached("ownerlink-read", [self] { self->Run(); });
        }
    } catch (const std::bad_alloc&) {
        error = ENOMEM;
    }
    if (error != 0) {
        self->isReading_.store(false);
    }
    return error;
}

void QueueSubscription::Close()
{
    isClosing_.store(true);
    const std::shared_ptr<QueueLink> link = CurrentLink();
    link->ShutDown();
    link->Interrupt();
    const uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = write(wake_.Get(), &one, sizeof one);
}

std::shared_ptr<QueueLink> QueueSubscription::CurrentLink()
{
    const MutexLock lock(mutex_);
    return link_;
}

void QueueSubscription::Run()
{
    while (true) {
        const std::shared_ptr<QueueLink> link = CurrentLink();
        ReadLife(*link);
        if (isClosing_.load()) {
            return;
        }
        link->ShutDown();
        HOSTED_LOG(kLogWarning, "the owner of %.128s is gone: its events go on with its next life",
                   name_.c_str());
        AttachToNextLife(link->Instance());
    }
}

// What the owner wrote before it died is still delivered.
void QueueSubscription::ReadLife(QueueLink& link)
{
    QueuePause pause(ReaderSystem{&link, &isClosing_});
    while (!isClosing_.load()) {
        const bool hadEnded = link.HasEnded();  // ahead of the look at the ring
        QueueLink::NextEnd next = link.Next(entry_);
        if (next == QueueLink::NextEnd::kEntry) {
            next = DeliverWaiting(link);
            pause.NoteEntry();
        }
        if (next == QueueLink::NextEnd::kBroken) {
            HOSTED_LOG(kLogError, "the owner of %.128s has written what cannot be", name_.c_str());
            return;
        }
        if (next == QueueLink::NextEnd::kNothing) {
            if (hadEnded) {
                return;
            }
            pause.Await();
        }
    }
}

// The entry at hand and all behind it are one delivery to whoever waits for those that run: each
// look at `isClosing_` comes after its begin. What ended it; kEntry when that was the close.
QueueLink::NextEnd QueueSubscription::DeliverWaiting(QueueLink& link)
{
    auto next = QueueLink::NextEnd::kEntry;
    deliveries_.Begin();
    while (next == QueueLink::NextEnd::kEntry && !isClosing_.load()) {
        Deliver();
        if (isClosing_.load()) {
            break;  // ahead of the ring: a child that was forked by the callback has none
        }
        next = link.Next(entry_);
    }
    deliveries_.End();
    return next;
}

void QueueSubscription::Deliver()
{
    try {
        callback_(number_, entry_.data(), entry_.size());
    } catch (const std::exception& error) {
        HOSTED_LOG(kLogError, "exception left the reader of %.128s: %s", name_.c_str(),
                   error.what());
    } catch (...) {
        HOSTED_LOG(kLogError, "exception left the reader of %.128s", name_.c_str());
    }
}

void QueueSubscription::AttachToNextLife(uint64_t former)
{
    NextLifeWatch watch;
    lastError_ = 0;
    pauseMs_ = kShortestPauseMs;
    while (!isClosing_.load()) {
        bool isWatching = false;
        const int error = TryNextLife(former, watch, &isWatching);
        if (error == 0) {
            HOSTED_LOG(kLogWarning, "the owner of %.128s is back: its events go on", name_.c_str());
            return;
        }
        watch.Wait(wake_.Get(), PauseAfter(error, isWatching));
        // The same life again, if it is one: it has ended this subscription alone.
        former = error == ESTALE ? 0 : former;
    }
}

int QueueSubscription::TryNextLife(uint64_t former, NextLifeWatch& watch, bool* isWatching)
{
    try {
        *isWatching = watch.Renew();
        QueueLink::Opened next = QueueLink::Open(name_, former);
        if (!next) {
            return next.error;
        }
        {
            const MutexLock lock(mutex_);
            link_ = std::move(next.value);
        }
        return EndWatch::Instance().Watch(CurrentLink());
    } catch (const std::bad_alloc&) {
        return ENOMEM;
    }
}

// How long to wait for a sign: for ever when no owner is up, for a while when it turns us away.
int QueueSubscription::PauseAfter(int error, bool isWatching)
{
    if (error == ENOENT && isWatching) {
        return -1;
    }
    if (error != lastError_ && error != ESTALE && error != ENOENT) {
        HOSTED_LOG(kLogError, "the owner of %.128s does not let this process in: %s", name_.c_str(),
                   strerror(error));
        lastError_ = error;
    }
    if (IsOwnShortage(error)) {
        return kShortestPauseMs;
    }
    return std::exchange(pauseMs_, std::min(2 * pauseMs_, kLongestPauseMs));
}

}  // namespace hosted
