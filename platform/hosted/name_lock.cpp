#include "platform/hosted/name_lock.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <set>

#include "platform/hosted/endpoint_name.h"
#include "platform/hosted/hosted_log.h"

namespace hosted {
namespace {

constexpr mode_t kLockMode = 0600;

struct HeldNames {
    Mutex mutex;
    std::set<std::string> files HOSTED_GUARDED_BY(mutex);
};

HeldNames& Held()
{
    static HeldNames* const held = new HeldNames;
    return *held;
}

bool EnterTable(const std::string& file)
{
    const MutexLock lock(Held().mutex);
    return Held().files.insert(file).second;
}

void LeaveTable(const std::string& file)
{
    const MutexLock lock(Held().mutex);
    Held().files.erase(file);
}

UniqueFd OpenAt(const RuntimeDir& directory, const std::string& file, int flags)
{
    constexpr int kFlags = O_RDWR | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY;
    return UniqueFd::Make(
        [&] { return openat(directory.fd.Get(), file.c_str(), kFlags | flags, kLockMode); });
}

// What root has just made the directory's user must be able to lock later. Never a file that was
// there before: it may be another name of one that is not to be given away.
UniqueFd MakeLockFile(const RuntimeDir& directory, const std::string& file)
{
    UniqueFd fd = OpenAt(directory, file, O_CREAT | O_EXCL);
    if (fd && directory.owner != geteuid()) {
        (void)!fchown(fd.Get(), directory.owner, static_cast<gid_t>(-1));
    }
    return fd;
}

UniqueFd OpenLockFile(const RuntimeDir& directory, const std::string& file)
{
    UniqueFd fd = OpenAt(directory, file, 0);
    return !fd && errno == ENOENT ? MakeLockFile(directory, file) : std::move(fd);
}

// 0 or EACCES.
int CheckLockFile(const RuntimeDir& directory, int fd, const std::string& file)
{
    struct stat status = {};
    const bool isKnown = fstat(fd, &status) == 0;
    const bool isTrusted = status.st_uid == directory.owner || status.st_uid == 0;
    if (isKnown && isTrusted && S_ISREG(status.st_mode) && status.st_nlink <= 1) {
        return 0;
    }
    HOSTED_LOG(kLogError, "lock file %s refused: of user %u, mode %o, %lu links", file.c_str(),
               status.st_uid, status.st_mode, static_cast<unsigned long>(status.st_nlink));
    return EACCES;
}

int ErrorOfOpen(const std::string& file, int error)
{
    if (error != ELOOP) {
        return error;
    }
    HOSTED_LOG(kLogError, "lock file %s refused: it is a link", file.c_str());
    return EACCES;
}

struct flock WholeFile()
{
    struct flock region = {};
    region.l_type = F_WRLCK;
    region.l_whence = SEEK_SET;
    return region;
}

int LockFile(int fd, std::string_view name)
{
    struct flock region = WholeFile();
    if (fcntl(fd, F_SETLK, &region) == 0) {
        return 0;
    }
    const int error = errno;
    if (error != EAGAIN && error != EACCES) {
        return error;
    }
    region = WholeFile();
    fcntl(fd, F_GETLK, &region);
    HOSTED_LOG(kLogError, "resource %.128s is published by process %d already",
               std::string(name).c_str(), region.l_pid);
    return EADDRINUSE;
}

// Somebody may have removed the file between our open and our lock.
bool IsStillInPlace(const RuntimeDir& directory, int fd, const std::string& file)
{
    struct stat locked = {};
    struct stat named = {};
    return fstat(fd, &locked) == 0 &&
           fstatat(directory.fd.Get(), file.c_str(), &named, AT_SYMLINK_NOFOLLOW) == 0 &&
           locked.st_ino == named.st_ino && locked.st_dev == named.st_dev;
}

// Once: EAGAIN when somebody else made or replaced the file meanwhile.
Outcome<UniqueFd> TryToTakeFile(const RuntimeDir& directory, const std::string& file,
                                std::string_view name)
{
    UniqueFd fd = OpenLockFile(directory, file);
    if (!fd) {
        return Outcome<UniqueFd>::Failed(errno == EEXIST ? EAGAIN : ErrorOfOpen(file, errno));
    }
    int error = CheckLockFile(directory, fd.Get(), file);
    if (error == 0) {
        error = LockFile(fd.Get(), name);
    }
    if (error == 0 && !IsStillInPlace(directory, fd.Get(), file)) {
        error = EAGAIN;
    }
    return error == 0 ? Succeeded(std::move(fd)) : Outcome<UniqueFd>::Failed(error);
}

Outcome<UniqueFd> TakeFile(const RuntimeDir& directory, const std::string& file,
                           std::string_view name)
{
    constexpr int kAttempts = 100;  // against a directory's user who replaces the file for ever
    Outcome<UniqueFd> taken = Outcome<UniqueFd>::Failed(EAGAIN);
    for (int attempt = 0; attempt < kAttempts && taken.error == EAGAIN; ++attempt) {
        taken = TryToTakeFile(directory, file, name);
    }
    return taken;
}

}  // namespace

Outcome<NameLock> NameLock::Take(const RuntimeDir& directory, std::string_view name)
{
    Outcome<NameLock> taken;
    std::string file = LockFileName(name);
    if (!EnterTable(file)) {
        HOSTED_LOG(kLogError, "resource %.128s is published by this process already",
                   std::string(name).c_str());
        taken.error = EADDRINUSE;
        return taken;
    }
    NameLock lock(std::move(file));  // leaves the table again, however the rest goes
    Outcome<UniqueFd> fd = TakeFile(directory, lock.file_, name);
    if (!fd) {
        taken.error = fd.error;
        return taken;
    }
    lock.fd_ = std::move(fd.value);
    return Succeeded(std::move(lock));
}

NameLock::~NameLock()
{
    if (!file_.empty()) {
        // The file first: the table must not admit a second open of it while we hold the lock.
        fd_.Reset();
        LeaveTable(file_);
    }
}

void NameLock::BuildTable()
{
    Held();
}

void NameLock::LockForFork() HOSTED_TSA(no_thread_safety_analysis)
{
    Held().mutex.lock();
}

void NameLock::UnlockAfterFork() HOSTED_TSA(no_thread_safety_analysis)
{
    Held().mutex.unlock();
}

void NameLock::ForgetInChild() HOSTED_TSA(no_thread_safety_analysis)
{
    Held().files.clear();
}

}  // namespace hosted
