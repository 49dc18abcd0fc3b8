#include "server/ownerlink_server_impl.h"

#include <cerrno>
#include <cstdlib>
#include <string_view>

#include "foundation/plain_field.h"
#include "platform/securec.h"
#include "server/result_codes.h"
#include "server/server_unit.h"
#include "wire/record_limits.h"

OwnerlinkServer::~OwnerlinkServer() = default;

OwnerlinkServer& OwnerlinkServer::GetInstance()
{
    static ProcMgr::OwnerlinkServerImpl instance;
    return instance;
}

namespace ProcMgr {
namespace {

constexpr uint32_t kServiceTimeOut = 5000;       // milliseconds
constexpr uint32_t kRunModeTimeOut = 1'800'000;  // with DATAMASTER_RUN_MODE=1
constexpr size_t kSizeField = sizeof(uint64_t);  // what is copied out ahead of the payload

}  // namespace

OwnerlinkServerImpl* OwnerlinkServerImpl::pThis_ = nullptr;
Mutex OwnerlinkServerImpl::cancelMutex_;

OwnerlinkServerImpl::OwnerlinkServerImpl()
{
    StorePlain(pThis_, this);
}

// The platform keeps the registration: a request that comes later finds no object.
OwnerlinkServerImpl::~OwnerlinkServerImpl()
{
    StorePlain(resServiceRegistered_, false);
    StorePlain<OwnerlinkServerImpl*>(pThis_, nullptr);
}

OwnerlinkServerImpl* OwnerlinkServerImpl::GetThis()
{
    return LoadPlain(pThis_);
}

int OwnerlinkServerImpl::EnableSyslog()
{
    EnableSyslogState();
    return 0;
}

int OwnerlinkServerImpl::RegisterResService(const std::string& resFileName)
{
    static constexpr IAMFileOps ops = {MyRead, nullptr, MyIoctl, MyOpen, MyClose, nullptr};
    // Recursive, for a platform that calls a hook while it registers. Two threads that register at
    // the same time must not both publish.
    const RecursiveMutexLock lock(registrationMutex_);
    if (LoadPlain(resServiceRegistered_)) {
        return 0;
    }
    resFileName_ = resFileName;
    const IAMServiceDesc desc{resFileName.c_str(), &ops, GetVfsServiceTimeout()};
    SERVER_LOG(GRP_LOG_WARN, "RegisterVfsService begin. serviceName=%s", resFileName.c_str());
    const int ret = IAMRegisterService(&desc);
    if (ret < 0) {
        SERVER_LOG(GRP_LOG_ERROR, "RegisterVfsService failed. ret=%d serviceName=%s", ret,
                   resFileName.c_str());
    }
    StorePlain(resServiceRegistered_, ret >= 0);
    return ret < 0 ? kServiceNotRegistered : 0;
}

uint32_t OwnerlinkServerImpl::GetVfsServiceTimeout() const
{
    const char* const runMode = std::getenv(DATAMASTER_RUN_MODE_ENV.c_str());
    if (runMode == nullptr) {
        return kServiceTimeOut;
    }
    SERVER_LOG(GRP_LOG_WARN, "DATAMASTER_RUN_MODE=%s", runMode);
    return std::string_view(runMode) == "1" ? kRunModeTimeOut : kServiceTimeOut;
}

int OwnerlinkServerImpl::MyOpen(IAMMgrFile* file)
{
    return file == nullptr ? -1 : 0;
}

int OwnerlinkServerImpl::MyClose(IAMMgrFile* file)
{
    return file == nullptr ? -1 : 0;
}

// The service has no read side; managers read to learn whether the owner is alive.
long OwnerlinkServerImpl::MyRead(IAMMgrFile* file, char* /*buf*/, unsigned long /*size*/,
                                 long* /*out*/)
{
    return file == nullptr ? -1 : 0;
}

int OwnerlinkServerImpl::MyIoctl(IAMMgrFile* file, unsigned int cmd, IAMIoctlArg* arg)
{
    if (file == nullptr || arg == nullptr) {
        SERVER_LOG(GRP_LOG_ERROR, "MyIoctl failed. IAMMgrFile or IAMIoctlArg is NULL");
        return kBadArgument;
    }
    if (arg->size != kRecordSize || arg->buf == nullptr) {
        SERVER_LOG(GRP_LOG_ERROR,
                   "OwnerlinkRequestMsg ioBuf invalid. (expectSize=%zubytes,realSize=%lubytes)",
                   kRecordSize, arg->size);
        return kBadArgument;
    }
    OwnerlinkResponseMsg response;
    HandleRequestFromClient(cmd, static_cast<const OwnerlinkRequestMsg*>(arg->buf), response);
    return CopyOut(response, *arg);
}

// Writes the size and the payload over the request, whose time-out between them stays.
int OwnerlinkServerImpl::CopyOut(const OwnerlinkResponseMsg& response, const IAMIoctlArg& arg)
{
    const char* const source = reinterpret_cast<const char*>(&response);
    char* const buf = static_cast<char*>(arg.buf);
    if (memcpy_s(buf, arg.size, source, kSizeField) != 0) {
        const int error = errno;
        SERVER_LOG(GRP_LOG_ERROR,
                   "OwnerlinkRequestMsg memcpy_s failed, errno=%d,(size=%zu bytes,%zu bytes)",
                   error, arg.size, response.size);
        return kCopyFailed;
    }
    const size_t room = arg.size - kDataOffset;
    if (memcpy_s(buf + kDataOffset, room, source + kDataOffset, response.size) != 0) {
        const int error = errno;
        SERVER_LOG(GRP_LOG_ERROR,
                   "OwnerlinkRequestMsg memcpy_s failed! errno=%d,(size:%zu bytes,%zu bytes)",
                   error, room, response.size);
        return kCopyFailed;
    }
    return static_cast<int>(response.size + kSizeField);
}

void OwnerlinkServerImpl::HandleRequestFromClient(unsigned int cmd,
                                                  const OwnerlinkRequestMsg* request,
                                                  OwnerlinkResponseMsg& response)
{
    OwnerlinkServerImpl* const server = GetThis();
    if (server == nullptr) {
        return;  // the process is on its way out: the answer is an empty one
    }
    server->Dispatch(cmd, request, response);
}

void OwnerlinkServerImpl::Dispatch(unsigned int cmd, const OwnerlinkRequestMsg* request,
                                   OwnerlinkResponseMsg& response)
{
    switch (cmd) {
        case CHANGE_APP:
            return ChangeApp(request, response);
        case SET_SYSTEM_STATE:
            return SetSystemStateHandle(request, response);
        case RELOAD_CFG:
            return ReloadCfg(response);
        case DUMP_APP:
            return DumpHandle(response);
        case STOP_ALL_APP:
            return StopAllApp(response);
        case QUERY_APP_LIST:
            return QueryAppList(response);
        case VERIFY_APP:
            return VerifyApp(request, response);
        case QUERY_APP_STATE:
            return QueryAppState(request, response);
        case CANCEL_SUSPEND:
            return CancelSuspendStateHandle(request, response);
        default:
            SERVER_LOG(GRP_LOG_ERROR, "OwnerlinkServer recvs invalid cmd=%u", cmd);
    }
}

}  // namespace ProcMgr
