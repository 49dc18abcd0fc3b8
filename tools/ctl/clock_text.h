// Moments as people and programs read them.
#ifndef OWNERLINK_TOOLS_CTL_CLOCK_TEXT_H
#define OWNERLINK_TOOLS_CTL_CLOCK_TEXT_H

#include <string>

namespace ctl {

std::string NowInUtc();  // "2026-01-31T08:15:30.123Z"

}  // namespace ctl

#endif
