#include "platform/hosted/directory_trust.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace hosted {
namespace {

constexpr int kMaxDepth = 64;

enum class Verdict { kTrusted, kRefused, kLookAbove };

Verdict Judge(const struct stat& above, uid_t owner)
{
    if ((above.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
        return Verdict::kRefused;
    }
    if (above.st_uid == owner) {
        return Verdict::kLookAbove;
    }
    const bool isTrusted = above.st_uid == 0 || above.st_uid == geteuid();
    return isTrusted ? Verdict::kTrusted : Verdict::kRefused;
}

}  // namespace

// By descriptors: what a path leads to may change from one look to the next.
bool IsWellPlaced(const RuntimeDir& directory)
{
    if (directory.owner == 0 || directory.owner == geteuid()) {
        return true;
    }
    UniqueFd above;
    int fd = directory.fd.Get();
    Verdict verdict = Verdict::kLookAbove;
    for (int depth = 0; depth < kMaxDepth && verdict == Verdict::kLookAbove; ++depth) {
        above = UniqueFd::Make([=] { return openat(fd, "..", O_PATH | O_DIRECTORY | O_CLOEXEC); });
        struct stat status = {};
        if (!above || fstat(above.Get(), &status) != 0) {
            return false;
        }
        verdict = Judge(status, directory.owner);
        fd = above.Get();
    }
    return verdict == Verdict::kTrusted;
}

}  // namespace hosted
