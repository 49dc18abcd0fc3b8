// What runs in the caller's own thread without a system call: Google Benchmark's loop times it.
#ifndef OWNERLINK_BENCH_CODEC_BENCH_H
#define OWNERLINK_BENCH_CODEC_BENCH_H

#include <string>
#include <vector>

namespace bench {

// Counts for one call, 0 where they mean nothing.
struct Work {
    std::string name;
    double nanoseconds = 0;  // the median of the repetitions
    double slowest = 0;      // of the repetitions
    double bytes = 0;        // of payload
    double items = 0;
    double allocations = 0;
};

inline constexpr const char* kEmptyLoop = "log: the empty loop";
inline constexpr const char* kRecordThatIsOff = "log: a record that is off";

void RegisterCodecs();
void RegisterLog();

// Runs everything that is registered, repetitions shuffled.
std::vector<Work> RunRegistered();

}  // namespace bench

#endif
