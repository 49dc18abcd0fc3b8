// `ownerlink-soak OWNER CLIENT EXCHANGES CHANGES EVENTS` has eight clients make EXCHANGES exchanges
// and CHANGES application changes in sum, with two owners, while one owner reports EVENTS events to
// each of them. Watches what every process holds: it must stay flat.

#include <stdlib.h>
#include <sys/prctl.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <map>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "faults/process.h"
#include "soak/message.h"

namespace fs = std::filesystem;

namespace {

// The first fifth of the work is for pools, heaps and kept connections to settle. After it nothing
// may come but what they sway by.
constexpr double kWarmUp = 0.2;
constexpr Census kSway = {8, 6, 24, 0, 1024};

using Numbers = std::map<std::string, int64_t>;

Numbers Parse(const std::string& text)
{
    Numbers numbers;
    std::istringstream words(text);
    for (std::string word; words >> word;) {
        const size_t end = word.find('=');
        numbers[word.substr(0, end)] = std::stoll(word.substr(end + 1));
    }
    return numbers;
}

Census Larger(const Census& one, const Census& other)
{
    return {std::max(one.descriptors, other.descriptors), std::max(one.threads, other.threads),
            std::max(one.mappings, other.mappings), std::max(one.shared, other.shared),
            std::max(one.residentKb, other.residentKb)};
}

struct Watched {
    std::string name;
    std::unique_ptr<Process> process;
    Census warm;   // the most of the warm-up
    Census later;  // the most since
};

struct Work {
    int64_t exchanges = 0;
    int64_t changes = 0;
    int64_t events = 0;
};

class Soak {
public:
    Soak(const std::string& owner, const std::string& client, const Work& work);
    ~Soak();
    Soak(const Soak&) = delete;
    Soak& operator=(const Soak&) = delete;

    void Run();
    bool Report();  // whether all is flat, and nothing failed or went wrong

private:
    double Done();
    void Sample(bool isWarm);
    void Print(const Watched& watched) const;

    const Work work_;
    std::string directory_;
    std::vector<Watched> all_;
    size_t firstClient_ = 0;
    Numbers sums_;
    int samples_ = 0;
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

Soak::Soak(const std::string& owner, const std::string& client, const Work& work) : work_(work)
{
    directory_ = (fs::temp_directory_path() / "olsoakXXXXXX").string();
    if (mkdtemp(directory_.data()) == nullptr) {
        throw std::runtime_error("no directory");
    }
    setenv("OWNERLINK_RUNTIME_DIR", (directory_ + "/run").c_str(), 1);
    setenv("OWNERLINK_LOG", ("error,file:" + directory_ + "/log").c_str(), 1);
    const auto start = [this](const std::string& name, const std::vector<std::string>& command) {
        all_.push_back({name, std::make_unique<Process>(command), {}, {}});
        if (all_.back().process->FirstLine() != "ok") {
            throw std::runtime_error(name + " is not up");
        }
    };
    for (int i = 0; i < kOwners; ++i) {
        start("owner " + std::to_string(i), {owner, std::to_string(i)});
    }
    firstClient_ = all_.size();
    for (int i = 0; i < kClients; ++i) {
        start("client " + std::to_string(i),
              {client, std::to_string(i), std::to_string(work_.exchanges / kClients),
               std::to_string(work_.changes / kClients), std::to_string(work_.events)});
    }
}

Soak::~Soak()
{
    all_.clear();
    std::error_code ignored;
    fs::remove_all(directory_, ignored);
}

// The part of the work that is done, by what is furthest behind.
double Soak::Done()
{
    sums_.clear();
    int64_t leastEvents = work_.events;
    for (size_t i = firstClient_; i < all_.size(); ++i) {
        Numbers numbers = Parse(all_[i].process->Tell("progress"));
        leastEvents = std::min(leastEvents, numbers["events"]);
        for (const auto& [name, number] : numbers) {
            sums_[name] += number;
        }
    }
    const auto part = [](int64_t done, int64_t all) {
        return all == 0 ? 1.0 : static_cast<double>(done) / static_cast<double>(all);
    };
    return std::min({part(sums_["exchanges"], work_.exchanges),
                     part(sums_["changes"], work_.changes), part(leastEvents, work_.events)});
}

void Soak::Sample(bool isWarm)
{
    ++samples_;
    for (Watched& watched : all_) {
        Census& most = isWarm ? watched.later : watched.warm;
        most = Larger(most, watched.process->Count());
    }
}

void Soak::Run()
{
    for (size_t i = firstClient_; i < all_.size(); ++i) {
        all_[i].process->Order("go");
    }
    all_[0].process->Order("report " + std::to_string(work_.events));
    double done = 0;
    while ((done = Done()) < 1) {
        Sample(done > kWarmUp);
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
    }
    Sample(true);
}

void Soak::Print(const Watched& watched) const
{
    const Census& warm = watched.warm;
    const Census& later = watched.later;
    std::printf(
        "%-9s  resident %6lld -> %6lld KiB   descriptors %3d -> %3d   threads %3d -> %3d   "
        "mappings %3d -> %3d\n",
        watched.name.c_str(), static_cast<long long>(warm.residentKb),
        static_cast<long long>(later.residentKb), warm.descriptors, later.descriptors, warm.threads,
        later.threads, warm.mappings, later.mappings);
}

bool IsFlat(const Watched& watched)
{
    const Census& warm = watched.warm;
    const Census& later = watched.later;
    return later.residentKb <= warm.residentKb + kSway.residentKb &&
           later.descriptors <= warm.descriptors + kSway.descriptors &&
           later.threads <= warm.threads + kSway.threads &&
           later.mappings <= warm.mappings + kSway.mappings && later.shared <= warm.shared;
}

bool Soak::Report()
{
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start_;
    Numbers reported = Parse(all_[0].process->Tell("progress"));
    std::printf(
        "%.0f s, %d samples; %lld exchanges, %lld changes of two applications, %lld events "
        "to each of %d clients; %lld failed, %lld wrong, %lld reports failed\n",
        time.count(), samples_, static_cast<long long>(sums_["exchanges"]),
        static_cast<long long>(sums_["changes"]), static_cast<long long>(reported["reported"]),
        kClients, static_cast<long long>(sums_["failed"]), static_cast<long long>(sums_["wrong"]),
        static_cast<long long>(reported["failed"]));
    std::puts("the most of the first fifth -> the most since:");
    bool isGood = sums_["failed"] == 0 && sums_["wrong"] == 0 && reported["failed"] == 0;
    for (const Watched& watched : all_) {
        Print(watched);
        if (!IsFlat(watched)) {
            std::printf("FAILED: %s has grown\n", watched.name.c_str());
            isGood = false;
        }
    }
    return isGood;
}

}  // namespace

int main(int count, char** arguments)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    std::signal(SIGPIPE, SIG_IGN);
    if (count < 6) {
        std::fprintf(stderr, "usage: ownerlink-soak OWNER CLIENT EXCHANGES CHANGES EVENTS\n");
        return 2;
    }
    try {
        Soak soak(arguments[1], arguments[2],
                  {std::stoll(arguments[3]), std::stoll(arguments[4]), std::stoll(arguments[5])});
        soak.Run();
        return soak.Report() ? 0 : 1;
    } catch (const std::exception& failure) {
        std::printf("FAILED: %s\n", failure.what());
        return 1;
    }
}
