#include "platform/hosted/queue_memory.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include <cerrno>
#include <utility>

namespace hosted {
namespace {

constexpr int kFixedSize = F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_SEAL;

// Allocated now: a page that cannot be had later would be a signal instead of an error.
int Allocate(int fd, size_t size)
{
    int result = -1;
    do {
        result = fallocate(fd, 0, 0, static_cast<off_t>(size));
    } while (result != 0 && errno == EINTR);
    return result == 0 ? 0 : errno;
}

}  // namespace

Mapping& Mapping::operator=(Mapping&& other) noexcept
{
    if (this != &other) {
        Reset();
        bytes_ = std::exchange(other.bytes_, nullptr);
        size_ = std::exchange(other.size_, 0);
        generation_ = other.generation_;
    }
    return *this;
}

void Mapping::Reset()
{
    if (bytes_ != nullptr && generation_ == FdRegistry::Instance().Generation()) {
        munmap(bytes_, size_);
    }
    bytes_ = nullptr;
    size_ = 0;
}

Outcome<Mapping> Mapping::Of(const UniqueFd& fd, size_t size, int protection)
{
    // A fork between the two calls is a matter of the registry's lock, as with descriptors.
    FdRegistry& registry = FdRegistry::Instance();
    const MutexLock lock(registry.mutex);
    void* const address = mmap(nullptr, size, protection, MAP_SHARED, fd.Get(), 0);
    if (address == MAP_FAILED) {
        return Outcome<Mapping>::Failed(errno);
    }
    madvise(address, size, MADV_DONTFORK);
    Mapping mapping;
    mapping.bytes_ = static_cast<std::byte*>(address);
    mapping.size_ = size;
    mapping.generation_ = registry.Generation();
    return Succeeded(std::move(mapping));
}

Outcome<SharedMemory> MakeSharedMemory(const char* label, size_t size, SharedWriters writers)
{
    UniqueFd fd =
        UniqueFd::Make([&] { return memfd_create(label, MFD_CLOEXEC | MFD_ALLOW_SEALING); });
    if (!fd) {
        return Outcome<SharedMemory>::Failed(errno);
    }
    if (const int error = Allocate(fd.Get(), size); error != 0) {
        return Outcome<SharedMemory>::Failed(error);
    }
    Outcome<Mapping> mapping = Mapping::Of(fd, size, PROT_READ | PROT_WRITE);
    if (!mapping) {
        return Outcome<SharedMemory>::Failed(mapping.error);
    }
    const int seals =
        kFixedSize | (writers == SharedWriters::kMakerAlone ? F_SEAL_FUTURE_WRITE : 0);
    if (fcntl(fd.Get(), F_ADD_SEALS, seals) != 0) {
        return Outcome<SharedMemory>::Failed(errno);
    }
    return Succeeded(SharedMemory{std::move(fd), std::move(mapping.value)});
}

Outcome<Mapping> MapForeign(const UniqueFd& fd, size_t size, int protection)
{
    const int seals = fcntl(fd.Get(), F_GET_SEALS);
    struct stat status = {};
    if (seals < 0 || (seals & F_SEAL_SHRINK) == 0 || fstat(fd.Get(), &status) != 0 ||
        static_cast<uint64_t>(status.st_size) < size) {
        return Outcome<Mapping>::Failed(EPROTO);
    }
    return Mapping::Of(fd, size, protection);
}

}  // namespace hosted
