#include "bench/rounds.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <map>
#include <numeric>
#include <random>
#include <stdexcept>

namespace bench {
namespace {

constexpr unsigned kSeed = 20;  // any: the same order in each run

struct Samples {
    std::vector<double> all;
    std::vector<double> roundMedians;
};

double TimeOne(const Case& subject)
{
    using Clock = std::chrono::steady_clock;
    if (subject.prepare) {
        subject.prepare();
    }
    const Clock::time_point start = Clock::now();
    subject.call();
    return std::chrono::duration<double, std::nano>(Clock::now() - start).count();
}

void RunCase(const Case& subject, Samples& samples)
{
    std::vector<double> round;
    round.reserve(static_cast<size_t>(subject.callsPerRound));
    for (int i = 0; i < subject.callsPerRound; ++i) {
        round.push_back(TimeOne(subject));
    }
    samples.all.insert(samples.all.end(), round.begin(), round.end());
    samples.roundMedians.push_back(Median(std::move(round)));
}

double RatioOf(const Samples& subject, const Samples& floor)
{
    if (subject.roundMedians.size() != floor.roundMedians.size()) {
        return 0;
    }
    std::vector<double> ratios;
    for (size_t round = 0; round < subject.roundMedians.size(); ++round) {
        ratios.push_back(subject.roundMedians[round] / floor.roundMedians[round]);
    }
    return Median(std::move(ratios));
}

Figure FigureOf(const Case& subject, const Samples& samples)
{
    Figure figure;
    figure.name = subject.name;
    if (subject.call) {
        figure.median = Median(samples.all);
        figure.percentile99 = Percentile(samples.all, 0.99);
    }
    figure.samples = samples.all.size();
    figure.applications = subject.applications;
    figure.records = subject.records;
    return figure;
}

std::vector<Figure> Evaluate(const std::vector<Case>& cases,
                             const std::map<std::string, Samples>& samples)
{
    std::vector<Figure> figures;
    for (const Case& subject : cases) {
        Figure figure = FigureOf(subject, samples.at(subject.name));
        if (subject.floors.empty()) {
            figures.push_back(figure);
        }
        for (const Floor& floor : subject.floors) {
            figure.floor = floor.name;
            figure.aim = floor.aim;
            figure.ratio = RatioOf(samples.at(subject.name), samples.at(floor.name));
            figures.push_back(figure);
        }
    }
    return figures;
}

}  // namespace

double Percentile(std::vector<double> values, double part)
{
    const auto at = static_cast<size_t>(std::lround(part * static_cast<double>(values.size() - 1)));
    const auto place = values.begin() + static_cast<std::ptrdiff_t>(at);
    std::nth_element(values.begin(), place, values.end());
    return *place;
}

double Median(std::vector<double> values)
{
    return Percentile(std::move(values), 0.5);
}

std::vector<Figure> RunRounds(const std::vector<Case>& cases, int rounds)
{
    std::map<std::string, Samples> samples;
    for (const Case& subject : cases) {
        if (subject.call) {
            TimeOne(subject);  // what only a first call does is no sample
        }
        if (!samples.try_emplace(subject.name).second) {
            throw std::logic_error("two cases named " + subject.name);
        }
    }
    std::vector<size_t> order(cases.size());
    std::iota(order.begin(), order.end(), size_t{0});
    std::mt19937 random(kSeed);  // NOLINT(cert-msc32-c,cert-msc51-cpp): wanted, see kSeed
    for (int round = 0; round < rounds; ++round) {
        std::shuffle(order.begin(), order.end(), random);
        for (const size_t at : order) {
            if (cases[at].call) {
                RunCase(cases[at], samples.at(cases[at].name));
            }
        }
    }
    return Evaluate(cases, samples);
}

}  // namespace bench
