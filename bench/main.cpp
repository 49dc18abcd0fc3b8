// Measures the library beside its floors.
//
//   ownerlink-bench                 everything; prints the table
//   ownerlink-bench owners          prints the configuration file that the other form needs
//   ownerlink-bench smoke           everything once, to see that it runs; the figures mean nothing
//   ownerlink-bench calls ROUNDS [PART OF A NAME]     some calls and their floors, to profile
//   ownerlink-bench events ROUNDS [PART OF A SYSTEM'S NAME]       the same for events
//   ownerlink-bench events-alone    the events alone; prints their part of the table
//   ownerlink-bench growth          the main calls by size; prints what bench/plot-growth draws
//
// What it measures runs in processes of this program that play one role each.

#include <pthread.h>

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <exception>
#include <functional>
#include <iostream>
#include <map>
#include <set>
#include <stdexcept>

#include "bench/cases.h"
#include "bench/codec_bench.h"
#include "bench/event_cases.h"
#include "bench/event_syslog.h"
#include "bench/event_world.h"
#include "bench/exchange_peer.h"
#include "bench/figures_io.h"
#include "bench/growth.h"
#include "bench/iceoryx_daemon.h"
#include "bench/owner_role.h"
#include "bench/pipe_cases.h"
#include "bench/processes.h"
#include "bench/rest_figures.h"
#include "bench/rounds.h"
#include "bench/start_cases.h"
#include "bench/table.h"
#include "bench/wait_cases.h"
#include "bench/world.h"

namespace {

using Arguments = std::vector<std::string>;

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
    AddPeerExchanges(cases, world);
    AddIdleExchanges(cases, world);
    AddSystemState(cases);
    AddChanges(cases, world);
    bench::AddQueries(cases);
    bench::AddPipeCalls(cases);
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

template <typename Figure>
void PrintLines(const std::vector<Figure>& figures)
{
    for (const Figure& figure : figures) {
        std::cout << LineOf(figure) << '\n';
    }
    std::cout << std::flush;
}

// The lines of a process that measures, each turned into what it says.
template <typename Item>
std::vector<Item> Collect(const Arguments& arguments, Item (*read)(const std::string&))
{
    std::cerr << "measuring: " << arguments.front() << " ..." << std::flush;
    const auto start = std::chrono::steady_clock::now();
    bench::RoleProcess process(arguments);
    std::vector<Item> items;
    for (std::string line; process.ReadLine(line);) {
        items.push_back(read(line));
    }
    process.AwaitSuccess();
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
    std::cerr << ' ' << std::lround(taken.count()) << " s" << std::endl;
    return items;
}

struct Rounds {
    int calls;
    int waits;
    int starts;
    int rest;  // milliseconds
    int defaultLog;
    int events;
    int loggedEvents;
};
constexpr Rounds kFull = {150, 40, 40, 4000, 20, 8, 3};
constexpr Rounds kSmoke = {1, 1, 1, 100, 1, 1, 1};

std::vector<bench::EventFigure> CollectEvents(const char* role, int rounds)
{
    return Collect({role, std::to_string(rounds)}, bench::EventFigureFrom);
}

// Leaves this process on one core.
bench::EventResults CollectAllEvents(const Rounds& rounds)
{
    bench::EventResults results;
    if (bench::KeepToCores(2)) {
        results.free = CollectEvents("events", rounds.events);
    }
    bench::KeepToCores(1);
    results.pinned = CollectEvents("events", rounds.events);
    results.defaultLog = CollectEvents("logged-events", rounds.loggedEvents);
    return results;
}

std::vector<bench::Figure> CollectCalls(const Rounds& rounds)
{
    std::vector<bench::Figure> figures =
        Collect({"calls", std::to_string(rounds.calls)}, bench::FigureFrom);
    for (const auto& [role, count] :
         {std::pair("waits", rounds.waits), std::pair("starts", rounds.starts)}) {
        const auto further = Collect({role, std::to_string(count)}, bench::FigureFrom);
        figures.insert(figures.end(), further.begin(), further.end());
    }
    return figures;
}

// What all measuring processes inherit.
void PrepareFor(const bench::TemporaryDirectory& leftovers)
{
    setenv("TMPDIR", leftovers.Path().c_str(), 1);
    setenv("OWNERLINK_LOG", "off", 1);
}

void MeasureAll(const Rounds& rounds)
{
    const bench::TemporaryDirectory leftovers;
    PrepareFor(leftovers);
    bench::Results results;
    if (bench::KeepToCores(2)) {
        results.free = CollectCalls(rounds);
    }
    results.events = CollectAllEvents(rounds);
    results.pinned = CollectCalls(rounds);
    results.codecs = Collect({"codecs"}, bench::WorkFrom);
    const auto rest = Collect({"rest", std::to_string(rounds.rest)}, bench::RestFigureFrom);
    unsetenv("OWNERLINK_LOG");
    results.defaultLog =
        Collect({"default-log", std::to_string(rounds.defaultLog)}, bench::FigureFrom);
    PrintTable(results);
    bench::PrintRest(rest);
}

void MeasureEventsAlone()
{
    const bench::TemporaryDirectory leftovers;
    PrepareFor(leftovers);
    PrintEvents(CollectAllEvents(kFull));
}

void MeasureRestAlone(int milliseconds)
{
    PrintLines(bench::MeasureRest(std::chrono::milliseconds(milliseconds)));
}

void MeasureGrowth()
{
    const bench::TemporaryDirectory leftovers;
    PrepareFor(leftovers);
    bench::PrintGrowth();
}

using Roles = std::map<std::string, std::function<void()>>;

Roles RolesWith(const std::string& word, const std::string& filter)
{
    return {
        {"all",
         [] {
             MeasureAll(kFull);
         }},
        {"smoke",
         [] {
             MeasureAll(kSmoke);
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
        {"events-alone",
         [] {
             MeasureEventsAlone();
         }},
        {"growth",
         [] {
             MeasureGrowth();
         }},
        {"owner",
         [=] {
             bench::ServeAsOwner(word);
         }},
        {"bare",
         [=] {
             bench::ServeBareConnections(word);
         }},
        {"bare-threads",
         [=] {
             bench::ServeBareThreads(word);
         }},
        {"pipe-peer",
         [=] {
             bench::ServePipeCalls(word, filter);
         }},
    };
}

void AddEventRoles(Roles& roles, const Arguments& words)
{
    roles["events"] = [=] {
        PrintLines(bench::MeasureEvents(std::stoi(words[0]), words[1]));
    };
    roles["logged-events"] = [=] {
        PrintLines(bench::MeasureLoggedEvents(std::stoi(words[0])));
    };
    roles["event-subscriber"] = [=] {
        bench::ServeAsSubscriber(words[0], words[1], std::stoul(words[2]));
    };
    roles["event-syslog"] = bench::ServeSyslog;
}

void AddPeerRoles(Roles& roles, const Arguments& words)
{
    roles["exchange-peer"] = [=] {
        bench::ServeAsPeer(words[0], words[1]);
    };
    roles["dbus-daemon"] = [=] {
        bench::ServeBusDaemon(words[0]);
    };
    roles["iceoryx-daemon"] = bench::ServeIceoryx;
}

void AddWaitAndRestRoles(Roles& roles, const Arguments& words)
{
    roles["waits"] = [=] {
        PrintLines(bench::MeasureWaits(std::stoi(words[0])));
    };
    roles["starts"] = [=] {
        PrintLines(bench::MeasureStarts(std::stoi(words[0])));
    };
    roles["rest"] = [=] {
        MeasureRestAlone(std::stoi(words[0]));
    };
    roles["start-library"] = bench::StartLibrary;
    roles["start-bare"] = [=] {
        bench::StartBare(words[0]);
    };
    roles["watching-manager"] = bench::ServeAsWatchingManager;
    roles["bare-watch"] = [=] {
        bench::ServeAsBareWatch(words[0]);
    };
    roles["program"] = [=] {
        bench::BecomeProgram(words[0], words[1]);
    };
}

bool Play(const Arguments& arguments)
{
    const auto argument = [&](size_t at) {
        return arguments.size() > at ? arguments[at] : "";
    };
    const std::string role = arguments.empty() ? "all" : arguments[0];
    Roles roles = RolesWith(argument(1), argument(2));
    AddEventRoles(roles, {argument(1), argument(2), argument(3)});
    AddWaitAndRestRoles(roles, {argument(1), argument(2)});
    AddPeerRoles(roles, {argument(1), argument(2)});
    const auto found = roles.find(role);
    if (found == roles.end()) {
        return false;
    }
    pthread_setname_np(pthread_self(), ("bench-" + role).substr(0, 15).c_str());
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
