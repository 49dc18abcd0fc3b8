// What the first exchange of a process takes, in fresh processes.
#ifndef OWNERLINK_BENCH_START_CASES_H
#define OWNERLINK_BENCH_START_CASES_H

#include <string>
#include <vector>

#include "bench/rounds.h"

namespace bench {

// One process of each kind a round.
std::vector<Figure> MeasureStarts(int rounds);

// The processes: each times itself once and prints the nanoseconds.
void StartLibrary();
void StartBare(const std::string& path);  // of a socket that takes connections

}  // namespace bench

#endif
