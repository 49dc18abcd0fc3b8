// How the layer writes its own messages: through the same log as everybody, under a module number
// of its own. Never with a lock of the layer held: a fork waits for those and for the log's, in an
// order that nobody chose.
#ifndef OWNERLINK_PLATFORM_HOSTED_HOSTED_LOG_H
#define OWNERLINK_PLATFORM_HOSTED_HOSTED_LOG_H

#include "platform/dlog.h"

namespace hosted {

inline constexpr uint32_t kLogModule = 90;
inline constexpr uint32_t kLogDebug = 0;
inline constexpr uint32_t kLogInfo = 1;
inline constexpr uint32_t kLogWarning = 2;
inline constexpr uint32_t kLogError = 3;

}  // namespace hosted

// Resource names may be long; records show them with "%.128s".
#define HOSTED_LOG(level, format, ...)                                               \
    do {                                                                             \
        if (CheckLogLevel(::hosted::kLogModule, level) == 1) [[unlikely]] {          \
            DlogRecord(::hosted::kLogModule, level, "[%s:%d]" format, __FILE_NAME__, \
                       __LINE__ __VA_OPT__(, ) __VA_ARGS__);                         \
        }                                                                            \
    } while (false)

#endif
