// Bounds-checked copies and the allocation that may fail.
#include <cstdint>
#include <cstring>
#include <functional>
#include <new>
#include <string>

#include "platform/fake/call.h"
#include "platform/securec.h"

namespace OwnerlinkFake {

namespace detail {
namespace {

struct CopyFailure {
    std::function<bool(std::size_t)> which;
    int error = 0;
};

int ErrorForCount(std::size_t count)
{
    CopyFailure failure;
    {
        const Lock lock = LockState();
        failure = Immortal<CopyFailure>();
    }
    return failure.which && failure.which(count) ? failure.error : 0;
}

bool Overlap(const void* dest, const void* src, std::size_t count)
{
    const auto to = reinterpret_cast<uintptr_t>(dest);
    const auto from = reinterpret_cast<uintptr_t>(src);
    return to < from ? from - to < count : to - from < count;
}

int CheckCopy(const void* dest, std::size_t destMax, const void* src, std::size_t count)
{
    if (count == 0) {
        return 0;
    }
    if (dest == nullptr || src == nullptr) {
        return EINVAL;
    }
    return count > destMax || Overlap(dest, src, count) ? ERANGE : 0;
}

int CopyAsUsual(void* dest, std::size_t destMax, const void* src, std::size_t count)
{
    const int error = CheckCopy(dest, destMax, src, count);
    if (error != 0 && dest != nullptr) {
        std::memset(dest, 0, destMax);
    } else if (error == 0 && count != 0) {
        std::memcpy(dest, src, count);
    }
    return error;
}

int SetAsUsual(void* dest, std::size_t destMax, int value, std::size_t count)
{
    if (dest == nullptr) {
        return count == 0 ? 0 : EINVAL;
    }
    std::memset(dest, value, count < destMax ? count : destMax);
    return count > destMax ? ERANGE : 0;
}

// A set failure is the error number itself, as these functions give it.
int SetError(const Call& call)
{
    return call.MustFail() ? call.Error() : static_cast<int>(call.Set()->value);
}

std::string Sizes(std::size_t destMax, std::size_t count)
{
    return std::to_string(destMax) + "," + std::to_string(count);
}

}  // namespace

void ResetCopies()
{
    Immortal<CopyFailure>() = {};
}

}  // namespace detail

void FailCopies(std::function<bool(std::size_t count)> which, int error)
{
    const detail::Lock lock = detail::LockState();
    detail::Immortal<detail::CopyFailure>() = {std::move(which), error};
}

}  // namespace OwnerlinkFake

using OwnerlinkFake::detail::Call;

extern "C" {

int memcpy_s(void* dest, size_t destMax, const void* src, size_t count)
{
    Call call("memcpy_s", OwnerlinkFake::detail::Sizes(destMax, count));
    if (call.Set()) {
        const int error = OwnerlinkFake::detail::SetError(call);
        return static_cast<int>(call.Return(error, call.Error()));
    }
    const int forCount = OwnerlinkFake::detail::ErrorForCount(count);
    if (forCount != 0) {
        return static_cast<int>(call.Return(forCount, forCount));
    }
    return static_cast<int>(
        call.Return(OwnerlinkFake::detail::CopyAsUsual(dest, destMax, src, count)));
}

int memset_s(void* dest, size_t destMax, int value, size_t count)
{
    Call call("memset_s", OwnerlinkFake::detail::Sizes(destMax, count));
    if (call.Set()) {
        const int error = OwnerlinkFake::detail::SetError(call);
        return static_cast<int>(call.Return(error, call.Error()));
    }
    return static_cast<int>(
        call.Return(OwnerlinkFake::detail::SetAsUsual(dest, destMax, value, count)));
}

// In the place of operator new[](size_t, nothrow).
void* OwnerlinkFakeNewArray(size_t size, const std::nothrow_t& /*tag*/) noexcept
{
    Call call("new[]", std::to_string(size));
    void* memory = call.MustFail() ? nullptr : ::operator new[](size, std::nothrow);
    call.Finish(memory == nullptr ? "null" : "");
    return memory;
}

}  // extern "C"
