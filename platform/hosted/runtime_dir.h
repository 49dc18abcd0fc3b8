// The directory in which owners publish their endpoints.
//
// OWNERLINK_RUNTIME_DIR names it; else it is /run/ownerlink for root and $XDG_RUNTIME_DIR/ownerlink
// for everybody else. The environment is read once, at the first call.
#ifndef OWNERLINK_PLATFORM_HOSTED_RUNTIME_DIR_H
#define OWNERLINK_PLATFORM_HOSTED_RUNTIME_DIR_H

#include <sys/types.h>

#include <string>

#include "platform/hosted/outcome.h"
#include "platform/hosted/unique_fd.h"

namespace hosted {

struct RuntimeDir {
    UniqueFd fd;
    uid_t owner = 0;  // this user and root may publish
};

// Empty when the environment names none.
const std::string& RuntimeDirPath();

// For a client: ENOENT when there is none, EACCES when it is a link or open to other writers, or a
// third user's where anybody could have put it.
Outcome<RuntimeDir> OpenRuntimeDir();

// For an owner: as above, but makes a directory that is missing, and EACCES also when this process
// may not publish in it. Logs which directory and why.
Outcome<RuntimeDir> PrepareRuntimeDir();

}  // namespace hosted

#endif
