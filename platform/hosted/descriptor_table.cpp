#include "platform/hosted/descriptor_table.h"

#include <cerrno>
#include <new>
#include <utility>

namespace hosted {

Outcome<int> DescriptorTable::Insert(DescriptorRange range, OpenFile file)
{
    const MutexLock lock(mutex_);
    Range& entries = ranges_[IndexOf(range)];
    const std::optional<int> slot = entries.slots.TakeLowest();
    if (!slot) {
        return Outcome<int>::Failed(EMFILE);
    }
    const auto index = static_cast<size_t>(*slot);
    try {
        while (index >= entries.descriptors.size()) {
            entries.descriptors.push_back(std::make_unique<Descriptor>());
        }
    } catch (const std::bad_alloc&) {
        entries.slots.Release(*slot);
        throw;
    }
    Descriptor& descriptor = *entries.descriptors[index];
    descriptor.file = std::move(file);
    descriptor.timeoutMs = -1;
    descriptor.isOpen = true;
    return Succeeded(NumberOf({range, *slot}));
}

Descriptor* DescriptorTable::Find(int number)
{
    const std::optional<DescriptorPlace> place = PlaceOf(number);
    if (!place || !IsFileRange(place->range)) {
        return nullptr;
    }
    const Range& entries = ranges_[IndexOf(place->range)];
    const auto index = static_cast<size_t>(place->slot);
    if (index >= entries.descriptors.size()) {
        return nullptr;
    }
    Descriptor* descriptor = entries.descriptors[index].get();
    return descriptor->isOpen && !descriptor->isClosing ? descriptor : nullptr;
}

Outcome<DescriptorTable::Call> DescriptorTable::BeginCall(int number, std::optional<int> limitMs)
{
    const MutexLock lock(mutex_);
    Descriptor* const descriptor = Find(number);
    if (descriptor == nullptr) {
        return Outcome<Call>::Failed(EBADF);
    }
    const int64_t ownMs =
        descriptor->timeoutMs < 0 ? descriptor->file.life->timeoutMs : descriptor->timeoutMs;
    Call call{descriptor, Deadline(limitMs ? *limitMs : ownMs), descriptor->isBusy};
    ++descriptor->waiting;
    bool inTime = true;
    while (inTime && descriptor->isBusy && !descriptor->isClosing) {
        inTime = callEnded_.WaitUntil(mutex_, call.deadline.End());
    }
    --descriptor->waiting;
    if (descriptor->isClosing) {
        callEnded_.NotifyAll();  // the close waits for us too
        return Outcome<Call>::Failed(EBADF);
    }
    if (descriptor->isBusy) {
        return Outcome<Call>::Failed(ETIMEDOUT);
    }
    descriptor->isBusy = true;
    return Succeeded(call);
}

void DescriptorTable::EndCall(Descriptor& descriptor)
{
    const MutexLock lock(mutex_);
    descriptor.isBusy = false;
    if (descriptor.waiting > 0 || descriptor.isClosing) {
        callEnded_.NotifyAll();
    }
}

Outcome<OpenFile> DescriptorTable::Remove(int number)
{
    const MutexLock lock(mutex_);
    Descriptor* const descriptor = Find(number);
    if (descriptor == nullptr) {
        return Outcome<OpenFile>::Failed(EBADF);
    }
    descriptor->isClosing = true;
    if (descriptor->waiting > 0) {
        callEnded_.NotifyAll();
    }
    while (descriptor->isBusy || descriptor->waiting > 0) {
        callEnded_.Wait(mutex_);
    }
    descriptor->isClosing = false;
    descriptor->isOpen = false;
    OpenFile file = std::exchange(descriptor->file, OpenFile{});
    const DescriptorPlace place = *PlaceOf(number);
    ranges_[IndexOf(place.range)].slots.Release(place.slot);
    return Succeeded(std::move(file));
}

int DescriptorTable::SetTimeout(int number, int timeoutMs)
{
    const MutexLock lock(mutex_);
    Descriptor* const descriptor = Find(number);
    if (descriptor == nullptr) {
        return EBADF;
    }
    if (!descriptor->isBusy && descriptor->file.lifeIsOver) {  // else the file is the call's
        return EPIPE;
    }
    descriptor->timeoutMs = timeoutMs;
    return 0;
}

void DescriptorTable::LockForFork() HOSTED_TSA(no_thread_safety_analysis)
{
    mutex_.lock();
}

void DescriptorTable::UnlockAfterFork() HOSTED_TSA(no_thread_safety_analysis)
{
    mutex_.unlock();
}

void DescriptorTable::ForgetInChild() HOSTED_TSA(no_thread_safety_analysis)
{
    ranges_ = {};
}

}  // namespace hosted
