#include "platform/hosted/pipe_table.h"

#include <cerrno>
#include <utility>

namespace hosted {

PipeTable& PipeTable::Instance()
{
    static auto* const table = new PipeTable;
    return *table;
}

Outcome<int> PipeTable::Insert(PipeSlot& slot)
{
    const MutexLock lock(mutex_);
    if (slot.listener != nullptr && stopping_) {
        return Outcome<int>::Failed(ESHUTDOWN);
    }
    if (open_ == slots_.size()) {
        slots_.push_back(std::make_unique<PipeSlot>());  // may throw: ahead of the number
    }
    const std::optional<int> number = numbers_.TakeLowest();
    if (!number) {
        return Outcome<int>::Failed(EMFILE);
    }
    if (slot.listener != nullptr) {
        exitHandler_.Install();
    }
    *slots_[static_cast<size_t>(*number)] = std::move(slot);
    ++open_;
    return Succeeded(NumberOf({DescriptorRange::kPipe, *number}));
}

Refusal PipeTable::CheckPeer(const PipeOrigin& origin)
{
    const MutexLock lock(mutex_);
    int ofProcess = 0;
    int ofUser = 0;
    for (const auto& slot : slots_) {
        if (slot->pipe == nullptr || slot->pipe->Origin().listener != origin.listener ||
            slot->pipe->Origin().peer.user != origin.peer.user) {
            continue;
        }
        ++ofUser;
        ofProcess += slot->pipe->Origin().peer.process == origin.peer.process ? 1 : 0;
    }
    if (ofProcess >= kPipesPerProcess) {
        return {"process", kPipesPerProcess, ofProcess, true};
    }
    if (ofUser >= kPipesPerUser && origin.peer.user != geteuid()) {
        return {"user", kPipesPerUser, ofUser, false};
    }
    return {};
}

PipeSlot* PipeTable::Find(int number)
{
    const std::optional<DescriptorPlace> place = PlaceOf(number);
    if (!place || place->range != DescriptorRange::kPipe) {
        return nullptr;
    }
    const auto index = static_cast<size_t>(place->slot);
    return index < slots_.size() && slots_[index]->IsOpen() ? slots_[index].get() : nullptr;
}

PipeSlot* PipeTable::BeginCall(int number)
{
    const MutexLock lock(mutex_);
    PipeSlot* const slot = Find(number);
    if (slot != nullptr) {
        ++slot->calls;
    }
    return slot;
}

void PipeTable::EndCall(PipeSlot& slot)
{
    const MutexLock lock(mutex_);
    --slot.calls;
}

Outcome<PipeSlot> PipeTable::Remove(int number)
{
    const MutexLock lock(mutex_);
    PipeSlot* const slot = Find(number);
    if (slot == nullptr || slot->calls > 0) {
        return Outcome<PipeSlot>::Failed(slot == nullptr ? EBADF : EBUSY);
    }
    numbers_.Release(PlaceOf(number)->slot);
    --open_;
    return Succeeded(std::exchange(*slot, PipeSlot{}));
}

void PipeTable::Stop()
{
    const Outcome<RuntimeDir> directory = OpenRuntimeDir();
    const MutexLock lock(mutex_);
    if (!exitHandler_.IsInstalled() || std::exchange(stopping_, true)) {
        return;
    }
    for (const auto& slot : slots_) {
        if (directory && slot->listener != nullptr) {
            slot->listener->Withdraw(directory.value);
        }
    }
}

void PipeTable::LockForFork() HOSTED_TSA(no_thread_safety_analysis)
{
    mutex_.lock();
}

void PipeTable::UnlockAfterFork() HOSTED_TSA(no_thread_safety_analysis)
{
    mutex_.unlock();
}

// The pipes are left where they are: threads that the child does not have may wait in them.
void PipeTable::ForgetInChild() HOSTED_TSA(no_thread_safety_analysis)
{
    static auto* const left = new std::vector<std::unique_ptr<PipeSlot>>;
    for (auto& slot : slots_) {
        left->push_back(std::move(slot));
    }
    slots_.clear();
    numbers_ = {};
    open_ = 0;
    stopping_ = false;
}

}  // namespace hosted
