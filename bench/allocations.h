// Counts what the calling thread takes from the heap: this program's `operator new` is its own.
#ifndef OWNERLINK_BENCH_ALLOCATIONS_H
#define OWNERLINK_BENCH_ALLOCATIONS_H

#include <cstddef>

namespace bench {

size_t AllocationsOfThisThread();

}  // namespace bench

#endif
