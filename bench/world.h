// The processes at the other end of all timed calls.
#ifndef OWNERLINK_BENCH_WORLD_H
#define OWNERLINK_BENCH_WORLD_H

#include <array>
#include <memory>
#include <string>

#include "bench/bare_connection.h"
#include "bench/processes.h"

namespace bench {

inline constexpr size_t kOwners = 3;

// By group, as the configuration file gives them.
inline constexpr std::array<const char*, kOwners> kResources = {
    "dp:/res/bench/datamaster", "dp:/res/bench/iam", "dp:/res/bench/appmgr"};

// The text of the configuration file that names these owners.
std::string OwnerTable();

// Three owners of the library and, for the floors, three bare ends with a kept connection each, and
// one that is connected to anew each time.
class World {
public:
    World();

    BareConnection& Kept(size_t owner) { return *kept_[owner]; }
    const std::string& FreshPath() const { return freshPath_; }
    const std::string& Directory() const { return directory_.Path(); }

    // One thread for each owner, which does so many bare exchanges on its kept connection.
    void ExchangeOnThreads(const std::array<size_t, kOwners>& counts);

private:
    TemporaryDirectory directory_;
    std::string freshPath_;
    std::array<std::unique_ptr<RoleProcess>, kOwners> owners_;
    std::array<std::unique_ptr<RoleProcess>, kOwners + 1> bareEnds_;
    std::array<std::unique_ptr<BareConnection>, kOwners> kept_;
};

}  // namespace bench

#endif
