#include "bench/allocations.h"

#include <cstdlib>
#include <new>

namespace {

thread_local std::size_t allocations = 0;

void* Allocate(std::size_t size)
{
    ++allocations;
    return std::malloc(size != 0 ? size : 1);
}

void* AllocateOrThrow(std::size_t size)
{
    void* const address = Allocate(size);
    if (address == nullptr) {
        throw std::bad_alloc();
    }
    return address;
}

}  // namespace

size_t bench::AllocationsOfThisThread()
{
    return allocations;
}

void* operator new(std::size_t size)
{
    return AllocateOrThrow(size);
}

void* operator new[](std::size_t size)
{
    return AllocateOrThrow(size);
}

void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept
{
    return Allocate(size);
}

void* operator new[](std::size_t size, const std::nothrow_t& /*tag*/) noexcept
{
    return Allocate(size);
}

void operator delete(void* address) noexcept
{
    std::free(address);
}

void operator delete[](void* address) noexcept
{
    std::free(address);
}

void operator delete(void* address, std::size_t /*size*/) noexcept
{
    std::free(address);
}

void operator delete[](void* address, std::size_t /*size*/) noexcept
{
    std::free(address);
}
