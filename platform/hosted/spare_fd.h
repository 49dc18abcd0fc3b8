// A descriptor to give up when the process has no other left, so that what waits in a backlog can
// be accepted and refused.
#ifndef OWNERLINK_PLATFORM_HOSTED_SPARE_FD_H
#define OWNERLINK_PLATFORM_HOSTED_SPARE_FD_H

#include <fcntl.h>

#include "platform/hosted/unique_fd.h"

namespace hosted {

inline UniqueFd MakeSpareFd()
{
    return UniqueFd::Make([] { return open("/dev/null", O_RDONLY | O_CLOEXEC); });
}

}  // namespace hosted

#endif
