// Publishes system events: each goes into the pool of every file that has the event resource open.

#include "foundation/trace_points.h"
#include "server/ownerlink_server_impl.h"
#include "server/result_codes.h"
#include "server/server_unit.h"

namespace ProcMgr {
namespace {

constexpr uint32_t kQueueTimeOut = 5000;  // milliseconds
constexpr uint32_t kBlockSize = 160;
constexpr uint32_t kBlockCount = 1000;

const char* NameOf(const IamQfsMgrFile& file)
{
    return file.name == nullptr ? "" : file.name;
}

// Gives back the block of an event that did not get through. The record shows why it did not, and
// not how the free itself failed.
void FreeBlock(IAMShmPool& pool, IAMShmBlock& block, int reason, const char* fileName)
{
    if (IAMShmFree(&pool, &block) != 0) {
        SERVER_LOG(GRP_LOG_ERROR, "ReportSysEvent: IAMShmFree failed, err=%d, file=%s", reason,
                   fileName);
    }
}

int ReportTo(const IamQfsMgrFile& file, IAMShmPool& pool, const std::string& text)
{
    IAMShmBlock block{};
    const auto size = static_cast<uint32_t>(text.size());
    int err = IAMShmHandleMalloc(&pool, size, &block);
    if (err != 0) {
        SERVER_LOG(GRP_LOG_ERROR, "ReportSysEvent, Malloc block failed. (err=%d,resFile=%s)", err,
                   NameOf(file));
        return kNoBlock;
    }
    err = IAMShmWrite(&block, text.data(), size, 0);
    if (err != 0) {
        FreeBlock(pool, block, err, NameOf(file));
        SERVER_LOG(GRP_LOG_ERROR, "ReportSysEvent: IAMShmWrite failed, err=%d, file=%s", err,
                   NameOf(file));
        return kWriteFailed;
    }
    err = IAMDataEnqueue(file.queue, &pool, &block);
    if (err < 0) {
        FreeBlock(pool, block, err, NameOf(file));
        SERVER_LOG(GRP_LOG_ERROR, "ReportSysEvent: IAMDataEnqueue failed, err=%d, file=%s", err,
                   NameOf(file));
        return kEnqueueFailed;
    }
    return 0;
}

}  // namespace

std::map<IamQfsMgrFile*, IAMShmPool> OwnerlinkServerImpl::procQfsFileMap_;
Mutex OwnerlinkServerImpl::poolMutex_;
IAMShmBlock OwnerlinkServerImpl::blockHandle_;
IAMShmPool OwnerlinkServerImpl::poolHandle_;

int OwnerlinkServerImpl::InitSysEventServer(const std::string& serviceName)
{
    static constexpr IAMQueueOps ops = {nullptr, nullptr, OwnerlinkServerOpen, OwnerlinkServerClose,
                                        nullptr};
    EnableSyslog();
    const IAMQueueServiceDesc desc{serviceName.c_str(), &ops, kQueueTimeOut, 0};
    SERVER_LOG(GRP_LOG_INFO, "InitSysEventServer IAMRegisterQueueService begin. serviceName=%s",
               serviceName.c_str());
    const int err = IAMRegisterQueueService(&desc);
    if (err < 0) {
        SERVER_LOG(GRP_LOG_ERROR,
                   "InitSysEventServer IAMRegisterQueueService failed err=%d,file=%s", err,
                   serviceName.c_str());
        return kQueueNotRegistered;
    }
    SERVER_LOG(GRP_LOG_INFO, "InitSysEventServer IAMRegisterQueueService success, serviceName=%s",
               serviceName.c_str());
    return 0;
}

int OwnerlinkServerImpl::OwnerlinkServerOpen(IamQfsMgrFile* file)
{
    const MutexLock lock(poolMutex_);
    if (file == nullptr) {
        return -1;
    }
    SERVER_LOG(GRP_LOG_WARN, "OwnerlinkServerOpen is called file=%s", NameOf(*file));
    IAMShmPool& pool = procQfsFileMap_[file];
    pool = IAMShmPool{};
    const IAMShmPoolConfig config{file->name, kBlockSize, kBlockCount};
    const int err = IAMShmRegisterPoolWithConfig(&config, &pool);
    if (err < 0) {
        SERVER_LOG(GRP_LOG_ERROR,
                   "OwnerlinkServerOpen: Register ShmPool failed, fileName=%s, err=%d",
                   NameOf(*file), err);
        return err;
    }
    SERVER_LOG(GRP_LOG_INFO, "OwnerlinkServerOpen: Register ShmPool success, fileName=%s",
               NameOf(*file));
    return 0;
}

int OwnerlinkServerImpl::OwnerlinkServerClose(IamQfsMgrFile* file)
{
    const MutexLock lock(poolMutex_);
    if (file == nullptr) {
        return -1;
    }
    SERVER_LOG(GRP_LOG_WARN, "OwnerlinkServerClose is called file=%s", NameOf(*file));
    const int err = IAMShmDestroyPool(&procQfsFileMap_[file]);
    if (err < 0) {
        SERVER_LOG(GRP_LOG_ERROR, "OwnerlinkServerClose: Free poolHandle failed, err=%d file=%s",
                   err, NameOf(*file));
        return err;
    }
    procQfsFileMap_.erase(file);
    return 0;
}

int OwnerlinkServerImpl::ReportSysEvent(const SysEvent& event)
{
    const MutexLock lock(poolMutex_);
    const std::string text = std::to_string(event.state);
    const bool isLogged = MayWriteServerLog(GRP_LOG_INFO);  // one look for all files
    int result = 0;
    for (auto& [file, pool] : procQfsFileMap_) {
        if (file == nullptr) {
            SERVER_LOG(GRP_LOG_ERROR, "ReportSysEvent: Please wait to open the resFile");
            result = kNoFile;
            continue;
        }
        if (isLogged) {
            SERVER_LOG(GRP_LOG_INFO, "ReportSysEvent. (state=%u,file=%s)", event.state,
                       NameOf(*file));
        }
        trace::EventReport(NameOf(*file), event.state);
        const int failure = ReportTo(*file, pool, text);
        if (failure != 0) {
            result = failure;
        }
    }
    return result;
}

}  // namespace ProcMgr
