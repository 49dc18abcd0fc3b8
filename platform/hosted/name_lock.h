// The right to publish a name: one living process holds it.
//
// A record lock (fcntl) on the name's lock file keeps other processes out; the kernel frees it with
// the holder's death, and forked children do not keep it. It never refuses its own process and is
// lost when that opens and closes the file once more, so a table of the process is asked first. The
// file is never removed: a lock on a removed file would exclude nobody.
#ifndef OWNERLINK_PLATFORM_HOSTED_NAME_LOCK_H
#define OWNERLINK_PLATFORM_HOSTED_NAME_LOCK_H

#include <string>
#include <string_view>

#include "platform/hosted/outcome.h"
#include "platform/hosted/runtime_dir.h"

namespace hosted {

class NameLock {
public:
    NameLock() = default;
    NameLock(NameLock&&) noexcept = default;
    NameLock& operator=(NameLock&&) = delete;
    ~NameLock();

    // EADDRINUSE when this or another living process holds the name; logs which.
    static Outcome<NameLock> Take(const RuntimeDir& directory, std::string_view name);

    static void BuildTable();
    static void LockForFork();
    static void UnlockAfterFork();
    static void ForgetInChild();

private:
    explicit NameLock(std::string file) : file_(std::move(file)) {}

    UniqueFd fd_;
    std::string file_;  // empty when it holds nothing
};

}  // namespace hosted

#endif
