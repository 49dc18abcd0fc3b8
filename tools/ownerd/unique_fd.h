// A descriptor that is closed with its owner.
#ifndef OWNERLINK_TOOLS_OWNERD_UNIQUE_FD_H
#define OWNERLINK_TOOLS_OWNERD_UNIQUE_FD_H

#include <unistd.h>

#include <utility>

namespace ownerd {

class UniqueFd {
public:
    UniqueFd() = default;
    explicit UniqueFd(int fd) : fd_(fd) {}
    UniqueFd(UniqueFd&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    UniqueFd& operator=(UniqueFd&& other) noexcept
    {
        Reset(std::exchange(other.fd_, -1));
        return *this;
    }
    ~UniqueFd() { Reset(); }

    int Get() const { return fd_; }
    explicit operator bool() const { return fd_ >= 0; }
    void Reset(int fd = -1)
    {
        if (fd_ >= 0) {
            close(fd_);
        }
        fd_ = fd;
    }

private:
    int fd_ = -1;
};

}  // namespace ownerd

#endif
