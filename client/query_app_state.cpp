// Asks owners for the state of applications, all at once, and merges their answers.

#include <sys/prctl.h>

#include <exception>

#include "client/OwnerlinkClientImpl.h"
#include "client/client_unit.h"
#include "client/result_codes.h"
#include "client/senders.h"
#include "foundation/make_room.h"
#include "wire/binary_fields.h"

namespace Ownerlink {
namespace {

using ProcMgr::BootStrace;
using ProcMgr::SS_AGENT_NAME;

bool WriteQuery(const AppStateQuery& query, OwnerlinkRequestMsg& request)
{
    ProcMgr::FieldWriter writer(request.data);
    writer.Write(static_cast<uint32_t>(query.appList.size()));
    for (const std::string& name : query.appList) {
        if (!writer.Write(name)) {
            return false;
        }
    }
    if (!writer.Write(query.queryType)) {
        return false;
    }
    request.size = writer.Size();
    return true;
}

// Entries that the payload does not reach stand empty.
bool ReadAnswers(const OwnerlinkResponseMsg& response, uint8_t& result,
                 std::vector<AppStatusView>& appStatus)
{
    ProcMgr::FieldReader reader(response);
    uint32_t count = 0;
    if (!reader.Read(result) || !reader.Read(count) || count > reader.Left()) {
        return false;
    }
    appStatus.resize(count);
    for (AppStatusView& entry : appStatus) {
        if (!reader.Read(entry.appName) || !reader.Read(entry.pid) || !reader.Read(entry.status)) {
            return false;
        }
    }
    return true;
}

size_t AnswersOf(const std::map<std::string, QueryAppStateThreadInfo>& infos)
{
    size_t answers = 0;
    for (const auto& [resFileName, info] : infos) {
        answers += info.appStatus.size();
    }
    return answers;
}

uint32_t CombineResults(const SenderResults& results)
{
    for (const auto& [resFileName, result] : results) {
        if (result != 0) {
            CLIENT_LOG(kFailure, "QueryAppState failed. because send to %s failed.",
                       std::string(resFileName).c_str());
            return kQueryStateFailed;
        }
    }
    return kSuccess;
}

// Or, where memory lacks even for this, what says so.
std::exception_ptr BrokenPromise()
{
    try {
        throw std::future_error(std::future_errc::broken_promise);
    } catch (const std::exception&) {
        return std::current_exception();
    }
}

// Of a sender that was not started. Most starts that fail have taken the promise and broken it; one
// that has not, for want of memory, would leave the wait without an end.
void Abandon(std::promise<int>& promise)
{
    try {
        promise.set_exception(BrokenPromise());
    } catch (const std::exception&) {
        return;  // taken
    }
}

}  // namespace

uint32_t OwnerlinkClientImpl::QueryAppState(const std::vector<std::string>& appList,
                                            std::vector<AppStatus>& appStatus, int timeOut,
                                            int queryType)
{
    CLIENT_LOG(kProgress, "%s QueryAppState app size=%zu, queryType=%d",
               BootStrace(SS_AGENT_NAME).c_str(), appList.size(), queryType);
    const MutexLock lock(queryAppStateMutex_);
    if (!TakeTimeOut(timeOut)) {
        CLIENT_LOG(kFailure,
                   "QueryAppState timeOut(%dms) should be -1 or at 100ms~60s, "
                   "set default value:%dms",
                   timeOut, kDefaultTimeOut);
    }
    LoadSecvfsCfg();
    const AppStateQuery query{appList, static_cast<uint32_t>(queryType)};
    QuerySenders infos;
    const JoinGuard guard(infos);
    FillQueryAppStateThreadInfo(infos, queryType);
    StartQueryAppStateThread(infos, query);
    const SenderResults results = CollectResults(infos);
    FillQueryAppStateResult(infos, appStatus, queryType);  // a failed owner's answers as well
    const uint32_t result = CombineResults(results);
    CLIENT_LOG(kProgress, "%s QueryAppState cmd type=%d, finish, ret=0x%X",
               BootStrace(SS_AGENT_NAME).c_str(), queryType, result);
    DlogFlush();
    return result;
}

// Query type 0 goes to the owner of domain (0, 0) alone.
void OwnerlinkClientImpl::FillQueryAppStateThreadInfo(QuerySenders& infos, int queryType) const
{
    for (const auto& [domain, resFileName] : LoadedTable()) {
        if (queryType == 0 && (domain.os != DP || domain.groupOwner != DATAMASTER)) {
            continue;
        }
        SenderOf(infos, resFileName);
    }
}

// A sender that could not be started leaves a broken promise, which the wait then throws.
void OwnerlinkClientImpl::StartQueryAppStateThread(QuerySenders& infos,
                                                   const AppStateQuery& query) const
{
    for (auto& [resFileName, info] : infos) {
        try {
            info.thread = std::thread(&OwnerlinkClientImpl::QueryGrpAppState, this, resFileName,
                                      std::cref(query), std::ref(info), std::move(info.promise));
        } catch (const std::exception& exception) {
            CLIENT_LOG(kFailure, "StartQueryAppStateThread failed, exception = %s.\n",
                       exception.what());
            Abandon(info.promise);
        }
    }
}

void OwnerlinkClientImpl::QueryGrpAppState(const std::string& resFileName,
                                           const AppStateQuery& query,
                                           QueryAppStateThreadInfo& info,
                                           std::promise<int> promise) const
{
    prctl(PR_SET_NAME, "QUERY_APP_STATE");
    promise.set_value(QueryOwner(resFileName, query, info) ? 0 : -1);
}

bool OwnerlinkClientImpl::QueryOwner(const std::string& resFileName, const AppStateQuery& query,
                                     QueryAppStateThreadInfo& info) const
{
    OwnerlinkRequestMsg request;
    if (!WriteQuery(query, request)) {
        CLIENT_LOG(kFailure,
                   "QueryGrpAppState SerializeMessage failed. resFileName=%s, applistSize=%zu",
                   resFileName.c_str(), query.appList.size());
        return false;
    }
    request.timeout = timedOut_;
    if (!SendRequestToOwnerByVfs(ProcMgr::QUERY_APP_STATE, resFileName, request, info.response,
                                 -1)) {
        CLIENT_LOG(kFailure, "QueryGrpAppState SendRequestToOwnerByVfs failed. resFileName=%s",
                   resFileName.c_str());
        return false;
    }
    return TakeAnswers(resFileName, info.response, info.appStatus);
}

bool OwnerlinkClientImpl::TakeAnswers(const std::string& resFileName,
                                      const OwnerlinkResponseMsg& response,
                                      std::vector<AppStatusView>& appStatus) const
{
    if (!ProcMgr::IsResponseSize(response.size)) {
        CLIENT_LOG(kFailure,
                   "QueryGrpAppState, Query app list, but resp is nullptr, resp size=%u bytes",
                   static_cast<unsigned>(response.size));
        return false;
    }
    uint8_t result = 0;
    if (!ReadAnswers(response, result, appStatus)) {
        CLIENT_LOG(kFailure, "QueryGrpAppState DeserializeMessage failed, (file=%s)",
                   resFileName.c_str());
        return false;
    }
    for (const AppStatusView& entry : appStatus) {
        CLIENT_LOG(kProgress,
                   "QueryGrpAppState receive response(from:%s): app=%s, (1-suc,0-fail)=%u, pid=%d, "
                   "status=%u",
                   resFileName.c_str(), std::string(entry.appName).c_str(), result, entry.pid,
                   entry.status);
    }
    if (result == 0) {
        CLIENT_LOG(kFailure, "QueryGrpAppState failed. resFileName=%s", resFileName.c_str());
        return false;
    }
    CLIENT_LOG(kProgress, "QueryGrpAppState @. resFileName=%s", resFileName.c_str());
    return true;
}

void OwnerlinkClientImpl::FillQueryAppStateResult(const QuerySenders& infos,
                                                  std::vector<AppStatus>& appStatus,
                                                  int queryType) const
{
    ProcMgr::MakeRoom(appStatus, AnswersOf(infos));
    for (const auto& [resFileName, info] : infos) {
        for (const AppStatusView& entry : info.appStatus) {
            appStatus.push_back({std::string(entry.appName), entry.pid, entry.status});
            CLIENT_LOG(kProgress, "QueryAppState(cmd=%d): secvfs=%s appName=%s status=%u",
                       queryType, resFileName.c_str(), appStatus.back().appName.c_str(),
                       entry.status);
        }
    }
}

}  // namespace Ownerlink
