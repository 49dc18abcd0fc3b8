// The unit's name in the log records of the codecs on the manager's side.
#ifndef OWNERLINK_WIRE_CLIENT_UNIT_H
#define OWNERLINK_WIRE_CLIENT_UNIT_H

#include "foundation/log_routes.h"

namespace Ownerlink::Serialization {

inline constexpr char kLogUnit[] = "OwnerlinkSerialization";

}  // namespace Ownerlink::Serialization

#endif
