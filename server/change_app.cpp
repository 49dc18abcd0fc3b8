// Serves a request to start, terminate and restart applications: three lists, one callback.

#include <ownerlink/enum_text.h>

#include <algorithm>
#include <utility>

#include "server/ownerlink_server_impl.h"
#include "server/server_unit.h"

namespace ProcMgr {
namespace {

struct ChangeLists {
    std::vector<AppInfoForServer> terminate;
    std::vector<AppInfoForServer> start;
    std::vector<AppInfoForServer> restart;
};

size_t CountOf(uint32_t optionType, const std::vector<AppInfo>& appList)
{
    return static_cast<size_t>(
        std::count_if(appList.begin(), appList.end(),
                      [=](const AppInfo& app) { return app.optionType == optionType; }));
}

// Keeps the request's order within each list. Any other option type is dropped in silence, and an
// application to be terminated loses its dynamic parameters. Nobody else has the request's list:
// its texts are moved.
ChangeLists Sort(std::vector<AppInfo> appList)
{
    ChangeLists lists;
    lists.terminate.reserve(CountOf(TERM, appList));
    lists.start.reserve(CountOf(START, appList));
    lists.restart.reserve(CountOf(RESTART, appList));
    for (AppInfo& app : appList) {
        switch (app.optionType) {
            case START:
                lists.start.emplace_back(std::move(app.appName), std::move(app.args),
                                         std::move(app.dynamicPara));
                break;
            case TERM:
                lists.terminate.emplace_back(std::move(app.appName), std::move(app.args));
                break;
            case RESTART:
                lists.restart.emplace_back(std::move(app.appName), std::move(app.args),
                                           std::move(app.dynamicPara));
                break;
            default:
                break;
        }
    }
    return lists;
}

const char* VerdictText(bool verdict)
{
    return verdict ? "success" : "fail";
}

}  // namespace

void OwnerlinkServerImpl::ChangeApp(const OwnerlinkRequestMsg* request,
                                    OwnerlinkResponseMsg& response)
{
    std::vector<AppInfo> appList;
    if (!SS::UnPackChangeAppInfoRequestMsg(request, appList)) {
        // Goes on: what was read is still carried out.
        SERVER_LOG(GRP_LOG_ERROR, "UnPackChangeAppInfoRequestMsg failed, appChangeList size=%lu",
                   appList.size());
    }
    std::vector<AppChangeInfo> results;
    const bool verdict = CallChangeApp(std::move(appList), results, request->timeout);
    if (!SS::PackChangeAppInfoResponse(verdict, results, response)) {
        SERVER_LOG(GRP_LOG_ERROR, "PackChangeAppInfoResponse failed, ret=%u",
                   static_cast<unsigned>(verdict));
    }
}

bool OwnerlinkServerImpl::CallChangeApp(std::vector<AppInfo> appList,
                                        std::vector<AppChangeInfo>& results, int timeOut)
{
    const ChangeLists lists = Sort(std::move(appList));
    if (const auto callback = Share(changeAppTimeoutCb_)) {
        const bool verdict = CallOwner(CHANGE_APP, callback, lists.terminate, lists.start,
                                       lists.restart, results, timeOut);
        SERVER_LOG(GRP_LOG_WARN, "ChangeAppState with timeout callback end. ret=%u(%s)",
                   static_cast<unsigned>(verdict), VerdictText(verdict));
        return verdict;
    }
    if (const auto callback = Share(changeAppCb_)) {
        const bool verdict =
            CallOwner(CHANGE_APP, callback, lists.terminate, lists.start, lists.restart, results);
        SERVER_LOG(GRP_LOG_WARN, "ChangeAppState callback end. ret=%u(%s)",
                   static_cast<unsigned>(verdict), VerdictText(verdict));
        return verdict;
    }
    SERVER_LOG(GRP_LOG_ERROR, "ChangeAppState failed, callback is nullptr");
    return false;
}

}  // namespace ProcMgr
