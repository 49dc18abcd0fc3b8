#include "tools/ctl/app_states.h"

#include <ownerlink/enum_text.h>

#include "tools/ctl/origins.h"

namespace ctl {
namespace {

std::string StateOf(uint32_t status)
{
    const std::string text = ProcMgr::GetAppExecStateStr(status);
    return text.empty() ? std::to_string(status) : text;
}

}  // namespace

AppStates AskStates(Session& session, const OwnerTable& table,
                    const std::vector<std::string>& names, int timeOut, int queryType)
{
    session.Mark();  // watches and waits ask without end
    std::vector<AppStatus> statuses;
    Answer answer = session.Query(names, statuses, timeOut, queryType);
    AppStates states = {answer.code, std::move(answer.fates), {}};
    Origins origins(answer.records, table, {"): secvfs=", " appName=", " status="});
    for (const AppStatus& status : statuses) {
        const std::string owner = origins.NextOwner(status.appName);
        states.apps.push_back(
            {owner, status.appName, StateOf(status.status), status.status, status.pid, false});
    }
    return states;
}

}  // namespace ctl
