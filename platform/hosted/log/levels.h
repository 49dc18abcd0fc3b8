// Levels and modules of the log: their numbers, names and order, and the sets of them that a sink
// takes.
#ifndef OWNERLINK_PLATFORM_HOSTED_LOG_LEVELS_H
#define OWNERLINK_PLATFORM_HOSTED_LOG_LEVELS_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace hosted::log {

constexpr uint32_t kDebug = 0;
constexpr uint32_t kInformation = 1;
constexpr uint32_t kWarning = 2;
constexpr uint32_t kError = 3;
constexpr uint32_t kNotice = 16;

constexpr uint32_t kServerModule = 27;
constexpr uint32_t kClientModule = 54;
constexpr uint32_t kPlatformModule = 90;
constexpr uint32_t kMilestoneBit = 1U << 24;

constexpr uint32_t PlainModule(uint32_t module)
{
    return module & ~kMilestoneBit;
}

// A set of levels: bit n stands for level n. Bit 31 is free for the user of the set.
using LevelSet = uint32_t;

// The bit of a level. The numbers that mean nothing are taken as information.
constexpr LevelSet LevelBit(uint32_t level)
{
    return 1U << (level < 31 ? level : kInformation);
}

// A level and all above it.
LevelSet LevelsFrom(uint32_t lowest);

// The set that a name ("debug", "warn", "off"...) or a number asks for.
std::optional<LevelSet> ParseLevels(std::string_view text);

std::string LevelName(uint32_t level);

// The priority of syslog and the journal.
int SyslogPriority(uint32_t level);

// One set for each module that can be levelled by itself, and one for all the others.
constexpr uint32_t kModuleLimit = 256;
constexpr size_t ModuleSlot(uint32_t module)
{
    const uint32_t plain = PlainModule(module);
    return plain < kModuleLimit ? plain : kModuleLimit;
}
using LevelTable = std::array<LevelSet, kModuleLimit + 1>;

std::optional<uint32_t> ParseModule(std::string_view text);

// The name of a plain module, or its number.
std::string ModuleName(uint32_t module);

// All digits and not above `limit`.
std::optional<uint64_t> ParseNumber(std::string_view text, uint64_t limit);

bool EqualsIgnoringCase(std::string_view left, std::string_view right);

}  // namespace hosted::log

#endif
