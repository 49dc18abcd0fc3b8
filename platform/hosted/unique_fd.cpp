#include "platform/hosted/unique_fd.h"

#include <unistd.h>

#include <cerrno>
#include <new>

namespace hosted {

FdRegistry& FdRegistry::Instance()
{
    static FdRegistry* const registry = new FdRegistry;
    return *registry;
}

bool FdRegistry::Add(int fd)
{
    const auto index = static_cast<size_t>(fd);
    try {
        if (index >= held_.size()) {
            held_.resize(index + 64);
        }
    } catch (const std::bad_alloc&) {
        return false;
    }
    held_[index] = true;
    return true;
}

void FdRegistry::Close(int fd, uint32_t generation)
{
    const MutexLock lock(mutex);
    if (generation != Generation()) {
        return;
    }
    if (static_cast<size_t>(fd) < held_.size()) {  // else there was no memory to note it
        held_[static_cast<size_t>(fd)] = false;
    }
    close(fd);
}

void FdRegistry::CloseAllInChild()
{
    for (size_t index = 0; index < held_.size(); ++index) {
        if (held_[index]) {
            held_[index] = false;
            close(static_cast<int>(index));
        }
    }
    generation_.fetch_add(1);
}

UniqueFd& UniqueFd::operator=(UniqueFd&& other) noexcept
{
    if (this != &other) {
        Reset();
        fd_ = other.fd_;
        generation_ = other.generation_;
        other.fd_ = -1;
    }
    return *this;
}

void UniqueFd::Reset()
{
    if (fd_ < 0) {
        return;
    }
    const int savedErrno = errno;
    FdRegistry::Instance().Close(fd_, generation_);
    fd_ = -1;
    errno = savedErrno;
}

}  // namespace hosted
