// What people call states, owners and applications, and the library's numbers for them.
#ifndef OWNERLINK_TOOLS_CTL_NAMES_H
#define OWNERLINK_TOOLS_CTL_NAMES_H

#include <ownerlink/records.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace ctl {

// OWNER/APP.
struct AppName {
    GroupOwner group = DATAMASTER;
    std::string app;
};

// The number of a text such as "SUSPEND_PRE", in any case, or of a decimal or 0x number. Numbers
// without a text are the library's to judge.
std::optional<int> StateNumber(const std::string& text);
std::optional<GroupOwner> GroupNumber(const std::string& text);
std::optional<uint32_t> CommandNumber(const std::string& text);

// Nothing where the owner's part is no owner or the application's part is empty.
std::optional<AppName> SplitAppName(const std::string& text);

// The texts, or the number where there is none.
std::string StateText(int state);
std::string GroupText(uint32_t group);
std::string CommandText(uint32_t command);
std::string Hex(uint32_t number);

std::string Join(const std::vector<std::string>& words, const std::string& separator);
const std::vector<std::string>& StateTexts();
const std::vector<std::string>& GroupTexts();

}  // namespace ctl

#endif
