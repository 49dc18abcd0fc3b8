// The unit's name in the log records of the codecs on the owner's side.
#ifndef OWNERLINK_WIRE_SERVER_UNIT_H
#define OWNERLINK_WIRE_SERVER_UNIT_H

#include "foundation/log_routes.h"

namespace ProcMgr::SS {

inline constexpr char kLogUnit[] = "ownerlink_serialization";

}  // namespace ProcMgr::SS

#endif
