// The log on standard error, and the bounds-checked copies.

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/dlog.h"
#include "platform/securec.h"

extern "C" {

// Warnings and errors, and all when SAMPLE_LOG is set.
int CheckLogLevel(uint32_t /*module*/, uint32_t level)
{
    static const bool isAll = std::getenv("SAMPLE_LOG") != nullptr;
    return isAll || level == 2 || level == 3 ? 1 : 0;
}

// One line in one write, so that those of several threads do not mix.
int DlogRecord(uint32_t module, uint32_t level, const char* format, ...)
{
    const int error = errno;
    char text[1024];
    const int head = std::snprintf(text, sizeof text, "log(%u,%u) ", module & 0xFFFFFFU, level);
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text + head, sizeof text - static_cast<size_t>(head), format, arguments);
    va_end(arguments);
    const int written = std::fprintf(stderr, "%s\n", text);
    errno = error;
    return written < 0 ? -1 : 0;
}

int DlogFlush(void)
{
    return std::fflush(stderr) == 0 ? 0 : -1;
}

int memcpy_s(void* dest, size_t destMax, const void* src, size_t count)
{
    if (count == 0) {
        return 0;
    }
    if (dest == nullptr) {
        return EINVAL;
    }
    const auto* const to = static_cast<const char*>(dest);
    const auto* const from = static_cast<const char*>(src);
    const bool overlaps = src != nullptr && to < from + count && from < to + count;
    if (src == nullptr || count > destMax || overlaps) {
        std::memset(dest, 0, destMax);
        return src == nullptr || overlaps ? EINVAL : ERANGE;
    }
    std::memcpy(dest, src, count);
    return 0;
}

int memset_s(void* dest, size_t destMax, int value, size_t count)
{
    if (dest == nullptr) {
        return EINVAL;
    }
    std::memset(dest, value, count < destMax ? count : destMax);
    return count > destMax ? ERANGE : 0;
}

}  // extern "C"
