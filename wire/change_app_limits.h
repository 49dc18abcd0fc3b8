// What a reader of application changes takes, on both ends.
#ifndef OWNERLINK_WIRE_CHANGE_APP_LIMITS_H
#define OWNERLINK_WIRE_CHANGE_APP_LIMITS_H

#include <cstddef>

namespace ProcMgr {

inline constexpr size_t kMostApps = 1024;
inline constexpr size_t kMostArgs = 1024;
inline constexpr size_t kMostDynamicPara = 3;
inline constexpr int kLastDynamicPara = 2;  // the largest index
inline constexpr size_t kMostValues = 1024;

}  // namespace ProcMgr

#endif
