#include "tools/ctl/names.h"

#include <ownerlink/enum_text.h>
#include <ownerlink/wire.h>
#include <strings.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <utility>

namespace ctl {
namespace {

const std::pair<const char*, uint32_t> kCommands[] = {
    {"CHANGE_APP", ProcMgr::CHANGE_APP},         {"SET_SYSTEM_STATE", ProcMgr::SET_SYSTEM_STATE},
    {"RELOAD_CFG", ProcMgr::RELOAD_CFG},         {"DUMP_APP", ProcMgr::DUMP_APP},
    {"STOP_ALL_APP", ProcMgr::STOP_ALL_APP},     {"QUERY_APP_LIST", ProcMgr::QUERY_APP_LIST},
    {"VERIFY_APP", ProcMgr::VERIFY_APP},         {"QUERY_APP_STATE", ProcMgr::QUERY_APP_STATE},
    {"CANCEL_SUSPEND", ProcMgr::CANCEL_SUSPEND},
};

bool IsSame(const std::string& text, const std::string& name)
{
    return strcasecmp(text.c_str(), name.c_str()) == 0;
}

std::optional<long> Number(const std::string& text)
{
    const bool isHex = text.compare(0, 2, "0x") == 0;
    char* end = nullptr;
    errno = 0;
    const long number = std::strtol(text.c_str(), &end, isHex ? 16 : 10);
    if (text.empty() || *end != '\0' || errno != 0 || text.front() == ' ') {
        return std::nullopt;
    }
    return number;
}

std::optional<uint32_t> Unsigned(const std::string& text)
{
    const auto number = Number(text);
    if (!number || *number < 0 || *number > UINT32_MAX) {
        return std::nullopt;
    }
    return static_cast<uint32_t>(*number);
}

std::vector<std::string> TextsOf(std::string (*text)(unsigned long),
                                 std::initializer_list<uint32_t> numbers)
{
    std::vector<std::string> texts;
    for (const uint32_t number : numbers) {
        texts.push_back(text(number));
    }
    return texts;
}

std::string OrNumber(const std::string& text, long number)
{
    return text.empty() ? std::to_string(number) : text;
}

}  // namespace

const std::vector<std::string>& StateTexts()
{
    using namespace ProcMgr;
    static const auto texts = TextsOf(GetSysState, {OFF, WORKING, SUSPEND, UPGRADE, CALIBRATION,
                                                    HIGH_LEVEL_ADS_EXIT, SUSPEND_PRE});
    return texts;
}

const std::vector<std::string>& GroupTexts()
{
    static const auto texts = TextsOf(ProcMgr::GetGroupOwner, {DATAMASTER, IAM, APPMGR});
    return texts;
}

std::optional<int> StateNumber(const std::string& text)
{
    using namespace ProcMgr;
    for (const uint32_t state :
         {OFF, WORKING, SUSPEND, UPGRADE, CALIBRATION, HIGH_LEVEL_ADS_EXIT, SUSPEND_PRE}) {
        if (IsSame(text, GetSysState(state))) {
            return static_cast<int>(state);
        }
    }
    const auto number = Number(text);
    if (!number || *number < INT_MIN || *number > INT_MAX) {
        return std::nullopt;
    }
    return static_cast<int>(*number);
}

std::optional<GroupOwner> GroupNumber(const std::string& text)
{
    for (const GroupOwner group : {DATAMASTER, IAM, APPMGR}) {
        if (IsSame(text, ProcMgr::GetGroupOwner(group))) {
            return group;
        }
    }
    const auto number = Unsigned(text);
    return number ? std::optional(static_cast<GroupOwner>(*number)) : std::nullopt;
}

std::optional<uint32_t> CommandNumber(const std::string& text)
{
    for (const auto& [name, number] : kCommands) {
        if (IsSame(text, name)) {
            return number;
        }
    }
    return Unsigned(text);
}

std::optional<AppName> SplitAppName(const std::string& text)
{
    const size_t slash = text.find('/');
    if (slash == std::string::npos || slash + 1 == text.size()) {
        return std::nullopt;
    }
    const auto group = GroupNumber(text.substr(0, slash));
    return group ? std::optional(AppName{*group, text.substr(slash + 1)}) : std::nullopt;
}

std::string StateText(int state)
{
    return OrNumber(ProcMgr::GetSysState(static_cast<unsigned long>(state)), state);
}

std::string GroupText(uint32_t group)
{
    return OrNumber(ProcMgr::GetGroupOwner(group), group);
}

std::string CommandText(uint32_t command)
{
    for (const auto& [name, number] : kCommands) {
        if (number == command) {
            return name;
        }
    }
    return std::to_string(command);
}

std::string Hex(uint32_t number)
{
    char text[16];
    std::snprintf(text, sizeof text, "0x%X", number);
    return text;
}

std::string Join(const std::vector<std::string>& words, const std::string& separator)
{
    std::string text;
    for (const std::string& word : words) {
        text += (&word == &words.front() ? "" : separator) + word;
    }
    return text;
}

}  // namespace ctl
