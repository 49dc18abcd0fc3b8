// Events from one process to 1, 4 and 16, by the library, the floor and the peers in turn.
#ifndef OWNERLINK_BENCH_EVENT_CASES_H
#define OWNERLINK_BENCH_EVENT_CASES_H

#include <string>
#include <vector>

#include "bench/event_figures.h"

namespace bench {

// All systems, or those whose name contains `filter`; the owner's syslog records are masked, as an
// owner that minds its speed does.
std::vector<EventFigure> MeasureEvents(int rounds, const std::string& filter);

// The library with the default mask: a syslog record for each event and subscriber. The machine's
// syslog takes them, or a process of the benchmark's own where there is none.
std::vector<EventFigure> MeasureLoggedEvents(int rounds);

}  // namespace bench

#endif
