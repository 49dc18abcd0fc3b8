#include "faults/world.h"

#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <thread>
#include <utility>

namespace fs = std::filesystem;

namespace {

constexpr uid_t kNobody = 65534;
constexpr int kRoundsToSettle = 3;

// What may come beyond the first rounds: kept connections, threads and their stacks that the
// owner's pool or the C library has not given back yet.
constexpr Census kSlack = {8, 6, 24, 0, 0};

const std::set<std::string> kWell = {"answered", "query:answered"};

bool IsWithin(const Census& now, const Census& before)
{
    return now.descriptors <= before.descriptors + kSlack.descriptors &&
           now.threads <= before.threads + kSlack.threads &&
           now.mappings <= before.mappings + kSlack.mappings &&
           now.shared <= before.shared + kSlack.shared;
}

Census Larger(const Census& one, const Census& other)
{
    return {std::max(one.descriptors, other.descriptors), std::max(one.threads, other.threads),
            std::max(one.mappings, other.mappings), std::max(one.shared, other.shared),
            std::max(one.residentKb, other.residentKb)};
}

std::string TextOf(const Census& census)
{
    return std::to_string(census.descriptors) + " descriptors, " + std::to_string(census.threads) +
           " threads, " + std::to_string(census.mappings) + " mappings, " +
           std::to_string(census.shared) + " of them shared";
}

size_t FilesIn(const std::string& directory)
{
    return static_cast<size_t>(
        std::distance(fs::directory_iterator(directory), fs::directory_iterator()));
}

}  // namespace

bool Eventually(const std::function<bool()>& condition)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

World::World(std::string peer, const Options& options) : peer_(std::move(peer)), options_(options)
{
    Prepare();
    StartOwner();
    client_ = StartPeer("client");
    if (!options_.isClientAlone) {
        client_->Order("subscribe");
    }
}

World::~World()
{
    client_.reset();
    owner_.reset();
    for (const std::string& directory : {RunDirectory(), LogDirectory()}) {
        umount(directory.c_str());
    }
    std::error_code ignored;
    fs::remove_all(directory_, ignored);
}

void World::Prepare()
{
    directory_ = (fs::temp_directory_path() / "olfaultsXXXXXX").string();
    if (mkdtemp(directory_.data()) == nullptr) {
        throw std::runtime_error("no directory");
    }
    chmod(directory_.c_str(), 0755);
    for (const std::string& directory : {RunDirectory(), LogDirectory()}) {
        fs::create_directory(directory);
    }
    if (options_.isRunTiny) {
        MountTiny(RunDirectory());
    }
    if (options_.isLogTiny) {
        MountTiny(LogDirectory());
    }
    if (options_.isOfNobody) {
        for (const std::string& directory : {directory_, RunDirectory(), LogDirectory()}) {
            (void)!chown(directory.c_str(), kNobody, kNobody);
        }
        setenv("OWNERLINK_FAULTS_AS_NOBODY", "1", 1);
    }
    setenv("OWNERLINK_RUNTIME_DIR", RunDirectory().c_str(), 1);
    const std::string level = options_.isLogTiny ? "info" : "error";
    setenv("OWNERLINK_LOG", (level + ",file:" + LogDirectory() + "/log").c_str(), 1);
    setenv("MALLOC_ARENA_MAX", "1", 1);  // what is taken from one thread is taken from all
}

void World::MountTiny(const std::string& directory) const
{
    if (mount("tmpfs", directory.c_str(), "tmpfs", 0, "size=96k,nr_inodes=64,mode=2750") != 0) {
        throw std::runtime_error(std::string("cannot mount a file system: ") + strerror(errno));
    }
}

std::unique_ptr<Process> World::StartPeer(const std::string& role, const std::string& suffix)
{
    const bool hasOwnClock = options_.isClockApart && role == "owner" && HasOwnClocks();
    return std::make_unique<Process>(std::vector<std::string>{peer_, role, suffix},
                                     Process::Surroundings{hasOwnClock});
}

void World::StartOwner()
{
    owner_.reset();
    owner_ = StartPeer("owner");
    if (owner_->FirstLine() != "plain:0=1 library:0x0=1 events:0x0=1") {
        throw std::runtime_error("the owner is not up: " + owner_->FirstLine());
    }
}

void World::CheckAllIsWell()
{
    CheckAllIsWell(*client_);
    if (!options_.isClientAlone && !AwaitEvent()) {
        throw std::runtime_error("no event reaches the client");
    }
    if (client_->Tell("wrong-events") != "0") {
        throw std::runtime_error("events out of order, or twice");
    }
}

void World::CheckAllIsWell(Process& client)
{
    client.Order("ask 1 1 " + std::to_string(kLongMs));
    well_.Take(client.Tell("results"), {kWell, kRequests, kLongMs + kBeyondMs});
}

// Events that are reported before the client has found the owner's new life reach nobody.
bool World::AwaitEvent()
{
    return Eventually([this] {
        const std::string state = std::to_string(++lastEvent_);
        const std::string code = owner_->Tell("event " + state);
        return code == "0x0" && client_->Tell("seen " + state + " 50") == "ok";
    });
}

void World::Begin(Process& client, int timeoutMs, int plain, int queries)
{
    asked_[client.Number()] = {int64_t{plain} * kPlainRequests + queries, timeoutMs};
    client.Order("ask " + std::to_string(plain) + ' ' + std::to_string(queries) + ' ' +
                 std::to_string(timeoutMs));
}

std::map<std::string, int64_t> World::End(Process& client, std::set<std::string> outcomes)
{
    const Asked asked = asked_[client.Number()];
    const std::string results = client.Tell("results");
    faulty_.Take(results, {std::move(outcomes), asked.requests, asked.timeoutMs + kBeyondMs});
    return Parse(results);
}

void World::CheckNothingLeaks(Process& process, const std::string& role)
{
    if (round_ < kRoundsToSettle) {
        baselines_[role] = Larger(baselines_[role], process.Count());
        return;
    }
    Census now;
    if (!Eventually([&] {
            now = process.Count();
            return IsWithin(now, baselines_[role]);
        })) {
        throw std::runtime_error("the " + role + " holds " + TextOf(now) + ", and at first held " +
                                 TextOf(baselines_[role]));
    }
}

void World::CheckFiles()
{
    if (round_ < kRoundsToSettle) {
        files_ = FilesIn(RunDirectory());
    } else if (!Eventually([this] { return FilesIn(RunDirectory()) == files_; })) {
        throw std::runtime_error("files are left: " + std::to_string(FilesIn(RunDirectory())) +
                                 " in the runtime directory, at first " + std::to_string(files_));
    }
}

std::string World::Report() const
{
    return "with the fault: " + faulty_.Text() + "; slowest " +
           std::to_string(faulty_.SlowestMs()) + " ms; without: " + well_.Text();
}
