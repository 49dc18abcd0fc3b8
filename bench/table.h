// The one table that a run ends with.
#ifndef OWNERLINK_BENCH_TABLE_H
#define OWNERLINK_BENCH_TABLE_H

#include <vector>

#include "bench/codec_bench.h"
#include "bench/rounds.h"

namespace bench {

struct Results {
    std::vector<Figure> pinned;
    std::vector<Figure> free;  // empty where there is one core only
    std::vector<Figure> defaultLog;
    std::vector<Work> codecs;
};

void PrintTable(const Results& results);

}  // namespace bench

#endif
