// What comes out for one system and number of subscribers, and how it is handed on and printed.
#ifndef OWNERLINK_BENCH_EVENT_FIGURES_H
#define OWNERLINK_BENCH_EVENT_FIGURES_H

#include <string>
#include <vector>

namespace bench {

// One-way latencies are in nanoseconds; a ratio is the median of the rounds' ratios, 0 for none.
struct EventFigure {
    std::string system;
    size_t subscribers = 0;
    bool isMissing = false;

    // At a steady pace.
    double pacedMedian = 0;
    double paced99 = 0;
    double pacedToBare = 0;

    // Back to back. The rate counts each subscriber's events.
    double burstMedian = 0;
    double burst99 = 0;
    double rate = 0;
    double rateToZeroMq = 0;
    double rateToIceoryx = 0;

    double idlePart = 0;  // of a core, taken by one subscriber that nothing is sent to
};

std::string LineOf(const EventFigure& figure);
EventFigure EventFigureFrom(const std::string& line);  // throws on a line of another kind

struct EventResults {
    std::vector<EventFigure> pinned;
    std::vector<EventFigure> free;  // empty where there is one core only
    std::vector<EventFigure> defaultLog;
};

void PrintEvents(const EventResults& results);

}  // namespace bench

#endif
