// The single values of the file: each from its text, or nothing if the text is none of its kind.
#ifndef OWNERLINK_TOOLS_OWNERD_CONFIG_VALUES_H
#define OWNERLINK_TOOLS_OWNERD_CONFIG_VALUES_H

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace ownerd {

// "true" or "false", no other word.
std::optional<bool> ParseSwitch(const std::string& text);

// A whole number with "ms", "s" or "min", up to a day; "0" needs no unit.
std::optional<std::chrono::milliseconds> ParseTime(const std::string& text);

// From 1 to 1000.
std::optional<uint32_t> ParseCount(const std::string& text);

// A whole number, with K, M or G for powers of 1024, or "unlimited".
std::optional<uint64_t> ParseLimit(const std::string& text);

// "SIGTERM" or "TERM".
std::optional<int> ParseSignal(const std::string& text);
std::string SignalName(int signal);

// A system state by its name. `ParseLastingState` leaves out those in which nothing can be meant
// to run: SUSPEND_PRE, which passes, and HIGH_LEVEL_ADS_EXIT, which no owner is sent.
std::optional<uint32_t> ParseState(const std::string& text);
std::optional<uint32_t> ParseLastingState(const std::string& text);

// The least severe of syslog's priorities that is still written, as "warning".
std::optional<int> ParsePriority(const std::string& text);

std::optional<std::string> ParseAbsolutePath(const std::string& text);
std::optional<std::string> ParseResource(const std::string& text);

bool IsVariableName(const std::string& text);
bool IsApplicationName(const std::string& text);

}  // namespace ownerd

#endif
