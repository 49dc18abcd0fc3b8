// The unit's name in the log records of the client end.
#ifndef OWNERLINK_CLIENT_CLIENT_UNIT_H
#define OWNERLINK_CLIENT_CLIENT_UNIT_H

#include "foundation/log_routes.h"

namespace Ownerlink {

inline constexpr char kLogUnit[] = "OwnerlinkClientImpl";

using ProcMgr::kFailure;
using ProcMgr::kProgress;
using ProcMgr::kWarning;

}  // namespace Ownerlink

#endif
