#include "tools/ctl/app_states.h"

#include <ownerlink/enum_text.h>

namespace ctl {
namespace {

std::string StateOf(uint32_t status)
{
    const std::string text = ProcMgr::GetAppExecStateStr(status);
    return text.empty() ? std::to_string(status) : text;
}

// Finds the owner of one answer in the library's record of it. The records are in the order of the
// answers; `next` moves along.
std::string OwnerOf(const AppStatus& answer, const std::vector<LogRecord>& records, size_t& next,
                    const OwnerTable& table)
{
    while (next < records.size() && records[next].text.find("): secvfs=") == std::string::npos) {
        ++next;
    }
    if (next == records.size()) {
        return "";
    }
    const std::string& text = records[next++].text;
    for (const std::string& resource : table.Resources()) {
        const std::string mark = "secvfs=" + resource + " appName=" + answer.appName + " status=";
        if (text.find(mark) != std::string::npos) {
            return table.OwnersOf(resource);
        }
    }
    return "";
}

}  // namespace

AppStates AskStates(Session& session, const OwnerTable& table,
                    const std::vector<std::string>& names, int timeOut, int queryType)
{
    std::vector<AppStatus> statuses;
    Answer answer = session.Query(names, statuses, timeOut, queryType);
    AppStates states = {answer.code, std::move(answer.fates), {}};
    size_t next = 0;
    for (const AppStatus& status : statuses) {
        const std::string owner = OwnerOf(status, answer.records, next, table);
        states.apps.push_back(
            {owner, status.appName, StateOf(status.status), status.status, status.pid, false});
    }
    return states;
}

}  // namespace ctl
