// Memory that is refused at a chosen moment. A test program that links failing_allocations.cpp has
// its operators new and delete replaced.
#ifndef OWNERLINK_TESTS_SUPPORT_FAILING_ALLOCATIONS_H
#define OWNERLINK_TESTS_SUPPORT_FAILING_ALLOCATIONS_H

inline constexpr int kNoAllocation = -1;

// Has one allocation of the calling thread fail: the `number`th from now, the next being 0.
void FailAllocation(int number);

// Whether one is still to fail.
bool IsAllocationToFail();

#endif
