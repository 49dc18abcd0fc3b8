// Figures as lines of text: how a measuring process hands them to the one that prints the table.
#ifndef OWNERLINK_BENCH_FIGURES_IO_H
#define OWNERLINK_BENCH_FIGURES_IO_H

#include <string>

#include "bench/codec_bench.h"
#include "bench/rounds.h"

namespace bench {

std::string LineOf(const Figure& figure);
std::string LineOf(const Work& work);

// Throw on a line of another kind.
Figure FigureFrom(const std::string& line);
Work WorkFrom(const std::string& line);

}  // namespace bench

#endif
