// The watch on the owners: finds one that died and came back, and tells it what was last changed
// through this client.

#include <fcntl.h>
#include <ownerlink/enum_text.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <ctime>

#include "client/OwnerlinkClientImpl.h"
#include "client/client_unit.h"
#include "client/traced_open.h"
#include "foundation/ordered_walk.h"
#include "foundation/plain_field.h"

namespace Ownerlink {
namespace {

using ProcMgr::GetGroupOwner;
using ProcMgr::LoadPlain;
using std::chrono::steady_clock;

constexpr auto kReconnectLimit = std::chrono::seconds(5);
constexpr uint32_t kReadFailLimit = 4;
constexpr size_t kProbeSize = 4;

// One for the library: the object whose change came first is the one that watches.
bool reconnectThreadStarted_ = false;

// Reads in a row that failed for no known reason, over all descriptors: the fifth one, and not the
// one that began the run, is reconnected.
uint32_t readFailCount_ = 0;

void Pause()
{
    timespec left{0, 50'000'000};
    while (nanosleep(&left, &left) != 0 && errno == EINTR) {}
}

bool MeansDeadOwner(int error)
{
    return error == ENOENT || error == EBADF || error == EPIPE || error == EBADMSG ||
           error == EBADFD;
}

}  // namespace

void OwnerlinkClientImpl::AddToVerifyRecord(ChangeSenders& infos)
{
    const MutexLock lock(verifyMutex_);
    if (!reconnectThreadStarted_) {
        InitConnectionToOwner();
        reconnectThread_ = std::thread(&OwnerlinkClientImpl::SsCheckAndReconnet, this);
        reconnectThreadStarted_ = true;
    }
    for (auto& [resFileName, info] : infos) {
        RecordChanges(info);
    }
}

void OwnerlinkClientImpl::RecordChanges(ChangeAppThreadInfo& share)
{
    using Names = std::map<std::string, unsigned int>;
    std::map<OwnerDomain, ProcMgr::OrderedWalk<Names>> records;
    for (const AppInfo* const app : share.appList) {
        if (share.states.Of(app->appName) != SUCCESS) {
            continue;
        }
        const OwnerDomain domain{app->os, app->groupOwner};
        auto record = records.find(domain);
        if (record == records.end()) {
            record = records.try_emplace(domain, verifyRecord_[domain]).first;
        }
        record->second.ValueOf(app->appName) = app->optionType;
        CLIENT_MILESTONE("Ss verify with server, add to record. name=%s type=%u(%s)",
                         app->appName.c_str(), app->optionType,
                         ProcMgr::GetOptionType(app->optionType).c_str());
    }
}

// An owner that is not up at this moment is never watched.
void OwnerlinkClientImpl::InitConnectionToOwner()
{
    LoadSecvfsCfg();
    for (const auto& [domain, resFileName] : LoadedTable()) {
        if (resFileName.empty()) {
            CLIENT_LOG(kFailure, "Res file name is null");
            continue;
        }
        const int fd = TracedOpen(resFileName, O_RDONLY);
        if (fd < 0) {
            const int error = errno;
            CLIENT_LOG(kFailure, "Init connection to owner, open failed. file=%s err=%d",
                       resFileName.c_str(), error);
            continue;
        }
        ownerFdMap_[fd] = domain;
        CLIENT_MILESTONE("Init connection to owner. file=%s fd=%d", resFileName.c_str(), fd);
    }
}

void OwnerlinkClientImpl::SsCheckAndReconnet()
{
    prctl(PR_SET_NAME, "SsCheckAndReconnect");
    std::vector<int> watched;  // keeps its room: a round of looks allocates nothing
    while (!LoadPlain(isExiting_)) {
        watched.clear();
        for (const auto& [fd, domain] : ownerFdMap_) {
            watched.push_back(fd);  // a reconnection changes the map
        }
        for (const int fd : watched) {
            if (LoadPlain(isExiting_)) {
                break;
            }
            CheckOwner(fd);
            Pause();
        }
        Pause();
    }
    CLIENT_MILESTONE("Ss check and reconnect thread exit.");
}

void OwnerlinkClientImpl::CheckOwner(int fd)
{
    char probe[kProbeSize];
    const ssize_t ret = read(fd, probe, kProbeSize);
    const int error = errno;
    if (ret >= 0 || error == ETIMEDOUT) {  // a busy owner is alive
        readFailCount_ = 0;
        return;
    }
    if (MeansDeadOwner(error)) {
        TryReconnectOwner(fd);
        readFailCount_ = 0;
        return;
    }
    if (++readFailCount_ > kReadFailLimit) {
        TryReconnectOwner(fd);
        readFailCount_ = 0;
    }
    CLIENT_LOG(kWarning, "SsCheckAndReconnect read fail, ret=%ld errno=%d, retry %d times", ret,
               error, static_cast<int>(readFailCount_));
}

bool OwnerlinkClientImpl::TryReconnectOwner(int fd)
{
    const auto watched = ownerFdMap_.find(fd);
    if (watched == ownerFdMap_.end()) {
        CLIENT_LOG(kFailure, "Try reconnect owner, cannot find fd record. fd=%d", fd);
        close(fd);
        return false;
    }
    const OwnerDomain domain = watched->second;
    const std::string resFileName = GetResFileName(domain.os, domain.groupOwner);
    if (resFileName.empty()) {
        CLIENT_LOG(kFailure, "Res file name is null");
        close(fd);
        ownerFdMap_.erase(fd);
        return false;
    }
    const int newFd = ReopenOwner(resFileName);
    if (newFd > 0) {
        ownerFdMap_[newFd] = domain;
        SsVerifyProc(newFd, domain, resFileName);
        CLIENT_MILESTONE("Reconnect success. (file=%s)", resFileName.c_str());
    } else {
        CLIENT_LOG(kFailure, "Reconnect failed. (file=%s)", resFileName.c_str());
    }
    // An earlier verification may have closed `fd`, so that `open` could hand out that number
    // again: the entry made above then goes here, and the series ends.
    close(fd);
    ownerFdMap_.erase(fd);
    return newFd > 0;
}

// Gives a descriptor above 0, or one that is no success: descriptor 0 is left alone.
int OwnerlinkClientImpl::ReopenOwner(const std::string& resFileName) const
{
    const auto deadline = steady_clock::now() + kReconnectLimit;
    CLIENT_LOG(kProgress, "Ss begin connect server. (file=%s)", resFileName.c_str());
    while (!LoadPlain(isExiting_)) {
        const int fd = TracedOpen(resFileName, O_RDONLY);
        if (fd > 0) {
            return fd;
        }
        if (steady_clock::now() > deadline) {
            break;
        }
        Pause();
    }
    return -1;
}

void OwnerlinkClientImpl::SsVerifyProc(int fd, const OwnerDomain& domain,
                                       const std::string& resFileName)
{
    const auto os = static_cast<unsigned>(domain.os);
    const auto owner = static_cast<unsigned>(domain.groupOwner);
    CLIENT_MILESTONE("Ss verify with server begin. dom=%u owner=%u(%s)", os, owner,
                     GetGroupOwner(owner).c_str());
    const std::map<std::string, unsigned int> record = VerifyRecordOf(domain);
    if (record.empty()) {
        CLIENT_LOG(kProgress, "Ss verify with server, no ss record. file=%s", resFileName.c_str());
        return;
    }
    std::vector<OwnerlinkRequestMsg> msgs;
    if (!Serialization::PackVerifyRequest(record, msgs)) {
        CLIENT_LOG(kFailure, "PackRequest for verifying failed. dom=%u owner=%u(%s)", os, owner,
                   GetGroupOwner(owner).c_str());
        return;
    }
    for (const OwnerlinkRequestMsg& msg : msgs) {
        OwnerlinkResponseMsg response;
        // Closes `fd`, which stays in the map: the next sweep finds EBADF and reconnects, and a
        // second record of this verification fails.
        if (!SendRequestToOwnerByVfs(ProcMgr::VERIFY_APP, resFileName, msg, response, fd)) {
            return;
        }
        if (!GetResultFromResponse(response)) {
            CLIENT_LOG(kFailure,
                       "Ss verify with server, GetResultFromResponse failed. dom=%u owner=%u(%s)",
                       os, owner, GetGroupOwner(owner).c_str());
            return;
        }
    }
    CLIENT_MILESTONE("Ss verify with server success. num=%zu dom=%u owner=%u(%s)", record.size(),
                     os, owner, GetGroupOwner(owner).c_str());
}

std::map<std::string, unsigned int> OwnerlinkClientImpl::VerifyRecordOf(const OwnerDomain& domain)
{
    const MutexLock lock(verifyMutex_);
    return verifyRecord_[domain];
}

}  // namespace Ownerlink
