#include "bench/world.h"

#include <cstdlib>
#include <thread>

namespace bench {
namespace {

std::unique_ptr<RoleProcess> Start(const std::string& role, const std::string& name)
{
    auto process = std::make_unique<RoleProcess>(std::vector<std::string>{role, name});
    process->AwaitReady();
    return process;
}

}  // namespace

std::string OwnerTable()
{
    std::string text;
    for (size_t group = 0; group < kOwners; ++group) {
        const std::string number = std::to_string(group);
        text += "owner" + number + ": {OsType: 0, GroupOwner: " + number + ", SecVfs: \"" +
                kResources[group] + "\"}\n";
    }
    return text;
}

World::World() : freshPath_(directory_.Path() + "/fresh")
{
    const std::string runtime = directory_.Path() + "/run";
    setenv("OWNERLINK_RUNTIME_DIR", runtime.c_str(), 1);
    for (size_t i = 0; i < kOwners; ++i) {
        const std::string path = directory_.Path() + "/kept" + std::to_string(i);
        owners_[i] = Start("owner", kResources[i]);
        bareEnds_[i] = Start("bare", path);
        kept_[i] = std::make_unique<BareConnection>(path);
    }
    bareEnds_.back() = Start("bare", freshPath_);
}

void World::ExchangeOnThreads(const std::array<size_t, kOwners>& counts)
{
    std::array<std::thread, kOwners> threads;
    for (size_t i = 0; i < kOwners; ++i) {
        threads[i] = std::thread([this, i, count = counts[i]] {
            for (size_t done = 0; done < count; ++done) {
                kept_[i]->Exchange();
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

}  // namespace bench
