// Applications as a manager of a middle-sized system would change them.
#ifndef OWNERLINK_BENCH_APPLICATIONS_H
#define OWNERLINK_BENCH_APPLICATIONS_H

#include <ownerlink/wire.h>

#include <cstddef>
#include <vector>

namespace bench {

// To be started, each with one argument and an item of about 55 bytes on the wire. They go round
// the owners.
std::vector<AppInfo> UsualApplications(size_t count);

// The same with arguments that fill a record, so that each travels in one of its own.
std::vector<AppInfo> LargeApplications(size_t count);

// Those of one owner, in order.
std::vector<AppInfo> ShareOf(const std::vector<AppInfo>& applications, size_t owner);

// The records that carry `share` to its owner.
std::vector<ProcMgr::OwnerlinkRequestMsg> RecordsOf(const std::vector<AppInfo>& share);

}  // namespace bench

#endif
