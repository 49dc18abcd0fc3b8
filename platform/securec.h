/// \file
/// Bounds-checked memory operations after C11 Annex K. Both are thread-safe and return 0 or an
/// errno number.
#ifndef OWNERLINK_PLATFORM_SECUREC_H
#define OWNERLINK_PLATFORM_SECUREC_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

/// Copies `count` bytes. A null pointer or overlapping buffers are an error, and so is a `count`
/// above `destMax`; then nothing of `src` is copied, and `dest`, where it can be written, is
/// cleared up to `destMax`. A `count` of 0 is 0.
int memcpy_s(void* dest, size_t destMax, const void* src, size_t count);

/// Sets `count` bytes to `value`. A `count` above `destMax` sets `destMax` bytes and is an error.
int memset_s(void* dest, size_t destMax, int value, size_t count);

#ifdef __cplusplus
}
#endif

#endif
