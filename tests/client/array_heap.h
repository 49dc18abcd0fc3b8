// The heap of arrays as the test program replaces it, so that a test sees when the one buffer of an
// exchange goes.
#ifndef OWNERLINK_TESTS_CLIENT_ARRAY_HEAP_H
#define OWNERLINK_TESTS_CLIENT_ARRAY_HEAP_H

#include <functional>

// Runs `whenFreed` once, just before the array at `address` is freed.
void WatchArray(const void* address, std::function<void()> whenFreed);

#endif
