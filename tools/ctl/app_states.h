// What the owners say of their applications.
#ifndef OWNERLINK_TOOLS_CTL_APP_STATES_H
#define OWNERLINK_TOOLS_CTL_APP_STATES_H

#include <string>
#include <vector>

#include "tools/ctl/report.h"
#include "tools/ctl/session.h"

namespace ctl {

struct AppStates {
    uint32_t code = 0;
    Fates fates;
    std::vector<AppRow> apps;  // in the order of the library's answer
};

// No names ask for all applications.
AppStates AskStates(Session& session, const OwnerTable& table,
                    const std::vector<std::string>& names, int timeOut, int queryType);

}  // namespace ctl

#endif
