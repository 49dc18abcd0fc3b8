#include "tools/ctl/duration.h"

#include <charconv>
#include <string_view>

namespace ctl {
namespace {

constexpr double kDayMs = 24.0 * 3600 * 1000;

std::optional<double> MillisecondsPer(std::string_view unit)
{
    if (unit == "ms") {
        return 1;
    }
    if (unit == "s" || unit.empty()) {
        return 1000;
    }
    return unit == "m" ? std::optional(60000.0) : std::nullopt;
}

}  // namespace

std::optional<std::chrono::milliseconds> ParseDuration(const std::string& text)
{
    const char* const end = text.data() + text.size();
    double number = 0;
    // No exponents: "1e3" is a slip of the finger more often than a thousand.
    const auto [rest, error] = std::from_chars(text.data(), end, number, std::chars_format::fixed);
    const auto factor = MillisecondsPer(std::string_view(rest, static_cast<size_t>(end - rest)));
    // Written so that "nan" is refused, too.
    if (error != std::errc() || !factor || !(number >= 0 && number * *factor <= kDayMs)) {
        return std::nullopt;
    }
    return std::chrono::milliseconds(static_cast<long>(number * *factor));
}

}  // namespace ctl
