// What /proc says of processes: who they are, and to which application they belong.
#ifndef OWNERLINK_TOOLS_OWNERD_PROCESS_TABLE_H
#define OWNERLINK_TOOLS_OWNERD_PROCESS_TABLE_H

#include <sys/types.h>

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace ownerd {

// The variables by which a process is known as an application's, wherever it has forked away to.
inline constexpr const char* kOwnerVariable = "OWNERLINK_OWNERD";
inline constexpr const char* kApplicationVariable = "OWNERLINK_APP";

struct ProcessStat {
    pid_t session = -1;
    uint64_t startTime = 0;  // in ticks since boot; a number used again has another one
    bool isGone = false;     // a zombie runs no more
};
std::optional<ProcessStat> ReadStat(pid_t pid);

// The living processes of an owner by application. `sessions` gives the leaders that are known: a
// process that has cleared its environment is found by its session.
using ProcessesByApplication = std::map<std::string, std::vector<pid_t>>;
ProcessesByApplication FindProcesses(const std::string& owner,
                                     const std::map<pid_t, std::string>& sessions);

}  // namespace ownerd

#endif
