#include "platform/hosted/log/levels.h"

#include <strings.h>
#include <syslog.h>

#include <algorithm>
#include <charconv>

namespace hosted::log {
namespace {

struct Name {
    std::string_view text;
    uint32_t number;
};

// The first name of a number is the one that is printed.
constexpr Name kLevelNames[] = {
    {"debug", kDebug},  {"info", kInformation}, {"notice", kNotice}, {"warning", kWarning},
    {"warn", kWarning}, {"error", kError},      {"err", kError},
};

constexpr Name kModuleNames[] = {
    {"client", kClientModule},
    {"server", kServerModule},
    {"platform", kPlatformModule},
};

// From the lowest to the highest.
constexpr uint32_t kOrder[] = {kDebug, kInformation, kNotice, kWarning, kError};

template <size_t count>
const Name* FindText(const Name (&names)[count], std::string_view text)
{
    const auto* found = std::find_if(std::begin(names), std::end(names), [&](const Name& name) {
        return EqualsIgnoringCase(name.text, text);
    });
    return found == std::end(names) ? nullptr : found;
}

template <size_t count>
const Name* FindNumber(const Name (&names)[count], uint32_t number)
{
    const auto* found = std::find_if(std::begin(names), std::end(names),
                                     [&](const Name& name) { return name.number == number; });
    return found == std::end(names) ? nullptr : found;
}

constexpr LevelSet UnknownLevels()
{
    LevelSet set = (1U << 31) - 1;
    for (const uint32_t level : kOrder) {
        set &= ~LevelBit(level);
    }
    return set;
}

}  // namespace

bool EqualsIgnoringCase(std::string_view left, std::string_view right)
{
    return left.size() == right.size() && strncasecmp(left.data(), right.data(), left.size()) == 0;
}

std::optional<uint64_t> ParseNumber(std::string_view text, uint64_t limit)
{
    uint64_t value = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || stop != end || value > limit) {
        return std::nullopt;
    }
    return value;
}

LevelSet LevelsFrom(uint32_t lowest)
{
    LevelSet set = 0;
    const auto* first = std::find(std::begin(kOrder), std::end(kOrder), lowest);
    std::for_each(first, std::end(kOrder), [&](uint32_t level) { set |= LevelBit(level); });
    if ((set & LevelBit(kInformation)) != 0) {
        set |= UnknownLevels();
    }
    return set;
}

std::optional<LevelSet> ParseLevels(std::string_view text)
{
    if (EqualsIgnoringCase(text, "off")) {
        return LevelSet{0};
    }
    if (const Name* name = FindText(kLevelNames, text)) {
        return LevelsFrom(name->number);
    }
    const auto number = ParseNumber(text, kNotice);
    if (!number || FindNumber(kLevelNames, static_cast<uint32_t>(*number)) == nullptr) {
        return std::nullopt;
    }
    return LevelsFrom(static_cast<uint32_t>(*number));
}

std::string LevelName(uint32_t level)
{
    const Name* name = FindNumber(kLevelNames, level);
    return name != nullptr ? std::string(name->text) : "level" + std::to_string(level);
}

int SyslogPriority(uint32_t level)
{
    switch (level) {
        case kDebug:
            return LOG_DEBUG;
        case kWarning:
            return LOG_WARNING;
        case kError:
            return LOG_ERR;
        case kNotice:
            return LOG_NOTICE;
        default:
            return LOG_INFO;
    }
}

std::optional<uint32_t> ParseModule(std::string_view text)
{
    if (const Name* name = FindText(kModuleNames, text)) {
        return name->number;
    }
    const auto number = ParseNumber(text, kModuleLimit - 1);
    return number ? std::optional(static_cast<uint32_t>(*number)) : std::nullopt;
}

std::string ModuleName(uint32_t module)
{
    const Name* name = FindNumber(kModuleNames, module);
    return name != nullptr ? std::string(name->text) : std::to_string(module);
}

}  // namespace hosted::log
