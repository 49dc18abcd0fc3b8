// The unit's name in the log records of the server end.
#ifndef OWNERLINK_SERVER_SERVER_UNIT_H
#define OWNERLINK_SERVER_SERVER_UNIT_H

#include "foundation/log_routes.h"

namespace ProcMgr {

inline constexpr char kLogUnit[] = "ownerlink_server_impl";

}  // namespace ProcMgr

#endif
