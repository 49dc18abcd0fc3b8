#include "platform/hosted/runtime_dir.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "platform/hosted/directory_trust.h"
#include "platform/hosted/hosted_log.h"
#include "platform/hosted/permitted_group.h"

namespace hosted {
namespace {

constexpr mode_t kDirectoryMode = 02750;
constexpr const char* kRootDirectory = "/run/ownerlink";

std::string PathFromEnvironment()
{
    const char* path = secure_getenv("OWNERLINK_RUNTIME_DIR");
    if (path != nullptr && *path != '\0') {
        return path;
    }
    if (geteuid() == 0) {
        return kRootDirectory;
    }
    const char* base = secure_getenv("XDG_RUNTIME_DIR");
    return base != nullptr && *base != '\0' ? std::string(base) + "/ownerlink" : std::string();
}

std::string WithoutTrailingSlashes(std::string path)
{
    // Behind a slash O_NOFOLLOW would follow a link after all.
    while (path.size() > 1 && path.back() == '/') {
        path.pop_back();
    }
    return path;
}

UniqueFd OpenDirectory(const std::string& path)
{
    return UniqueFd::Make(
        [&] { return open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC); });
}

// Clients poll for owners; a directory that stays missing is worth one record.
void LogMissingOnce(const std::string& path)
{
    static std::atomic<bool> logged{false};
    if (logged.exchange(true)) {
        return;
    }
    if (path.empty()) {
        HOSTED_LOG(kLogWarning,
                   "no runtime directory: set OWNERLINK_RUNTIME_DIR or XDG_RUNTIME_DIR");
        return;
    }
    HOSTED_LOG(kLogWarning, "runtime directory %s is missing: no owner is up", path.c_str());
}

int LogUnusable(const std::string& path, int error)
{
    const int told = error == ENOTDIR || error == ELOOP ? EACCES : error;
    HOSTED_LOG(
        kLogError, "runtime directory %s cannot be used: %s", path.c_str(),
        error == ENOTDIR || error == ELOOP ? "it is a link or no directory" : strerror(error));
    return told;
}

Outcome<RuntimeDir> CheckDirectory(UniqueFd fd, const std::string& path)
{
    struct stat status = {};
    if (fstat(fd.Get(), &status) != 0) {
        return Outcome<RuntimeDir>::Failed(LogUnusable(path, errno));
    }
    if ((status.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
        HOSTED_LOG(kLogError, "runtime directory %s refused: mode %o lets others write in it",
                   path.c_str(), status.st_mode & 07777U);
        return Outcome<RuntimeDir>::Failed(EACCES);
    }
    RuntimeDir directory{std::move(fd), status.st_uid};
    if (!IsWellPlaced(directory)) {
        HOSTED_LOG(kLogError,
                   "runtime directory %s refused: it is user %u's, where others may put one",
                   path.c_str(), status.st_uid);
        return Outcome<RuntimeDir>::Failed(EACCES);
    }
    return Succeeded(std::move(directory));
}

// Unless somebody has put another in its place.
void GiveToGroup(int fd, const std::string& path)
{
    struct stat status = {};
    if (fstat(fd, &status) != 0 || status.st_uid != geteuid()) {
        return;
    }
    const std::optional<gid_t> group = PermittedGroup().Number();
    if (group && fchown(fd, static_cast<uid_t>(-1), *group) != 0) {
        HOSTED_LOG(kLogWarning, "runtime directory %s cannot be given to group %s: %s",
                   path.c_str(), GroupName(), strerror(errno));
    }
    fchmod(fd, kDirectoryMode);
}

int MakeDirectory(const std::string& path)
{
    if (mkdir(path.c_str(), kDirectoryMode & 0777U) != 0) {
        const int error = errno;
        if (error == EEXIST) {
            return 0;
        }
        HOSTED_LOG(kLogError, "runtime directory %s is missing and cannot be made: %s",
                   path.c_str(), strerror(error));
        return error;
    }
    const UniqueFd made = OpenDirectory(path);
    if (made) {
        GiveToGroup(made.Get(), path);
    }
    return 0;
}

int CheckMayPublish(const RuntimeDir& directory, const std::string& path)
{
    const uid_t user = geteuid();
    if (user != 0 && user != directory.owner) {
        HOSTED_LOG(kLogError, "runtime directory %s is user %u's: user %u may not publish in it",
                   path.c_str(), directory.owner, user);
        return EACCES;
    }
    if (faccessat(directory.fd.Get(), ".", W_OK | X_OK, AT_EACCESS) != 0) {
        const int error = errno;
        HOSTED_LOG(kLogError, "runtime directory %s is not writable: %s", path.c_str(),
                   strerror(error));
        return error;
    }
    return 0;
}

}  // namespace

// No guarded static: a fork in the middle of its making would leave the child waiting.
const std::string& RuntimeDirPath()
{
    static std::atomic<const std::string*> path{nullptr};
    const std::string* known = path.load();
    if (known != nullptr) {
        return *known;
    }
    auto made = std::make_unique<const std::string>(WithoutTrailingSlashes(PathFromEnvironment()));
    return path.compare_exchange_strong(known, made.get()) ? *made.release() : *known;
}

Outcome<RuntimeDir> OpenRuntimeDir()
{
    const std::string& path = RuntimeDirPath();
    UniqueFd fd = path.empty() ? UniqueFd() : OpenDirectory(path);
    if (fd) {
        return CheckDirectory(std::move(fd), path);
    }
    const int error = path.empty() ? ENOENT : errno;
    if (error == ENOENT) {
        LogMissingOnce(path);
        return Outcome<RuntimeDir>::Failed(ENOENT);
    }
    return Outcome<RuntimeDir>::Failed(LogUnusable(path, error));
}

Outcome<RuntimeDir> PrepareRuntimeDir()
{
    const std::string& path = RuntimeDirPath();
    if (path.empty()) {
        LogMissingOnce(path);
        return Outcome<RuntimeDir>::Failed(ENOENT);
    }
    if (const int error = MakeDirectory(path); error != 0) {
        return Outcome<RuntimeDir>::Failed(error);
    }
    Outcome<RuntimeDir> directory = OpenRuntimeDir();
    if (directory) {
        directory.error = CheckMayPublish(directory.value, path);
    }
    return directory;
}

}  // namespace hosted
