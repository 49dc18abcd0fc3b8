#include "tests/ctl/ctl_test.h"

#include <regex>

std::string Plain(std::string text)
{
    for (const GroupOwner group : kGroups) {
        const std::string resource = ResourceOf(group);
        for (size_t at = 0; (at = text.find(resource)) != std::string::npos;) {
            text.replace(at, resource.size(), '<' + ProcMgr::GetGroupOwner(group) + '>');
        }
    }
    return std::regex_replace(text, std::regex(" +"), " ");
}
