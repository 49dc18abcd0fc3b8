// Calls to owners whose callbacks take their time.
#ifndef OWNERLINK_BENCH_WAIT_CASES_H
#define OWNERLINK_BENCH_WAIT_CASES_H

#include <vector>

#include "bench/rounds.h"

namespace bench {

// Many threads at one slow owner, and a cancel while the callback of the suspend that it takes back
// still runs.
std::vector<Figure> MeasureWaits(int rounds);

}  // namespace bench

#endif
