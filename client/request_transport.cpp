// One exchange with an owner: the only road to it.

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <new>

#include "client/OwnerlinkClientImpl.h"
#include "client/client_unit.h"
#include "client/traced_open.h"
#include "foundation/text_reader.h"
#include "foundation/trace_points.h"
#include "platform/securec.h"
#include "wire/record_limits.h"

namespace Ownerlink {
namespace {

using ProcMgr::kDataCapacity;
using ProcMgr::kDataOffset;
using ProcMgr::kRecordSize;

constexpr int kOpenRetries = 3;
constexpr useconds_t kOpenPause = 10000;  // microseconds

}  // namespace

bool OwnerlinkClientImpl::GenerateRequest(IAMIoctlArg& arg, const OwnerlinkRequestMsg& req,
                                          const std::string& resFileName) const
{
    arg.size = kRecordSize;
    arg.buf = new (std::nothrow) char[kRecordSize];
    if (arg.buf == nullptr) {
        return false;
    }
    if (memcpy_s(arg.buf, arg.size, &req, kRecordSize) != 0) {
        const int error = errno;
        CLIENT_LOG(kFailure,
                   "GenerateRequest, memcpy_s failed. (resFileName=%s,err=%d,msgsize=%zu bytes)",
                   resFileName.c_str(), error, arg.size);
        return false;
    }
    return true;
}

void OwnerlinkClientImpl::DeleteRequest(IAMIoctlArg& arg) const
{
    delete[] static_cast<char*>(arg.buf);
    arg.buf = nullptr;
}

bool OwnerlinkClientImpl::CloseVfsFd(int fd) const
{
    const int ret = close(fd);
    if (ret < 0) {
        const int error = errno;
        CLIENT_LOG(kFailure, "CloseVfsFd, close failed. (fd=%d,err=%d,ret=%d)", fd, error, ret);
        return false;
    }
    return true;
}

bool OwnerlinkClientImpl::SendRequestToOwnerByVfs(OwnerlinkRequestType type,
                                                  const std::string& resFileName,
                                                  const OwnerlinkRequestMsg& req,
                                                  OwnerlinkResponseMsg& resp, int fd) const
{
    if (type != ProcMgr::VERIFY_APP) {
        fd = OpenOwner(resFileName);
        if (fd < 0) {
            return false;
        }
    }
    ApplyTimeOut(fd, resFileName);
    IAMIoctlArg arg{};
    if (!GenerateRequest(arg, req, resFileName) || !Exchange(type, fd, resFileName, arg, resp)) {
        CloseVfsFd(fd);
        DeleteRequest(arg);
        return false;
    }
    // Closed here also for VERIFY_APP, whose caller goes on holding the number. An answer that has
    // come in whole still fails with its close.
    DeleteRequest(arg);
    return CloseVfsFd(fd);
}

int OwnerlinkClientImpl::OpenOwner(const std::string& resFileName) const
{
    int fd = TracedOpen(resFileName, O_RDWR);
    if (fd < 0) {
        int error = errno;
        fd = RetryOpen(resFileName, fd, error);
        if (fd < 0) {
            CLIENT_LOG(kFailure,
                       "SendRequestToOwnerByVfs, open failed. (fd=%d,resFileName=%s,err=%d)", fd,
                       resFileName.c_str(), error);
            return fd;
        }
    }
    CLIENT_LOG(kProgress, "SendRequestToOwnerByVfs, open succeed. (fd=%d,resFileName=%s)", fd,
               resFileName.c_str());
    return fd;
}

// Tries again while the platform says that it timed out. `fd` is what the first attempt gave, and
// `error` the last failure's.
int OwnerlinkClientImpl::RetryOpen(const std::string& resFileName, int fd, int& error) const
{
    for (int retries = 0; retries < kOpenRetries; ++retries) {
        if (error != ETIMEDOUT) {
            return fd;
        }
        fd = TracedOpen(resFileName, O_RDWR);
        if (fd >= 0) {
            CLIENT_MILESTONE(
                "SendRequestToOwnerByVfs, open succ after retry %d times. "
                "(fd=%d,resFileName=%s,err=%d)",
                retries, fd, resFileName.c_str(), error);
            return fd;
        }
        error = errno;
        usleep(kOpenPause);
    }
    CLIENT_LOG(kFailure,
               "SendRequestToOwnerByVfs, open failed after retry %d times. "
               "(fd=%d,resFileName=%s,err=%d)",
               kOpenRetries, fd, resFileName.c_str(), error);
    return fd;
}

// A failure leaves the descriptor the time-out that it had.
void OwnerlinkClientImpl::ApplyTimeOut(int fd, const std::string& resFileName) const
{
    if (IAMResetFileConfig(fd, timedOut_) != 0) {
        CLIENT_LOG(kFailure,
                   "SendRequestToOwnerByVfs, IAMResetFileConfig failed. "
                   "(fd=%d,resFileName=%s,timeout=%dms)",
                   fd, resFileName.c_str(), timedOut_.load());
    }
}

bool OwnerlinkClientImpl::Exchange(OwnerlinkRequestType type, int fd,
                                   const std::string& resFileName, IAMIoctlArg& arg,
                                   OwnerlinkResponseMsg& resp) const
{
    CLIENT_LOG(kProgress, "SendRequestToOwnerByVfs, ioctl begins. (fd=%d,resFileName=%s)", fd,
               resFileName.c_str());
    ProcMgr::trace::Send(resFileName.c_str(), type, fd, timedOut_);
    const long ret = ioctl(fd, type, &arg);
    ProcMgr::trace::Receive(resFileName.c_str(), type, fd, ret);
    if (ret < 0) {
        const int error = errno;
        CLIENT_LOG(kFailure,
                   "SendRequestToOwnerByVfs, ioctl failed. "
                   "(fd=%d,resFileName=%s,ret=%ld,err=%d,timeout=%d)",
                   fd, resFileName.c_str(), ret, error, timedOut_.load());
        return false;
    }
    CLIENT_LOG(kProgress,
               "SendRequestToOwnerByVfs, ioctl success. (fd=%d,resFileName=%s,ret=%ld,timeout=%d)",
               fd, resFileName.c_str(), ret, timedOut_.load());
    return TakeResponse(fd, resFileName, arg, resp);
}

// Copies the size and the payload. The time-out between them is the request's own, and stays out.
bool OwnerlinkClientImpl::TakeResponse(int fd, const std::string& resFileName,
                                       const IAMIoctlArg& arg, OwnerlinkResponseMsg& resp) const
{
    const char* const answer = static_cast<const char*>(arg.buf);
    std::memcpy(&resp.size, answer, sizeof(resp.size));
    if (resp.size > kDataCapacity) {
        CLIENT_LOG(kProgress, "SendRequestToOwnerByVfs response size=%zubytes > %zubytes",
                   resp.size, kDataCapacity);
        return false;
    }
    if (memcpy_s(resp.data, resp.size, answer + kDataOffset, resp.size) != 0) {
        CLIENT_LOG(kProgress, "SendRequestToOwnerByVfs memcpy failed response size=%zubytes",
                   resp.size);
        return false;
    }
    CLIENT_LOG(kProgress,
               "SendRequestToOwnerByVfs success. (fd=%d,resFileName=%s,size=%zu bytes,timeout=%d)",
               fd, resFileName.c_str(), resp.size, timedOut_.load());
    return true;
}

bool OwnerlinkClientImpl::GetResultFromResponse(const OwnerlinkResponseMsg& resp) const
{
    if (!ProcMgr::IsResponseSize(resp.size)) {
        CLIENT_LOG(kFailure, "GetResultFromResponse resp size=%u bytes",
                   static_cast<unsigned>(resp.size));
        return false;
    }
    bool result = false;
    ProcMgr::TextReader(ProcMgr::PayloadView(resp)) >> result;
    return result;
}

}  // namespace Ownerlink
