// The one table that a run ends with.
#ifndef OWNERLINK_BENCH_TABLE_H
#define OWNERLINK_BENCH_TABLE_H

#include <string>
#include <vector>

#include "bench/codec_bench.h"
#include "bench/event_figures.h"
#include "bench/rounds.h"

namespace bench {

struct Results {
    std::vector<Figure> pinned;
    std::vector<Figure> free;  // empty where there is one core only
    std::vector<Figure> defaultLog;
    std::vector<Work> codecs;
    EventResults events;
};

// At most 127 characters, formatted as printf does.
__attribute__((format(printf, 1, 2))) std::string Text(const char* format, ...);

void PrintTable(const Results& results);

}  // namespace bench

#endif
