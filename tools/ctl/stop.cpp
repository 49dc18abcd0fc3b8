#include "tools/ctl/stop.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace ctl {

Stop::Stop() : file_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
    if (file_ < 0) {
        throw std::system_error(errno, std::generic_category(), "no event descriptor");
    }
}

Stop::~Stop()
{
    close(file_);
}

void Stop::Request() const
{
    eventfd_write(file_, 1);
}

void Stop::Withdraw() const
{
    eventfd_t ignored = 0;
    eventfd_read(file_, &ignored);
}

bool Stop::IsRequested() const
{
    pollfd entry = {file_, POLLIN, 0};
    return poll(&entry, 1, 0) > 0;
}

}  // namespace ctl
