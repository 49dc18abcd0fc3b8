/// \file
/// The log library, as the core calls it. Any platform supplies these three functions.
///
/// A record belongs to a module (a number) and a level: 0 debug, 1 information, 2 warning, 3 error,
/// 16 notice. Bit 24 of the module marks a milestone. All three may be called from any thread and
/// at any time, destructors at process exit included.
#ifndef OWNERLINK_PLATFORM_DLOG_H
#define OWNERLINK_PLATFORM_DLOG_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/// Says whether a record of this module and level is to be written: 1 means yes, anything else no.
int CheckLogLevel(uint32_t module, uint32_t level);

/// Writes one record. `format` is a printf format; the core's begin with "[%s:%d]", source unit and
/// line. The result is 0 or negative, and no caller in the core looks at it.
int DlogRecord(uint32_t module, uint32_t level, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

/// Hands buffered records to their sinks. Never waits for a disk. No caller looks at the result.
int DlogFlush(void);

#ifdef __cplusplus
}
#endif

#endif
