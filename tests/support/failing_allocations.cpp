#include "tests/support/failing_allocations.h"

#include <cstdlib>
#include <new>

namespace {

// Which of this thread's next allocations fails.
thread_local int allocationsUntilFailure = kNoAllocation;

void* Allocate(size_t size)
{
    const bool fails = allocationsUntilFailure == 0;
    allocationsUntilFailure -= allocationsUntilFailure >= 0 ? 1 : 0;
    return fails ? nullptr : std::malloc(size == 0 ? 1 : size);
}

}  // namespace

void FailAllocation(int number)
{
    allocationsUntilFailure = number;
}

bool IsAllocationToFail()
{
    return allocationsUntilFailure >= 0;
}

void* operator new(size_t size)
{
    void* const memory = Allocate(size);
    return memory != nullptr ? memory : throw std::bad_alloc();
}

void* operator new(size_t size, const std::nothrow_t& /*tag*/) noexcept
{
    return Allocate(size);
}

void operator delete(void* memory) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, size_t /*size*/) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, const std::nothrow_t& /*tag*/) noexcept
{
    std::free(memory);
}
