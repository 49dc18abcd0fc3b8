// The log library and syslog.
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <utility>

#include "platform/dlog.h"
#include "platform/fake/call.h"
#include "platform/fake/history.h"

namespace OwnerlinkFake {

namespace detail {
namespace {

struct LogLevels {
    int forAll = 1;
    std::map<std::pair<uint32_t, uint32_t>, int> answers;
};

std::string Format(const char* format, va_list arguments)
{
    va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, again);
    va_end(again);
    if (length < 0) {
        return format;
    }
    std::string text(static_cast<std::size_t>(length) + 1, '\0');
    (void)std::vsnprintf(text.data(), text.size(), format, arguments);
    text.pop_back();
    return text;
}

// Takes "[unit:line]" from the front of the text, where it stands there.
void SplitHead(LogRecord& record)
{
    const std::size_t colon = record.text.find(':');
    const std::size_t end = record.text.find(']');
    if (record.text.rfind('[', 0) != 0 || end == std::string::npos || colon >= end) {
        return;
    }
    const std::string line = record.text.substr(colon + 1, end - colon - 1);
    if (line.empty() || line.find_first_not_of("0123456789") != std::string::npos) {
        return;
    }
    record.unit = record.text.substr(1, colon - 1);
    record.line = static_cast<int>(std::strtol(line.c_str(), nullptr, 10));
    record.text.erase(0, end + 1);
}

void AddSyslog(int priority, const char* format, va_list arguments)
{
    const ErrnoKeeper keeper;
    const auto level = static_cast<uint32_t>(priority);
    const LogRecord record{LogRoute::kSyslog, 0, level, "", 0, Format(format, arguments)};
    AddRecord(LockState(), record);
}

}  // namespace

void ResetLogLevels()
{
    Immortal<LogLevels>() = {};
}

}  // namespace detail

void SetLogLevels(int answer)
{
    const detail::Lock lock = detail::LockState();
    detail::Immortal<detail::LogLevels>().forAll = answer;
}

void SetLogLevel(uint32_t module, uint32_t level, int answer)
{
    const detail::Lock lock = detail::LockState();
    detail::Immortal<detail::LogLevels>().answers[{module, level}] = answer;
}

}  // namespace OwnerlinkFake

using OwnerlinkFake::detail::LockState;

extern "C" {

OWNERLINK_FAKE_EXPORT int CheckLogLevel(uint32_t module, uint32_t level)
{
    const OwnerlinkFake::detail::ErrnoKeeper keeper;
    const auto lock = LockState();
    OwnerlinkFake::detail::AddLevelQuery(lock, {module, level});
    const auto& levels = OwnerlinkFake::detail::Immortal<OwnerlinkFake::detail::LogLevels>();
    const auto found = levels.answers.find({module, level});
    return found == levels.answers.end() ? levels.forAll : found->second;
}

OWNERLINK_FAKE_EXPORT int DlogRecord(uint32_t module, uint32_t level, const char* format, ...)
{
    OwnerlinkFake::detail::ErrnoKeeper keeper;
    va_list arguments;
    va_start(arguments, format);
    OwnerlinkFake::LogRecord record{OwnerlinkFake::LogRoute::kDlog,
                                    module,
                                    level,
                                    "",
                                    0,
                                    OwnerlinkFake::detail::Format(format, arguments)};
    va_end(arguments);
    OwnerlinkFake::detail::SplitHead(record);
    auto lock = LockState();
    OwnerlinkFake::detail::AddRecord(lock, record);
    OwnerlinkFake::detail::WaitWhileHeld(lock, "DlogRecord", "", "DlogRecord(" + record.text + ")");
    const auto result = OwnerlinkFake::detail::TakeResult(lock, "DlogRecord", "");
    keeper.Set(result ? result->error : 0);
    return result ? static_cast<int>(result->value) : 0;
}

OWNERLINK_FAKE_EXPORT int DlogFlush(void)
{
    OwnerlinkFake::detail::Call call("DlogFlush", "");
    return static_cast<int>(call.Return(call.Set().value_or(OwnerlinkFake::Gives(0))));
}

__attribute__((format(printf, 2, 3))) void OwnerlinkFakeSyslog(int priority, const char* format,
                                                               ...)
{
    va_list arguments;
    va_start(arguments, format);
    OwnerlinkFake::detail::AddSyslog(priority, format, arguments);
    va_end(arguments);
}

// The fortified form, which compilers put in the place of syslog.
__attribute__((format(printf, 3, 4))) void OwnerlinkFakeSyslogChk(int priority, int /*flag*/,
                                                                  const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    OwnerlinkFake::detail::AddSyslog(priority, format, arguments);
    va_end(arguments);
}

}  // extern "C"
