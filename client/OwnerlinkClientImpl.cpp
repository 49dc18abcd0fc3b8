#include "client/OwnerlinkClientImpl.h"

#include <ownerlink/enum_text.h>
#include <ownerlink/yaml_node.h>
#include <unistd.h>

#include "client/client_unit.h"
#include "foundation/plain_field.h"

OwnerlinkClient::~OwnerlinkClient() = default;
OwnerlinkClientInner::~OwnerlinkClientInner() = default;

OwnerlinkClient& OwnerlinkClient::GetInstance()
{
    static Ownerlink::OwnerlinkClientImpl instance;
    return instance;
}

OwnerlinkClientInner& OwnerlinkClientInner::GetInstance()
{
    static Ownerlink::OwnerlinkClientImpl instance;
    return instance;
}

namespace Ownerlink {
namespace {

using ProcMgr::KvsTypeYaml;

const std::string kConfigPath = "/etc/tnv/ownerlink_vfs_cfg.yaml";
const std::string kOsTypeKey = "OsType";
const std::string kGroupOwnerKey = "GroupOwner";
const std::string kSecVfsKey = "SecVfs";

constexpr int kShortestTimeOut = 100;
constexpr int kLongestTimeOut = 60000;
constexpr int kServiceTimeOut = -1;

// Reads one entry of the file. False if it is to be skipped.
//
// One node serves all three look-ups, and a failed one leaves it as it was: a missing key reads the
// value of the key before it. An incomplete entry so takes its place in the table, and its failure
// comes to light when the file is opened.
bool ReadOwner(const KvsTypeYaml& entry, bool isSingleDomain, OwnerDomain& domain,
               std::string& resFileName)
{
    KvsTypeYaml sub;
    entry.GetSubKvs(kOsTypeKey, sub);
    const int os = sub.GetInt();
    if (isSingleDomain && os != DP) {
        CLIENT_LOG(kWarning, "single:%d, osTypeFromYAML:%d", static_cast<int>(isSingleDomain), os);
        return false;
    }
    entry.GetSubKvs(kGroupOwnerKey, sub);
    const auto groupOwner = static_cast<uint32_t>(sub.GetInt());
    if (groupOwner > APPMGR) {
        CLIENT_LOG(kFailure, "GroupOwner=%u is bigger than %u", groupOwner,
                   static_cast<unsigned>(APPMGR));
        return false;
    }
    entry.GetSubKvs(kSecVfsKey, sub);
    domain = {static_cast<SsOperSysType>(os), static_cast<GroupOwner>(groupOwner)};
    resFileName = sub.GetString();
    return true;
}

}  // namespace

Mutex OwnerlinkClientImpl::setSystemStateMutex_;
Mutex OwnerlinkClientImpl::changAppStateMutex_;
Mutex OwnerlinkClientImpl::queryAppStateMutex_;
Mutex OwnerlinkClientImpl::verifyMutex_;
std::function<void(const SysEvent&)> OwnerlinkClientImpl::regSysmonitorEventCb_;
std::atomic<bool> OwnerlinkClientImpl::hasRegistedSysEvent_{false};
std::atomic<bool> OwnerlinkClientImpl::hasUnregistedSysEvent_{false};

OwnerlinkClientImpl::~OwnerlinkClientImpl()
{
    ProcMgr::StorePlain(isExiting_, true);
    // The flags are the process's and the descriptor this object's: the object that never
    // subscribed closes its -1, to no effect.
    if (hasRegistedSysEvent_ && !hasUnregistedSysEvent_) {
        close(ProcMgr::LoadPlain(sysEventFd_));
    }
    if (reconnectThread_.joinable()) {
        reconnectThread_.join();
    }
    for (const auto& [fd, domain] : ownerFdMap_) {
        close(fd);
    }
}

uint32_t OwnerlinkClientImpl::SetCoreAffinity(CoreAffinityConfig config)
{
    CLIENT_MILESTONE(
        "SetCoreAffinity config state=%u, checkInterval=%u, checkNum=%d, isWakeUpEnable=%d",
        config.state, config.checkInterval, config.checkNum,
        static_cast<int>(config.isWakeUpEnable));
    DlogFlush();
    return 0;
}

uint32_t OwnerlinkClientImpl::SetSystemCgroup(const std::string& name, unsigned char type,
                                              bool enable)
{
    CLIENT_MILESTONE("SetSystemCgroup name=%s, type=%d, enable=%d", name.c_str(), type,
                     static_cast<int>(enable));
    DlogFlush();
    return 0;
}

bool OwnerlinkClientImpl::IsSingleDomain() const
{
    return true;
}

bool OwnerlinkClientImpl::LoadSecvfsCfg()
{
    if (!secvfsLoaded_) {
        const MutexLock lock(secvfsMutex_);
        if (!secvfsLoaded_) {
            return ReadOwnerTable();
        }
    }
    CLIENT_LOG(kWarning, "Secvfs has been read before !!!");
    return true;
}

bool OwnerlinkClientImpl::ReadOwnerTable()
{
    CLIENT_LOG(kWarning, "read secvfs firstly !!!");
    if (access(kConfigPath.c_str(), F_OK) != 0) {
        CLIENT_LOG(kFailure, "file=%s doesn't exist", kConfigPath.c_str());
        return false;
    }
    CLIENT_LOG(kProgress, "file=%s exist", kConfigPath.c_str());
    KvsTypeYaml root;
    if (!root.InitYamlNode(kConfigPath)) {
        CLIENT_LOG(kWarning, "Load file=%s failed, init yaml node failed", kConfigPath.c_str());
        return false;
    }
    FillOwnerTable(root);
    secvfsLoaded_ = true;
    return true;
}

void OwnerlinkClientImpl::FillOwnerTable(const KvsTypeYaml& root)
{
    std::vector<KvsTypeYaml> entries;
    root.GetArray(entries);
    const bool isSingleDomain = IsSingleDomain();
    for (const KvsTypeYaml& entry : entries) {
        OwnerDomain domain;
        std::string resFileName;
        if (ReadOwner(entry, isSingleDomain, domain, resFileName)) {
            secvfsFromCfg_[domain] = resFileName;
        }
    }
    for (const auto& [domain, resFileName] : secvfsFromCfg_) {
        CLIENT_LOG(kProgress, "secvfsFromCfg_: key=%d %d, value=%s", static_cast<int>(domain.os),
                   static_cast<int>(domain.groupOwner), resFileName.c_str());
    }
}

// A table that another thread is loading at this moment counts as empty.
const OwnerlinkClientImpl::OwnerTable& OwnerlinkClientImpl::LoadedTable() const
{
    // Never destroyed: the objects are built before it, and would outlast it.
    static const OwnerTable& notLoaded = *new const OwnerTable;
    return secvfsLoaded_ ? secvfsFromCfg_ : notLoaded;
}

std::string OwnerlinkClientImpl::GetResFileName(SsOperSysType os, GroupOwner owner)
{
    return FindResFileName(os, owner);
}

// The table's own, which stays; empty for an owner that it lacks.
const std::string& OwnerlinkClientImpl::FindResFileName(SsOperSysType os, GroupOwner owner)
{
    static const std::string& none = *new const std::string;  // likewise never destroyed
    LoadSecvfsCfg();
    const OwnerTable& table = LoadedTable();
    const auto found = table.find({os, owner});
    if (found != table.end()) {
        return found->second;
    }
    CLIENT_LOG(kFailure,
               "GetResFileName failed, cannot find secVfs, (DP-0,SD)=%u, GroupOwner=%u(%s)",
               static_cast<unsigned>(os), static_cast<unsigned>(owner),
               ProcMgr::GetGroupOwner(owner).c_str());
    return none;
}

void OwnerlinkClientImpl::SetTimedOut(int ms)
{
    timedOut_ = ms;
}

// False if `timeOut` is out of range, which sets the default.
bool OwnerlinkClientImpl::TakeTimeOut(int timeOut)
{
    const bool isInRange = timeOut >= kShortestTimeOut && timeOut <= kLongestTimeOut;
    const bool isTaken = isInRange || timeOut == kServiceTimeOut;
    SetTimedOut(isTaken ? timeOut : kDefaultTimeOut);
    return isTaken;
}

}  // namespace Ownerlink
