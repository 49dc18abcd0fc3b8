#include "tests/client/array_heap.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<const void*> watched{nullptr};

std::function<void()>& Reaction()
{
    static std::function<void()>& reaction = *new std::function<void()>;
    return reaction;
}

void Free(void* address)
{
    const void* expected = address;
    if (address != nullptr && watched.compare_exchange_strong(expected, nullptr)) {
        Reaction()();
    }
    std::free(address);
}

}  // namespace

void WatchArray(const void* address, std::function<void()> whenFreed)
{
    Reaction() = std::move(whenFreed);
    watched = address;
}

// All forms, so that none of them meets another allocator's memory.
void* operator new[](std::size_t size)
{
    void* const address = std::malloc(size);
    if (address == nullptr) {
        throw std::bad_alloc();
    }
    return address;
}

void* operator new[](std::size_t size, const std::nothrow_t& /*tag*/) noexcept
{
    return std::malloc(size);
}

void operator delete[](void* address) noexcept
{
    Free(address);
}

void operator delete[](void* address, std::size_t /*size*/) noexcept
{
    Free(address);
}

void operator delete[](void* address, const std::nothrow_t& /*tag*/) noexcept
{
    Free(address);
}
