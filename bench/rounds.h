// Times calls of microseconds, many cases side by side.
//
// Google Benchmark's own loop keeps the mean of a repetition; here every call is a sample, for the
// 99th percentile, and each round runs every case once in an order of its own, so that a case and
// its floor meet the same minute of the machine. Ratios are taken within the round.
#ifndef OWNERLINK_BENCH_ROUNDS_H
#define OWNERLINK_BENCH_ROUNDS_H

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace bench {

// Another case that a case is held against, and the largest ratio that is aimed at; 0 for none.
struct Floor {
    std::string name;
    double aim = 0;
};

struct Case {
    std::string name;
    std::vector<Floor> floors;
    int callsPerRound = 1;
    std::function<void()> call;          // empty for a peer that is not installed
    std::function<void()> prepare = {};  // ahead of each call, not timed
    size_t applications = 0;             // that one call is about
    size_t records = 0;                  // that one call sends
};

// What came out for a case and one of its floors. Times are in nanoseconds.
struct Figure {
    std::string name;
    std::string floor;
    double aim = 0;
    double ratio = 0;  // the median of the rounds' ratios; 0 without a floor that is installed
    double median = 0;
    double percentile99 = 0;
    size_t samples = 0;  // 0: not installed, and no times
    size_t applications = 0;
    size_t records = 0;
};

double Median(std::vector<double> values);
double Percentile(std::vector<double> values, double part);  // `part` from 0 to 1

std::vector<Figure> RunRounds(const std::vector<Case>& cases, int rounds);

}  // namespace bench

#endif
