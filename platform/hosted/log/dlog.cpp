// The three calls of the log library. No exception and no change of errno leaves them.
#include "platform/dlog.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <exception>
#include <string>

#include "platform/hosted/log/router.h"

#define OWNERLINK_LOG_EXPORT __attribute__((visibility("default")))

namespace hosted::log {
namespace {

// What is longer costs an allocation.
constexpr size_t kUsualText = 2048;
// What is longer still is cut, and says so.
constexpr size_t kLongestText = 32U << 10;

class ErrnoKeeper {
public:
    ErrnoKeeper() : saved_(errno) {}
    ~ErrnoKeeper() { errno = saved_; }
    ErrnoKeeper(const ErrnoKeeper&) = delete;
    ErrnoKeeper& operator=(const ErrnoKeeper&) = delete;

private:
    int saved_;
};

int Result(bool written)
{
    return written ? 0 : -1;
}

__attribute__((format(printf, 3, 0))) int WriteLongText(Record record, size_t length,
                                                        const char* format, va_list arguments)
{
    std::string text(std::min(length, kLongestText) + 1, '\0');
    std::vsnprintf(text.data(), text.size(), format, arguments);
    text.pop_back();
    if (length > kLongestText) {
        text += "... (" + std::to_string(length - kLongestText) + " bytes cut)";
    }
    record.text = text;
    return Result(Router::Write(record));
}

__attribute__((format(printf, 2, 0))) int Format(Record record, const char* format,
                                                 va_list arguments)
{
    std::array<char, kUsualText> buffer;
    va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(buffer.data(), buffer.size(), format, arguments);
    int result = 0;
    if (length >= 0 && static_cast<size_t>(length) >= buffer.size()) {
        result = WriteLongText(record, static_cast<size_t>(length), format, again);
    } else {
        // A text that cannot be formatted still tells more by its format than by its absence.
        record.text = length < 0 ? format : buffer.data();
        result = Result(Router::Write(record) && length >= 0);
    }
    va_end(again);
    return result;
}

// Apart from the quick answer, so that that one needs no stack frame.
[[gnu::noinline]] int CheckFirstTime(uint32_t module, uint32_t level)
{
    const ErrnoKeeper keeper;
    try {
        Router::Build();
    } catch (const std::exception&) {
        return 0;
    }
    return gate.MayPass(module, level) ? 1 : 0;
}

}  // namespace
}  // namespace hosted::log

using hosted::log::gate;

extern "C" OWNERLINK_LOG_EXPORT int CheckLogLevel(uint32_t module, uint32_t level)
{
    if (!gate.MayPass(module, level)) {
        return 0;
    }
    return gate.IsSet(module) ? 1 : hosted::log::CheckFirstTime(module, level);
}

extern "C" OWNERLINK_LOG_EXPORT int DlogRecord(uint32_t module, uint32_t level, const char* format,
                                               ...)
{
    const hosted::log::ErrnoKeeper keeper;
    if (format == nullptr || CheckLogLevel(module, level) != 1) {
        return format == nullptr ? -1 : 0;
    }
    va_list arguments;
    va_start(arguments, format);
    int result = -1;
    try {
        result = hosted::log::Format({module, level, {}}, format, arguments);
    } catch (const std::exception&) {
        result = -1;
    }
    va_end(arguments);
    return result;
}

extern "C" OWNERLINK_LOG_EXPORT int DlogFlush(void)
{
    const hosted::log::ErrnoKeeper keeper;
    try {
        return hosted::log::Result(hosted::log::Router::Flush());
    } catch (const std::exception&) {
        return -1;
    }
}
