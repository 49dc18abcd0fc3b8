// The server end's result codes.
#ifndef OWNERLINK_SERVER_RESULT_CODES_H
#define OWNERLINK_SERVER_RESULT_CODES_H

namespace ProcMgr {

inline constexpr int kServiceNotRegistered = 0xF1030A;
inline constexpr int kQueueNotRegistered = 0xF10308;

// An event could not reach a file.
inline constexpr int kNoFile = 0xF10001;
inline constexpr int kNoBlock = 0xF10209;
inline constexpr int kWriteFailed = 0xF10003;
inline constexpr int kEnqueueFailed = 0xF1020B;

// An ioctl's own failures.
inline constexpr int kBadArgument = -15794176;
inline constexpr int kCopyFailed = -15794179;

}  // namespace ProcMgr

#endif
