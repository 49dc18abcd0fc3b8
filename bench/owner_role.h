// An owner that does nothing but answer, so that its process costs what the library costs.
#ifndef OWNERLINK_BENCH_OWNER_ROLE_H
#define OWNERLINK_BENCH_OWNER_ROLE_H

#include <string>

namespace bench {

// Publishes `resource`, prints "ready" and serves for ever. Throws if it cannot publish.
[[noreturn]] void ServeAsOwner(const std::string& resource);

}  // namespace bench

#endif
