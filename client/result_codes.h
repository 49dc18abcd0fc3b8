// The client end's result codes.
#ifndef OWNERLINK_CLIENT_RESULT_CODES_H
#define OWNERLINK_CLIENT_RESULT_CODES_H

#include <cstdint>

namespace Ownerlink {

inline constexpr uint32_t kSuccess = 0;
inline constexpr uint32_t kSystemStateBusy = 0xF10300;
inline constexpr uint32_t kSystemStateFailed = 0xF10301;
inline constexpr uint32_t kChangeAppFailed = 0xF10303;
inline constexpr uint32_t kStopAllFailed = 0xF10304;
inline constexpr uint32_t kQueryListFailed = 0xF10305;
inline constexpr uint32_t kDumpFailed = 0xF10306;
inline constexpr uint32_t kUpdateCfgFailed = 0xF10307;
inline constexpr uint32_t kUnknownCommand = 0xF10309;
inline constexpr uint32_t kQueryStateFailed = 0xF1030D;

}  // namespace Ownerlink

#endif
