#include "platform/hosted/log/line.h"

#include <sys/prctl.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdio>

namespace hosted::log {
namespace {

bool IsControl(char character)
{
    return static_cast<unsigned char>(character) < 0x20 || character == 0x7f;
}

void AppendEscape(std::string& to, char control)
{
    switch (control) {
        case '\n':
            to += "\\n";
            return;
        case '\r':
            to += "\\r";
            return;
        case '\t':
            to += "\\t";
            return;
        default:
            break;
    }
    constexpr char kDigits[] = "0123456789abcdef";
    to += "\\x";
    to += kDigits[static_cast<unsigned char>(control) >> 4];
    to += kDigits[control & 0xf];
}

std::string Kind(const Record& record)
{
    return LevelName(record.level) + ' ' + ModuleName(PlainModule(record.module)) +
           ((record.module & kMilestoneBit) != 0 ? " milestone " : " ");
}

std::string Thread(const Origin& origin)
{
    return '[' + std::to_string(origin.process) + ':' + std::to_string(origin.thread) + ' ' +
           Visible(origin.threadName) + "] ";
}

}  // namespace

Origin OriginOfCaller()
{
    Origin origin;
    clock_gettime(CLOCK_REALTIME, &origin.time);
    origin.process = getpid();
    origin.thread = gettid();
    std::array<char, 17> name{};
    prctl(PR_GET_NAME, name.data());
    origin.threadName = name.data();
    return origin;
}

std::string Visible(std::string_view text)
{
    std::string visible;
    visible.reserve(text.size());
    for (const char character : text) {
        if (IsControl(character)) {
            AppendEscape(visible, character);
        } else {
            visible += character;
        }
    }
    return visible;
}

std::string FormatTime(const timespec& time)
{
    using namespace std::chrono;
    const sys_seconds now{seconds{time.tv_sec}};
    const auto midnight = floor<days>(now);
    const year_month_day date{midnight};
    const hh_mm_ss clock{now - midnight};
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%04d-%02u-%02uT%02d:%02d:%02d.%06ldZ",
                  static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
                  static_cast<unsigned>(date.day()), static_cast<int>(clock.hours().count()),
                  static_cast<int>(clock.minutes().count()),
                  static_cast<int>(clock.seconds().count()), time.tv_nsec / 1000);
    return text.data();
}

Line::Line(const Record& record, const Origin& origin)
    : level_(record.level),
      module_(record.module),
      origin_(origin),
      whole_(FormatTime(origin.time) + ' ' + Kind(record)),
      thread_(whole_.size()),
      text_(whole_.append(Thread(origin)).size())
{
    whole_ += Visible(record.text);
    whole_ += '\n';
}

std::string_view Line::Text() const
{
    return std::string_view(whole_).substr(text_, whole_.size() - text_ - 1);
}

std::string_view Line::TextWithThread() const
{
    return std::string_view(whole_).substr(thread_, whole_.size() - thread_ - 1);
}

std::string Line::WithoutTime() const
{
    const size_t start = whole_.find(' ') + 1;
    return whole_.substr(start, whole_.size() - start - 1);
}

}  // namespace hosted::log
