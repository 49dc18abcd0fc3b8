// Control commands and the list of applications: owner after owner, on the caller's thread.

#include <ownerlink/enum_text.h>

#include "client/OwnerlinkClientImpl.h"
#include "client/client_unit.h"
#include "client/result_codes.h"
#include "foundation/text_reader.h"
#include "wire/record_limits.h"

namespace Ownerlink {
namespace {

using ProcMgr::GetGroupOwner;

// Reads the names behind the verdict. The first token is the empty rest of the verdict's own field;
// like every empty one it is skipped.
void ReadAppNames(ProcMgr::TextReader& reader, GroupOwner owner, std::vector<std::string>& apps)
{
    for (std::string name; getline(reader, name, '#');) {
        if (name.empty()) {
            continue;
        }
        CLIENT_LOG(kProgress, "Query app list, groupOwner=%u(%s) app=%s",
                   static_cast<unsigned>(owner), GetGroupOwner(owner).c_str(), name.c_str());
        apps.push_back(name);
    }
}

}  // namespace

uint32_t OwnerlinkClientImpl::UpdateCfg()
{
    return CtrlRequest(CTRL_CMD_UPDATE_CFG);
}

uint32_t OwnerlinkClientImpl::DumpApp()
{
    return CtrlRequest(CTRL_CMD_DUMP);
}

uint32_t OwnerlinkClientImpl::StopAllApp()
{
    return CtrlRequest(CTRL_CMD_STOP_ALL);
}

uint32_t OwnerlinkClientImpl::CtrlRequest(CTRL_CMD cmd)
{
    LoadSecvfsCfg();
    uint32_t code = kSuccess;
    for (const auto& [domain, resFileName] : LoadedTable()) {
        if (domain.groupOwner == IAM) {
            continue;  // takes control commands from a direct call alone; the list below asks it
        }
        const uint32_t failure = ControlOwner(cmd, domain);
        if (failure != kSuccess) {
            code = failure;
        }
    }
    return code;
}

uint32_t OwnerlinkClientImpl::ControlOwner(CTRL_CMD cmd, const OwnerDomain& domain)
{
    switch (cmd) {
        case CTRL_CMD_UPDATE_CFG:
            return UpdateGrpCfg(domain.os, domain.groupOwner) ? kSuccess : kUpdateCfgFailed;
        case CTRL_CMD_STOP_ALL:
            return StopGrpApp(domain.os, domain.groupOwner) ? kSuccess : kStopAllFailed;
        case CTRL_CMD_DUMP:
            return DumpGrp(domain.os, domain.groupOwner) ? kSuccess : kDumpFailed;
        default:
            return kUnknownCommand;
    }
}

bool OwnerlinkClientImpl::UpdateGrpCfg(SsOperSysType os, GroupOwner owner)
{
    const std::string& resFileName = FindResFileName(os, owner);
    if (resFileName.empty()) {
        CLIENT_LOG(kFailure, "UpdateGrpCfg groupOwner is invalid.");
        return false;
    }
    OwnerlinkResponseMsg response;
    if (!SendCommand(ProcMgr::RELOAD_CFG, resFileName, response)) {
        CLIENT_LOG(kFailure, "UpdateGrpCfg SendRequestToOwnerByVfs failed. resFileName=%s",
                   resFileName.c_str());
        return false;
    }
    const bool result = GetResultFromResponse(response);
    if (!result) {
        CLIENT_LOG(kFailure, "UpdateGrpCfg GetResultFromResponse failed. resFileName=%s",
                   resFileName.c_str());
    }
    return result;
}

bool OwnerlinkClientImpl::DumpGrp(SsOperSysType os, GroupOwner owner)
{
    const std::string& resFileName = FindResFileName(os, owner);
    if (resFileName.empty()) {
        CLIENT_LOG(kFailure, "DumpGrp groupOwner is invalid.");
        return false;
    }
    OwnerlinkResponseMsg response;
    if (!SendCommand(ProcMgr::DUMP_APP, resFileName, response)) {
        CLIENT_LOG(kFailure, "DumpGrp SendRequestToOwnerByVfs failed. resFileName=%s",
                   resFileName.c_str());
        return false;
    }
    const bool result = GetResultFromResponse(response);
    if (!result) {
        CLIENT_LOG(kFailure, "DumpGrp GetResultFromResponse failed. resFileName=%s",
                   resFileName.c_str());
    }
    return result;
}

bool OwnerlinkClientImpl::StopGrpApp(SsOperSysType os, GroupOwner owner)
{
    const std::string& resFileName = FindResFileName(os, owner);
    if (resFileName.empty()) {
        CLIENT_LOG(kFailure, "StopAllApp owner=%s is invalid.", GetGroupOwner(owner).c_str());
        return false;
    }
    OwnerlinkResponseMsg response;
    if (!SendCommand(ProcMgr::STOP_ALL_APP, resFileName, response)) {
        CLIENT_LOG(kFailure, "StopAllApp SendRequestToOwnerByVfs failed. resFileName=%s",
                   resFileName.c_str());
        return false;
    }
    const bool result = GetResultFromResponse(response);
    if (!result) {
        CLIENT_LOG(kFailure, "StopAllApp GetResultFromResponse failed. resFileName=%s",
                   resFileName.c_str());
    }
    return result;
}

// A command without a payload: the type says everything.
bool OwnerlinkClientImpl::SendCommand(OwnerlinkRequestType type, const std::string& resFileName,
                                      OwnerlinkResponseMsg& response) const
{
    static constexpr OwnerlinkRequestMsg kEmpty;
    return SendRequestToOwnerByVfs(type, resFileName, kEmpty, response, -1);
}

bool OwnerlinkClientImpl::QueryGrpAppList(SsOperSysType os, GroupOwner owner,
                                          std::vector<std::string>& apps)
{
    const std::string& resFileName = FindResFileName(os, owner);
    if (resFileName.empty()) {
        CLIENT_LOG(kFailure, "Query app list, but iam file is invalid.");
        return false;
    }
    OwnerlinkResponseMsg response;
    bool result = SendCommand(ProcMgr::QUERY_APP_LIST, resFileName, response);
    if (!result) {
        CLIENT_LOG(kFailure, "QueryGrpAppList SendRequestToOwnerByVfs failed. resFileName=%s",
                   resFileName.c_str());
        return false;
    }
    if (!ProcMgr::IsResponseSize(response.size)) {
        CLIENT_LOG(kFailure, "Query app list, but resp is nullptr, resp size=%u bytes",
                   static_cast<unsigned>(response.size));
        return false;
    }
    CLIENT_LOG(kProgress, "Query app list, SendRequestToOwnerByVfs success. groupOwner=%u(%s)",
               static_cast<unsigned>(owner), GetGroupOwner(owner).c_str());
    ProcMgr::TextReader reader(ProcMgr::PayloadView(response));
    reader >> result;  // white space alone leaves the transport's true
    ReadAppNames(reader, owner, apps);
    return result;
}

uint32_t OwnerlinkClientImpl::QueryAppList(
    std::map<unsigned int, std::map<unsigned int, std::vector<std::string>>>& result)
{
    LoadSecvfsCfg();
    uint32_t code = kSuccess;
    for (const auto& [domain, resFileName] : LoadedTable()) {
        std::vector<std::string> apps;
        if (!QueryGrpAppList(domain.os, domain.groupOwner, apps)) {
            code = kQueryListFailed;
            continue;
        }
        if (!apps.empty()) {
            std::vector<std::string>& names = result[domain.os][domain.groupOwner];
            names.insert(names.end(), apps.begin(), apps.end());
        }
    }
    return code;
}

}  // namespace Ownerlink
