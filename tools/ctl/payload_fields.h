// The fields of a payload, by command and direction, as docs/wire-format.md has them.
#ifndef OWNERLINK_TOOLS_CTL_PAYLOAD_FIELDS_H
#define OWNERLINK_TOOLS_CTL_PAYLOAD_FIELDS_H

#include <string>

#include "tools/ctl/report.h"

namespace ctl {

inline constexpr size_t kPayloadOffset = 12;  // in a record

// Appends the fields of `payload` to `record`, whose command and direction say how to read it, and
// a note for whatever does not fit.
void AddPayloadFields(const std::string& payload, DecodedRecord& record);

}  // namespace ctl

#endif
