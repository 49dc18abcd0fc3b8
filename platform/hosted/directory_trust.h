// Whether the runtime directory is the one that was meant.
#ifndef OWNERLINK_PLATFORM_HOSTED_DIRECTORY_TRUST_H
#define OWNERLINK_PLATFORM_HOSTED_DIRECTORY_TRUST_H

#include "platform/hosted/runtime_dir.h"

namespace hosted {

// True when nobody but root, this process's user and the directory's own could have put it where it
// stands. A directory of root's or of this process's user needs no look at those above it. One of a
// third user's is good below /run or in that user's own place; below /tmp anybody may have been
// ahead of whom we expect.
bool IsWellPlaced(const RuntimeDir& directory);

}  // namespace hosted

#endif
