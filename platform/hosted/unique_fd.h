// The layer's kernel descriptors: closed with their object, and all at once in a forked child.
#ifndef OWNERLINK_PLATFORM_HOSTED_UNIQUE_FD_H
#define OWNERLINK_PLATFORM_HOSTED_UNIQUE_FD_H

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <vector>

#include "platform/hosted/mutex.h"

namespace hosted {

// Knows every descriptor that the layer holds. Built once, never destroyed.
class FdRegistry {
public:
    static FdRegistry& Instance();

    // False when there is no memory to note it.
    bool Add(int fd) HOSTED_REQUIRES(mutex);
    // Closes `fd` unless the process has forked since `generation`: then it is closed already, and
    // the number may be somebody else's.
    void Close(int fd, uint32_t generation) HOSTED_EXCLUDES(mutex);
    uint32_t Generation() const { return generation_.load(); }

    void CloseAllInChild() HOSTED_REQUIRES(mutex);

    Mutex mutex;

private:
    std::vector<bool> held_ HOSTED_GUARDED_BY(mutex);  // by descriptor
    std::atomic<uint32_t> generation_{0};
};

class UniqueFd {
public:
    UniqueFd() = default;
    UniqueFd(UniqueFd&& other) noexcept { *this = static_cast<UniqueFd&&>(other); }
    UniqueFd& operator=(UniqueFd&& other) noexcept;
    UniqueFd(const UniqueFd&) = delete;
    UniqueFd& operator=(const UniqueFd&) = delete;
    ~UniqueFd() { Reset(); }

    // Holds what `create` returns. It runs with the registry locked, so that no fork falls between
    // the system call and the note of its result; hence it must not block. Without the memory to
    // note it nothing is held, and errno is ENOMEM.
    template <typename Create>
    static UniqueFd Make(Create create)
    {
        FdRegistry& registry = FdRegistry::Instance();
        UniqueFd made;
        bool isNoted = true;
        {
            const MutexLock lock(registry.mutex);
            made.fd_ = create();
            made.generation_ = registry.Generation();
            isNoted = made.fd_ < 0 || registry.Add(made.fd_);
        }
        if (!isNoted) {
            made.Reset();
            errno = ENOMEM;
        }
        return made;
    }

    // -1 when there is none, or when it was closed in a forked child.
    int Get() const { return generation_ == FdRegistry::Instance().Generation() ? fd_ : -1; }
    explicit operator bool() const { return Get() >= 0; }

    // Leaves errno as it was.
    void Reset();

private:
    int fd_ = -1;
    uint32_t generation_ = 0;
};

}  // namespace hosted

#endif
