// The environment of an application.
#ifndef OWNERLINK_TOOLS_OWNERD_LAUNCH_ENVIRONMENT_H
#define OWNERLINK_TOOLS_OWNERD_LAUNCH_ENVIRONMENT_H

#include <map>
#include <string>
#include <vector>

#include "tools/ownerd/application_config.h"

namespace ownerd {

// Dynamic parameters by index, as a manager gives them.
using Parameters = std::map<int, std::vector<std::string>>;

struct LaunchFacts {
    std::string owner;         // what tells this owner's processes from all others
    std::string notifySocket;  // empty: none
    Parameters parameters;
};

// Gives "NAME=value" for each variable. A parameter of index 2 with the values a and b becomes
// OWNERLINK_PARA_2_COUNT=2, OWNERLINK_PARA_2_0=a and OWNERLINK_PARA_2_1=b; a negative index, -2,
// stands as N2.
std::vector<std::string> MakeEnvironment(const ApplicationConfig& config, const LaunchFacts& facts);

}  // namespace ownerd

#endif
