// The order in which applications start: each behind all that it starts after.
#ifndef OWNERLINK_TOOLS_OWNERD_START_ORDER_H
#define OWNERLINK_TOOLS_OWNERD_START_ORDER_H

#include <vector>

#include "tools/ownerd/application_config.h"
#include "tools/ownerd/config_section.h"

namespace ownerd {

// Sorts them, and otherwise keeps their order. Unknown names and cycles are reported and leave it.
void OrderByStart(std::vector<ApplicationConfig>& applications, Findings& findings);

}  // namespace ownerd

#endif
