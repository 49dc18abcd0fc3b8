// Measures the library beside its floors.
//
//   ownerlink-bench                 everything; prints the table
//   ownerlink-bench owners          prints the configuration file that the other form needs
//   ownerlink-bench smoke           everything once, to see that it runs; the figures mean nothing
//   ownerlink-bench calls ROUNDS [PART OF A NAME]     some calls and their floors, to profile
//
// What it measures runs in processes of this program that play one role each.

#include <pthread.h>

#include <cstdlib>
#include <exception>
#include <functional>
#include <iostream>
#include <map>
#include <set>
#include <stdexcept>

#include "bench/cases.h"
#include "bench/codec_bench.h"
#include "bench/figures_io.h"
#include "bench/owner_role.h"
#include "bench/processes.h"
#include "bench/rounds.h"
#include "bench/table.h"
#include "bench/world.h"

namespace {

using Arguments = std::vector<std::string>;

constexpr int kRounds = 150;
constexpr int kDefaultLogRounds = 20;

// Leaves the cases whose name contains `filter`, and their floors.
void Select(std::vector<bench::Case>& cases, const std::string& filter)
{
    std::set<std::string> wanted;
    for (const bench::Case& subject : cases) {
        if (subject.name.find(filter) == std::string::npos) {
            continue;
        }
        wanted.insert(subject.name);
        for (const bench::Floor& floor : subject.floors) {
            wanted.insert(floor.name);
        }
    }
    std::erase_if(cases,
                  [&](const bench::Case& subject) { return !wanted.contains(subject.name); });
}

void Measure(const std::vector<bench::Case>& cases, const std::string& rounds)
{
    for (const bench::Figure& figure : bench::RunRounds(cases, std::stoi(rounds))) {
        std::cout << LineOf(figure) << '\n';
    }
    std::cout << std::flush;
}

void MeasureCalls(const std::string& rounds, const std::string& filter)
{
    setenv("OWNERLINK_LOG", "off", 0);
    bench::World world;
    std::vector<bench::Case> cases;
    AddFloors(cases, world);
    AddExchanges(cases, world);
    AddIdleExchanges(cases, world);
    AddSystemState(cases);
    AddChanges(cases, world);
    bench::AddQueries(cases);
    Select(cases, filter);
    Measure(cases, rounds);
}

void MeasureDefaultLog(const std::string& rounds)
{
    bench::World world;
    std::vector<bench::Case> cases;
    AddFloors(cases, world);
    bench::AddPublicExchange(cases);
    bench::AddSystemState(cases);
    AddUsualChanges(cases, world, 300, 1);
    for (bench::Case& subject : cases) {
        subject.callsPerRound = 1;  // each writes to the machine's log
    }
    Measure(cases, rounds);
}

void MeasureCodecs()
{
    setenv("OWNERLINK_LOG", "off", 0);
    bench::RegisterLog();
    bench::RegisterCodecs();
    for (const bench::Work& work : bench::RunRegistered()) {
        std::cout << LineOf(work) << '\n';
    }
    std::cout << std::flush;
}

// The lines of a process that measures, each turned into what it says.
template <typename Item>
std::vector<Item> Collect(const Arguments& arguments, Item (*read)(const std::string&))
{
    std::cerr << "measuring: " << arguments.front() << " ..." << std::endl;
    bench::RoleProcess process(arguments);
    std::vector<Item> items;
    for (std::string line; process.ReadLine(line);) {
        items.push_back(read(line));
    }
    process.AwaitSuccess();
    return items;
}

void MeasureAll(int rounds, int defaultLogRounds)
{
    const bench::TemporaryDirectory directory;  // of whatever the processes do not remove
    setenv("TMPDIR", directory.Path().c_str(), 1);
    setenv("OWNERLINK_LOG", "off", 1);
    const std::string count = std::to_string(rounds);
    bench::Results results;
    if (bench::KeepToCores(2)) {
        results.free = Collect({"calls", count}, bench::FigureFrom);
    }
    bench::KeepToCores(1);
    results.pinned = Collect({"calls", count}, bench::FigureFrom);
    results.codecs = Collect({"codecs"}, bench::WorkFrom);
    unsetenv("OWNERLINK_LOG");
    results.defaultLog =
        Collect({"default-log", std::to_string(defaultLogRounds)}, bench::FigureFrom);
    PrintTable(results);
}

using Roles = std::map<std::string, std::function<void()>>;

Roles RolesWith(const std::string& word, const std::string& filter)
{
    return {
        {"all",
         [] {
             MeasureAll(kRounds, kDefaultLogRounds);
         }},
        {"smoke",
         [] {
             MeasureAll(1, 1);
         }},
        {"owners",
         [] {
             std::cout << bench::OwnerTable();
         }},
        {"calls",
         [=] {
             MeasureCalls(word, filter);
         }},
        {"default-log",
         [=] {
             MeasureDefaultLog(word);
         }},
        {"codecs",
         [] {
             MeasureCodecs();
         }},
        {"owner",
         [=] {
             bench::ServeAsOwner(word);
         }},
        {"bare",
         [=] {
             bench::ServeBareConnections(word);
         }},
    };
}

bool Play(const Arguments& arguments)
{
    const auto argument = [&](size_t at) {
        return arguments.size() > at ? arguments[at] : "";
    };
    const std::string role = arguments.empty() ? "all" : arguments[0];
    const Roles roles = RolesWith(argument(1), argument(2));
    const auto found = roles.find(role);
    if (found == roles.end()) {
        return false;
    }
    pthread_setname_np(pthread_self(), ("bench-" + role).c_str());
    found->second();
    return true;
}

}  // namespace

int main(int argc, char** argv)
{
    try {
        if (Play(Arguments(argv + 1, argv + argc))) {
            return 0;
        }
        std::cerr << "usage: ownerlink-bench [owners|smoke]" << std::endl;
        return 2;
    } catch (const std::exception& error) {
        std::cerr << "ownerlink-bench: " << error.what() << std::endl;
        return 1;
    }
}
