// Shared memory of queues: sealed files without a name, and their mappings.
#ifndef OWNERLINK_PLATFORM_HOSTED_QUEUE_MEMORY_H
#define OWNERLINK_PLATFORM_HOSTED_QUEUE_MEMORY_H

#include <cstddef>
#include <cstdint>

#include "platform/hosted/outcome.h"
#include "platform/hosted/unique_fd.h"

namespace hosted {

// A mapping of this process; a forked child does not have it.
class Mapping {
public:
    Mapping() = default;
    Mapping(Mapping&& other) noexcept { *this = static_cast<Mapping&&>(other); }
    Mapping& operator=(Mapping&& other) noexcept;
    Mapping(const Mapping&) = delete;
    Mapping& operator=(const Mapping&) = delete;
    ~Mapping() { Reset(); }

    // `protection` as for mmap. An errno number on failure.
    static Outcome<Mapping> Of(const UniqueFd& fd, size_t size, int protection);

    std::byte* Bytes() const { return bytes_; }
    size_t Size() const { return size_; }
    explicit operator bool() const { return bytes_ != nullptr; }
    void Reset();

private:
    std::byte* bytes_ = nullptr;
    size_t size_ = 0;
    uint32_t generation_ = 0;  // of the process: what a child maps there is not ours
};

struct SharedMemory {
    UniqueFd fd;
    Mapping mapping;
};

// Who may write into it, beside the process that makes it.
enum class SharedWriters { kBoth, kMakerAlone };

// `size` bytes of zeroes, all allocated, mapped for reading and writing. Nobody can change the
// size, and with kMakerAlone nobody else can map it for writing.
Outcome<SharedMemory> MakeSharedMemory(const char* label, size_t size, SharedWriters writers);

// Maps memory of another process. EPROTO unless it is of `size` bytes at least that nobody can take
// away.
Outcome<Mapping> MapForeign(const UniqueFd& fd, size_t size, int protection);

}  // namespace hosted

#endif
