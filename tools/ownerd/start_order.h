// The order in which applications start: each behind all that it starts after.
#ifndef OWNERLINK_TOOLS_OWNERD_START_ORDER_H
#define OWNERLINK_TOOLS_OWNERD_START_ORDER_H

#include <vector>

#include "tools/ownerd/application_config.h"
#include "tools/ownerd/config_section.h"

namespace ownerd {

// Each next one is the first of the file that can be. Unknown names and cycles are reported and
// leave the order as it is.
void OrderByStart(std::vector<ApplicationConfig>& applications, Findings& findings);

}  // namespace ownerd

#endif
