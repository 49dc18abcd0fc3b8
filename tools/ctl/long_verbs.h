// The verbs that go on: they look again and again, and end when told so.
#ifndef OWNERLINK_TOOLS_CTL_LONG_VERBS_H
#define OWNERLINK_TOOLS_CTL_LONG_VERBS_H

#include <chrono>

#include "tools/ctl/command_line.h"
#include "tools/ctl/report.h"
#include "tools/ctl/surroundings.h"

namespace ctl {

// Prints lines until their count is reached, it is stopped or nobody reads them.
ExitCode Watch(const Surroundings& around, const CommandLine& command);

// Asks until the applications are in the awaited state, cannot be, or the limit has passed.
Report Wait(const Surroundings& around, const CommandLine& command);

// Sleeps until there is an event, a stop or nobody at standard output any more (if that is looked
// at), or `limit` has passed; without a limit if that is negative.
enum class Reader { kIgnored, kLookedAt };
void Sleep(const Surroundings& around, const EventListener& listener,
           std::chrono::milliseconds limit, Reader reader);

}  // namespace ctl

#endif
