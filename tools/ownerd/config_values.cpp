#include "tools/ownerd/config_values.h"

#include <ownerlink/enum_text.h>
#include <sys/resource.h>
#include <syslog.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <csignal>
#include <cstring>
#include <map>
#include <utility>

namespace ownerd {
namespace {

constexpr int kLastClassicSignal = 31;
constexpr size_t kLongestResource = 4096;
constexpr size_t kLongestName = 255;

// A whole number at the start of a text, and what follows it.
struct NumberAndRest {
    uint64_t number = 0;
    std::string rest;
};

std::optional<NumberAndRest> SplitNumber(const std::string& text)
{
    NumberAndRest split;
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, split.number);
    if (error != std::errc() || rest == text.data()) {
        return std::nullopt;
    }
    split.rest.assign(rest, end);
    return split;
}

template <typename Value>
std::optional<Value> Find(const std::map<std::string, Value>& values, const std::string& text)
{
    const auto found = values.find(text);
    return found == values.end() ? std::nullopt : std::optional(found->second);
}

bool IsPrintable(const std::string& text)
{
    return std::none_of(text.begin(), text.end(), [](unsigned char c) { return std::iscntrl(c); });
}

}  // namespace

std::optional<bool> ParseSwitch(const std::string& text)
{
    return Find<bool>({{"true", true}, {"false", false}}, text);
}

std::optional<std::chrono::milliseconds> ParseTime(const std::string& text)
{
    constexpr uint64_t kDay = 24ULL * 60 * 60 * 1000;
    static const std::map<std::string, uint64_t> units = {{"ms", 1}, {"s", 1000}, {"min", 60000}};
    const auto split = SplitNumber(text);
    if (!split) {
        return std::nullopt;
    }
    if (split->number == 0 && split->rest.empty()) {
        return std::chrono::milliseconds(0);
    }
    const auto unit = Find(units, split->rest);
    if (!unit || split->number > kDay / *unit) {
        return std::nullopt;
    }
    return std::chrono::milliseconds(split->number * *unit);
}

std::optional<uint32_t> ParseCount(const std::string& text)
{
    const auto split = SplitNumber(text);
    if (!split || !split->rest.empty() || split->number < 1 || split->number > 1000) {
        return std::nullopt;
    }
    return static_cast<uint32_t>(split->number);
}

std::optional<uint64_t> ParseLimit(const std::string& text)
{
    static const std::map<std::string, uint64_t> units = {
        {"", 1}, {"K", 1ULL << 10}, {"M", 1ULL << 20}, {"G", 1ULL << 30}};
    if (text == "unlimited") {
        return RLIM_INFINITY;
    }
    const auto split = SplitNumber(text);
    const auto unit = split ? Find(units, split->rest) : std::nullopt;
    if (!unit || split->number > (RLIM_INFINITY - 1) / *unit) {
        return std::nullopt;
    }
    return split->number * *unit;
}

std::optional<int> ParseSignal(const std::string& text)
{
    const std::string name = text.rfind("SIG", 0) == 0 ? text.substr(3) : text;
    for (int signal = 1; signal <= kLastClassicSignal; ++signal) {
        const char* const known = sigabbrev_np(signal);
        if (known != nullptr && name == known) {
            return signal;
        }
    }
    return std::nullopt;
}

std::string SignalName(int signal)
{
    const char* const name = sigabbrev_np(signal);
    return name == nullptr ? "signal " + std::to_string(signal) : std::string("SIG") + name;
}

std::optional<uint32_t> ParseState(const std::string& text)
{
    using namespace ProcMgr;
    for (const uint32_t state :
         {OFF, WORKING, SUSPEND, UPGRADE, CALIBRATION, HIGH_LEVEL_ADS_EXIT, SUSPEND_PRE}) {
        if (text == GetSysState(state)) {
            return state;
        }
    }
    return std::nullopt;
}

std::optional<uint32_t> ParseLastingState(const std::string& text)
{
    const auto state = ParseState(text);
    return state && *state <= ProcMgr::CALIBRATION ? state : std::nullopt;
}

std::optional<int> ParsePriority(const std::string& text)
{
    return Find<int>({{"emerg", LOG_EMERG},
                      {"alert", LOG_ALERT},
                      {"crit", LOG_CRIT},
                      {"err", LOG_ERR},
                      {"warning", LOG_WARNING},
                      {"notice", LOG_NOTICE},
                      {"info", LOG_INFO},
                      {"debug", LOG_DEBUG}},
                     text);
}

std::optional<std::string> ParseAbsolutePath(const std::string& text)
{
    return !text.empty() && text.front() == '/' ? std::optional(text) : std::nullopt;
}

std::optional<std::string> ParseResource(const std::string& text)
{
    const bool isName = !text.empty() && text.size() <= kLongestResource && IsPrintable(text);
    return isName ? std::optional(text) : std::nullopt;
}

bool IsVariableName(const std::string& text)
{
    const auto isLetter = [](unsigned char c) {
        return std::isalpha(c) || c == '_';
    };
    return !text.empty() && isLetter(static_cast<unsigned char>(text.front())) &&
           std::all_of(text.begin(), text.end(),
                       [&](unsigned char c) { return isLetter(c) || std::isdigit(c); });
}

bool IsApplicationName(const std::string& text)
{
    return !text.empty() && text.size() <= kLongestName && IsPrintable(text) &&
           text.find('#') == std::string::npos && text.front() != ' ' && text.back() != ' ';
}

}  // namespace ownerd
