// Starts one process.
#ifndef OWNERLINK_TOOLS_OWNERD_LAUNCH_H
#define OWNERLINK_TOOLS_OWNERD_LAUNCH_H

#include <sys/types.h>

#include <string>
#include <vector>

#include "tools/ownerd/application_config.h"
#include "tools/ownerd/unique_fd.h"

namespace ownerd {

struct LaunchOrder {
    const LaunchConfig* config = nullptr;
    std::vector<std::string> arguments;    // behind those of the configuration
    std::vector<std::string> environment;  // "NAME=value", complete
    bool diesWithOwner = true;
};

struct LaunchedProcess {
    pid_t pid = -1;
    UniqueFd pidFd;
    // Ends with nothing in it when the program runs, or holds a `LaunchFailure`.
    UniqueFd failure;
    UniqueFd output;  // what it prints; empty unless that goes to the owner's log
};

// Where the new process got stuck, and why.
struct LaunchFailure {
    int step = 0;
    int error = 0;
};
std::string Describe(const LaunchFailure& failure);
// Whether it was the program itself that could not be read.
bool IsExecError(const LaunchFailure& failure, int error);

// Starts a process as the leader of its own session. A missing `pid` says that there is none, and
// `failure` (of the parent's own steps) is in `error`.
LaunchedProcess Launch(const LaunchOrder& order, LaunchFailure& error);

}  // namespace ownerd

#endif
