// Answers queries for the state of applications, and takes the list of what a manager last changed.

#include <ownerlink/enum_text.h>

#include "server/ownerlink_server_impl.h"
#include "server/server_unit.h"
#include "server/text_answer.h"
#include "wire/binary_fields.h"

namespace ProcMgr {
namespace {

bool ReadQuery(const OwnerlinkRequestMsg& request, QueryAppStatusMsg& query)
{
    FieldReader reader(request);
    uint32_t count = 0;
    if (!reader.Read(count) || count > reader.Left()) {
        return false;
    }
    query.appList.resize(count);
    for (std::string& name : query.appList) {
        if (!reader.Read(name)) {
            return false;
        }
    }
    return reader.Read(query.queryType);
}

bool WriteAnswers(bool verdict, const std::vector<AppStatus>& appStatus,
                  OwnerlinkResponseMsg& response)
{
    FieldWriter writer(response.data);
    writer.Write(static_cast<uint8_t>(verdict));
    writer.Write(static_cast<uint32_t>(appStatus.size()));
    for (const AppStatus& entry : appStatus) {
        if (!writer.Write(entry.appName) || !writer.Write(entry.pid) ||
            !writer.Write(entry.status)) {
            return false;
        }
    }
    response.size = writer.Size();
    return true;
}

}  // namespace

// Unlike a verification, a query that cannot be read runs no callback and gets an empty response.
void OwnerlinkServerImpl::QueryAppState(const OwnerlinkRequestMsg* request,
                                        OwnerlinkResponseMsg& response)
{
    SERVER_LOG(GRP_LOG_INFO, "%s QueryAppState begin", BootStrace(SS_SERVER_NAME).c_str());
    bool verdict = false;
    std::vector<AppStatus> appStatus;
    if (const auto callback = Share(queryAppStateCb_)) {
        QueryAppStatusMsg query;
        if (!ReadQuery(*request, query)) {
            SERVER_LOG(GRP_LOG_ERROR, "QueryAppState DeserializeMessage failed");
            return;
        }
        verdict = CallOwner(QUERY_APP_STATE, callback, query.appList, appStatus, request->timeout,
                            static_cast<int>(query.queryType));
        SERVER_LOG(GRP_LOG_INFO, "QueryAppState callback end. ret=%u",
                   static_cast<unsigned>(verdict));
    } else {
        SERVER_LOG(GRP_LOG_ERROR, "QueryAppState failed, callback is nullptr");
    }
    if (!WriteAnswers(verdict, appStatus, response)) {
        response.size = 0;
        SERVER_LOG(GRP_LOG_ERROR, "QueryAppState SerializeMessage failed");
    }
    SERVER_LOG(GRP_LOG_INFO, "%s QueryAppState finish", BootStrace(SS_SERVER_NAME).c_str());
}

void OwnerlinkServerImpl::VerifyApp(const OwnerlinkRequestMsg* request,
                                    OwnerlinkResponseMsg& response)
{
    const int err = WriteText(CallVerifyApp(request) ? "1" : "0", response);
    if (err != 0) {
        SERVER_LOG(GRP_LOG_ERROR, "VerifyApp memcpy_s failed, err=%d", err);
    }
}

bool OwnerlinkServerImpl::CallVerifyApp(const OwnerlinkRequestMsg* request)
{
    const auto callback = Share(verifyAppCb_);
    if (!callback) {
        SERVER_LOG(GRP_LOG_ERROR, "VerifyApp failed, callback is nullptr");
        return false;
    }
    std::map<std::string, unsigned int> record;
    if (!SS::UnPackVerifyRequest(request, record)) {
        SERVER_LOG(GRP_LOG_ERROR, "VerifyApp UnPackVerifyRequest failed, change record size=%lu",
                   record.size());
    }
    for (const auto& [name, optionType] : record) {
        SERVER_LOG(GRP_LOG_WARN, "VerifyApp receive changeRecord name=%s opt=%s", name.c_str(),
                   GetOptionType(optionType).c_str());
    }
    const bool verdict = CallOwner(VERIFY_APP, callback, record);
    SERVER_LOG(GRP_LOG_WARN, "VerifyApp callback end. ret=%u", static_cast<unsigned>(verdict));
    return verdict;
}

}  // namespace ProcMgr
