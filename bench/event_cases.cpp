#include "bench/event_cases.h"

#include <syslog.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <map>
#include <memory>
#include <random>
#include <stdexcept>
#include <thread>

#include "bench/event_syslog.h"
#include "bench/event_world.h"
#include "bench/rounds.h"

namespace bench {
namespace {

constexpr std::array<size_t, 3> kSubscribers = {1, 4, kMostSubscribers};
constexpr uint32_t kBurst = 2000;  // events back to back
constexpr uint32_t kPaced = 100;   // events at the pace
constexpr std::chrono::nanoseconds kPace = std::chrono::milliseconds(1);
constexpr std::chrono::seconds kIdle{2};
constexpr unsigned kSeed = 20;  // any: the same order in each run

struct Samples {
    std::vector<double> paced;
    std::vector<double> burst;
    std::vector<double> pacedMedians;  // by round
    std::vector<double> rates;         // by round
};
using SamplesOf = std::map<std::string, Samples>;
using Worlds = std::vector<std::unique_ptr<EventWorld>>;

void Append(std::vector<double>& all, const std::vector<double>& more)
{
    all.insert(all.end(), more.begin(), more.end());
}

void RunRound(EventWorld& world, Samples& samples)
{
    world.Run(kBurst, {});
    Append(samples.burst, world.Latencies());
    samples.rates.push_back(world.Rate());
    world.Run(kPaced, kPace);
    const std::vector<double> latencies = world.Latencies();
    Append(samples.paced, latencies);
    samples.pacedMedians.push_back(Median(latencies));
}

// 0 when there is nothing to divide by.
double Ratio(const std::vector<double>& values, const std::vector<double>& floor)
{
    std::vector<double> ratios;
    for (size_t round = 0; round < std::min(values.size(), floor.size()); ++round) {
        ratios.push_back(values[round] / floor[round]);
    }
    return ratios.empty() ? 0 : Median(std::move(ratios));
}

EventFigure FigureOf(const std::string& system, size_t subscribers, SamplesOf& all)
{
    const Samples& own = all[system];
    EventFigure figure;
    figure.system = system;
    figure.subscribers = subscribers;
    figure.isMissing = own.rates.empty();
    if (!figure.isMissing) {
        figure.pacedMedian = Median(own.paced);
        figure.paced99 = Percentile(own.paced, 0.99);
        figure.pacedToBare = Ratio(own.pacedMedians, all["bare ring"].pacedMedians);
        figure.burstMedian = Median(own.burst);
        figure.burst99 = Percentile(own.burst, 0.99);
        figure.rate = Median(own.rates);
        figure.rateToZeroMq = Ratio(own.rates, all["ZeroMQ"].rates);
        figure.rateToIceoryx = Ratio(own.rates, all["iceoryx"].rates);
    }
    return figure;
}

SamplesOf RunRounds(const Worlds& worlds, int rounds)
{
    SamplesOf samples;
    std::vector<EventWorld*> order;
    for (const auto& world : worlds) {
        order.push_back(world.get());
    }
    std::mt19937 random(kSeed);  // NOLINT(cert-msc32-c,cert-msc51-cpp): wanted, see kSeed
    for (int round = 0; round < rounds; ++round) {
        std::shuffle(order.begin(), order.end(), random);
        for (EventWorld* const world : order) {
            RunRound(*world, samples[world->System().name]);
        }
    }
    return samples;
}

// A system that is not installed, or does not start, has no figures.
Worlds MakeWorlds(const std::vector<EventSystem>& systems, const std::string& directory)
{
    Worlds worlds;
    for (const EventSystem& system : systems) {
        if (!system.makeSender) {
            continue;
        }
        try {
            worlds.push_back(std::make_unique<EventWorld>(system, directory));
        } catch (const std::runtime_error& error) {
            std::cerr << system.name << ": " << error.what() << std::endl;
        }
    }
    return worlds;
}

// What each world's subscribers do while nothing is sent, as a part of a core for one of them.
std::map<std::string, double> MeasureIdle(const Worlds& worlds)
{
    std::vector<std::chrono::nanoseconds> before;
    for (const auto& world : worlds) {
        before.push_back(world->SubscribersTime());
    }
    std::this_thread::sleep_for(kIdle);
    std::map<std::string, double> parts;
    for (size_t i = 0; i < worlds.size(); ++i) {
        const std::chrono::duration<double> taken = worlds[i]->SubscribersTime() - before[i];
        parts[worlds[i]->System().name] =
            taken / kIdle / static_cast<double>(worlds[i]->Subscribers());
    }
    return parts;
}

std::vector<EventFigure> MeasureSystems(const std::vector<EventSystem>& systems, int rounds)
{
    const TemporaryDirectory directory;
    setenv("OWNERLINK_RUNTIME_DIR", (directory.Path() + "/run").c_str(), 1);
    const Worlds worlds = MakeWorlds(systems, directory.Path());
    std::vector<EventFigure> figures;
    for (const size_t subscribers : kSubscribers) {
        for (const auto& world : worlds) {
            world->GrowTo(subscribers);
        }
        SamplesOf samples = RunRounds(worlds, rounds);
        for (const EventSystem& system : systems) {
            figures.push_back(FigureOf(system.name, subscribers, samples));
        }
    }
    const std::map<std::string, double> idle = MeasureIdle(worlds);
    for (EventFigure& figure : figures) {
        const auto found = idle.find(figure.system);
        figure.idlePart = found == idle.end() ? 0 : found->second;
    }
    return figures;
}

}  // namespace

std::vector<EventFigure> MeasureEvents(int rounds, const std::string& filter)
{
    setlogmask(LOG_UPTO(LOG_ERR));
    std::array<EventSystem, kEventSystems> all = AllEventSystems();
    std::vector<EventSystem> systems;
    for (EventSystem& system : all) {
        if (std::string(system.name).find(filter) != std::string::npos) {
            systems.push_back(std::move(system));
        }
    }
    return MeasureSystems(systems, rounds);
}

std::vector<EventFigure> MeasureLoggedEvents(int rounds)
{
    const Syslog syslog;
    std::vector<EventFigure> figures = MeasureSystems({LibraryEvents(), BareRingEvents()}, rounds);
    std::erase_if(figures, [](const EventFigure& figure) { return figure.system == "bare ring"; });
    for (EventFigure& figure : figures) {
        figure.system += syslog.IsUp() ? ", default mask" : ", default mask, without a syslog";
    }
    return figures;
}

}  // namespace bench
