#include "platform/hosted/queue_client.h"

#include <algorithm>
#include <cerrno>
#include <new>
#include <string>
#include <utility>

namespace hosted {
namespace {

thread_local int deliveriesOnThisThread = 0;

bool IsQueueNumber(int number)
{
    const std::optional<DescriptorPlace> place = PlaceOf(number);
    return place && place->range == DescriptorRange::kQueue;
}

}  // namespace

QueueClient& QueueClient::Instance()
{
    static auto* const client = new QueueClient;
    return *client;
}

Outcome<int> QueueClient::Open(std::string_view name)
{
    Outcome<SubscriptionPointer> subscription = QueueSubscription::Open(std::string(name), *this);
    if (!subscription) {
        return Outcome<int>::Failed(subscription.error);
    }
    const MutexLock lock(mutex_);
    const std::optional<int> slot = slots_.TakeLowest();
    if (!slot) {
        return Outcome<int>::Failed(EMFILE);
    }
    const auto index = static_cast<size_t>(*slot);
    try {
        subscriptions_.resize(std::max(subscriptions_.size(), index + 1));
    } catch (const std::bad_alloc&) {
        slots_.Release(*slot);
        throw;
    }
    subscriptions_[index] = std::move(subscription.value);
    return Succeeded(NumberOf({DescriptorRange::kQueue, *slot}));
}

QueueClient::SubscriptionPointer* QueueClient::PlaceIn(int number)
{
    if (!IsQueueNumber(number)) {
        return nullptr;
    }
    const auto index = static_cast<size_t>(PlaceOf(number)->slot);
    const bool isOpen = index < subscriptions_.size() && subscriptions_[index] != nullptr;
    return isOpen ? &subscriptions_[index] : nullptr;
}

QueueClient::SubscriptionPointer QueueClient::Find(int number)
{
    const MutexLock lock(mutex_);
    const SubscriptionPointer* const found = PlaceIn(number);
    return found != nullptr ? *found : nullptr;
}

QueueClient::SubscriptionPointer QueueClient::Remove(int number)
{
    const MutexLock lock(mutex_);
    SubscriptionPointer* const found = PlaceIn(number);
    if (found == nullptr) {
        return nullptr;
    }
    slots_.Release(PlaceOf(number)->slot);
    return std::exchange(*found, nullptr);
}

int QueueClient::Close(int number)
{
    // Files are closed through here too, and need not take the lock.
    const SubscriptionPointer removed = IsQueueNumber(number) ? Remove(number) : nullptr;
    if (removed == nullptr) {
        return EBADF;
    }
    removed->Close();
    return 0;
}

int QueueClient::ReadAsync(int number, QueueSubscription::Callback callback)
{
    const SubscriptionPointer found = Find(number);
    if (found == nullptr) {
        return EBADF;
    }
    if (!MayRead()) {
        return ESHUTDOWN;
    }
    return QueueSubscription::StartReading(found, number, callback);
}

// Not when it is too late for the exit to stop it.
bool QueueClient::MayRead()
{
    const MutexLock lock(mutex_);
    exitHandler_.Install();
    return !stopping_.load();
}

// Counted ahead of the reader's look at whether it is closed, so that `Stop` either waits for the
// delivery or prevents it.
void QueueClient::Begin()
{
    running_.fetch_add(1);
    ++deliveriesOnThisThread;
}

void QueueClient::End()
{
    --deliveriesOnThisThread;
    running_.fetch_sub(1);
    if (stopping_.load()) {
        const MutexLock lock(mutex_);
        deliveryEnded_.NotifyAll();
    }
}

void QueueClient::Stop()
{
    const MutexLock lock(mutex_);
    if (!exitHandler_.IsInstalled() || stopping_.exchange(true)) {
        return;
    }
    for (const SubscriptionPointer& subscription : subscriptions_) {
        if (subscription != nullptr) {
            subscription->Close();
        }
    }
}

void QueueClient::WaitForDeliveries(std::chrono::steady_clock::time_point end)
{
    const MutexLock lock(mutex_);
    while (stopping_.load() && running_.load() > deliveriesOnThisThread) {
        if (!deliveryEnded_.WaitUntil(mutex_, end)) {
            return;
        }
    }
}

void QueueClient::LockForFork() HOSTED_TSA(no_thread_safety_analysis)
{
    mutex_.lock();
}

void QueueClient::UnlockAfterFork() HOSTED_TSA(no_thread_safety_analysis)
{
    mutex_.unlock();
}

// The subscriptions are left where they are: the thread that forked may stand in a delivery.
void QueueClient::ForgetInChild() HOSTED_TSA(no_thread_safety_analysis)
{
    static auto* const left = new std::vector<SubscriptionPointer>;
    for (SubscriptionPointer& subscription : subscriptions_) {
        if (subscription != nullptr) {
            subscription->ForgetInChild();
            left->push_back(std::move(subscription));
        }
    }
    subscriptions_.clear();
    slots_ = {};
    running_.store(deliveriesOnThisThread);  // of all threads only the one that forked is here
    stopping_.store(false);
}

}  // namespace hosted
