// How the client end opens a resource file.
#ifndef OWNERLINK_CLIENT_TRACED_OPEN_H
#define OWNERLINK_CLIENT_TRACED_OPEN_H

#include <fcntl.h>

#include <string>

#include "foundation/trace_points.h"

namespace Ownerlink {

// open(2) with its trace point; errno is open's.
inline int TracedOpen(const std::string& resFileName, int flags)
{
    const int fd = open(resFileName.c_str(), flags);
    ProcMgr::trace::Open(resFileName.c_str(), fd);
    return fd;
}

}  // namespace Ownerlink

#endif
