#include "platform/securec.h"

#include <cerrno>
#include <cstdint>
#include <cstring>

namespace {

// No object is larger; a bound above it is a negative number that lost its sign.
constexpr size_t kLargestBound = SIZE_MAX >> 1;

bool Overlap(const void* dest, const void* src, size_t count)
{
    const auto to = reinterpret_cast<uintptr_t>(dest);
    const auto from = reinterpret_cast<uintptr_t>(src);
    return to < from ? from - to < count : to - from < count;
}

int ClearAndFail(void* dest, size_t destMax, int error)
{
    std::memset(dest, 0, destMax);
    return error;
}

}  // namespace

extern "C" int memcpy_s(void* dest, size_t destMax, const void* src, size_t count)
{
    if (count == 0) {
        return 0;
    }
    if (dest == nullptr) {
        return EINVAL;
    }
    if (destMax > kLargestBound) {
        return ERANGE;
    }
    if (src == nullptr) {
        return ClearAndFail(dest, destMax, EINVAL);
    }
    if (count > destMax) {
        return ClearAndFail(dest, destMax, ERANGE);
    }
    if (Overlap(dest, src, count)) {
        return ClearAndFail(dest, destMax, EINVAL);
    }
    std::memcpy(dest, src, count);
    return 0;
}

extern "C" int memset_s(void* dest, size_t destMax, int value, size_t count)
{
    if (dest == nullptr) {
        return EINVAL;
    }
    if (destMax > kLargestBound) {
        return ERANGE;
    }
    std::memset(dest, value, count < destMax ? count : destMax);
    // Annex K means this for secrets: the compiler may not drop it although nothing reads `dest`.
    __asm__ __volatile__("" : : "r"(dest) : "memory");
    return count > destMax ? ERANGE : 0;
}
