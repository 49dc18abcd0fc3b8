// Serves the commands without a payload: reload, dump, stop all, list.

#include "server/ownerlink_server_impl.h"
#include "server/server_unit.h"
#include "server/text_answer.h"

namespace ProcMgr {

void OwnerlinkServerImpl::ReloadCfg(OwnerlinkResponseMsg& response)
{
    bool verdict = false;
    if (const auto callback = Share(reloadCb_)) {
        verdict = CallOwner(RELOAD_CFG, callback);
        SERVER_LOG(GRP_LOG_WARN, "Reload cfg callback end. ret=%u", static_cast<unsigned>(verdict));
    } else {
        SERVER_LOG(GRP_LOG_ERROR, "Reload cfg failed, callback is nullptr");
    }
    const std::string text = verdict ? "1" : "0";
    SERVER_LOG(GRP_LOG_WARN, "Reload respStr=%s respStrSize=%zu.", text.c_str(), text.size());
    const int err = WriteText(text, response);
    if (err != 0) {
        SERVER_LOG(GRP_LOG_ERROR, "Reload memcpy_s failed, err=%d", err);
    }
}

void OwnerlinkServerImpl::DumpHandle(OwnerlinkResponseMsg& response)
{
    bool verdict = false;
    if (const auto callback = Share(dumpCb_)) {
        verdict = CallOwner(DUMP_APP, callback);
        SERVER_LOG(GRP_LOG_WARN, "DumpHandle callback end. ret=%u", static_cast<unsigned>(verdict));
    } else {
        SERVER_LOG(GRP_LOG_ERROR, "DumpHandle failed, callback is nullptr");
    }
    const int err = WriteText(verdict ? "1" : "0", response);
    if (err != 0) {
        SERVER_LOG(GRP_LOG_ERROR, "DumpHandle memcpy_s failed, err=%d", err);
    }
}

void OwnerlinkServerImpl::StopAllApp(OwnerlinkResponseMsg& response)
{
    bool verdict = false;
    if (const auto callback = Share(stopAllAppCb_)) {
        verdict = CallOwner(STOP_ALL_APP, callback);
        SERVER_LOG(GRP_LOG_WARN, "StopAllApp callback end. ret=%u", static_cast<unsigned>(verdict));
    } else {
        SERVER_LOG(GRP_LOG_ERROR, "StopAllApp failed, callback is nullptr");
    }
    const int err = WriteText(verdict ? "1" : "0", response);
    if (err != 0) {
        SERVER_LOG(GRP_LOG_ERROR, "stopAllApp memcpy_s failed, err=%d", err);
    }
}

void OwnerlinkServerImpl::QueryAppList(OwnerlinkResponseMsg& response)
{
    bool verdict = false;
    std::vector<std::string> appList;
    if (const auto callback = Share(queryAppListCb_)) {
        verdict = CallOwner(QUERY_APP_LIST, callback, appList);
        SERVER_LOG(GRP_LOG_WARN, "QueryAppList callback end. ret=%u",
                   static_cast<unsigned>(verdict));
    } else {
        SERVER_LOG(GRP_LOG_ERROR, "QueryAppList failed, callback is nullptr");
    }
    std::string text = verdict ? "1#" : "0#";
    if (verdict) {
        for (const std::string& name : appList) {
            text += name;
            text += '#';
        }
    }
    const int err = WriteText(text, response);
    if (err != 0) {
        SERVER_LOG(GRP_LOG_ERROR, "QueryAppList memcpy_s failed, err=%d", err);
    }
}

}  // namespace ProcMgr
