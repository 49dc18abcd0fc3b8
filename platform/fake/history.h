// The sequence of calls and log records.
#ifndef OWNERLINK_PLATFORM_FAKE_HISTORY_H
#define OWNERLINK_PLATFORM_FAKE_HISTORY_H

#include <cstdint>
#include <string>

#include "platform/fake/fake_platform.h"
#include "platform/fake/state.h"

namespace OwnerlinkFake::detail {

// Throws std::invalid_argument if the double knows no function of this name.
void RequireFunction(const std::string& function);

// Adds a call that has begun; `text` is the call without its result. Gives its number.
uint64_t AddCall(const Lock& lock, const std::string& function, const std::string& text);

// Adds the result to the text of call `number`.
void AddResult(const Lock& lock, uint64_t number, const std::string& result);

void AddRecord(const Lock& lock, const LogRecord& record);
void AddLevelQuery(const Lock& lock, LevelQuery query);

}  // namespace OwnerlinkFake::detail

#endif
