// How the time of the main calls grows with what they are given, on one core.
#ifndef OWNERLINK_BENCH_GROWTH_H
#define OWNERLINK_BENCH_GROWTH_H

namespace bench {

// Prints a line for each size of each call: its curve, the size and the median microseconds, with
// tabs between. bench/plot-growth draws them.
void PrintGrowth();

}  // namespace bench

#endif
