// An owner that does nothing but answer, so that its process costs what the library costs. Three of
// its callbacks serve the cases in which an owner is slow: see `MeasureWaits`.
#ifndef OWNERLINK_BENCH_OWNER_ROLE_H
#define OWNERLINK_BENCH_OWNER_ROLE_H

#include <chrono>
#include <string>

namespace bench {

// What its reload takes, asleep.
inline constexpr std::chrono::milliseconds kSlowCallback{1};

// Makes this process an owner of `resource`. Throws.
void PublishOwner(const std::string& resource);

// Publishes `resource`, prints "ready" and serves for ever. Throws if it cannot publish.
[[noreturn]] void ServeAsOwner(const std::string& resource);

}  // namespace bench

#endif
