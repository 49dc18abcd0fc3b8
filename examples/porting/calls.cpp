// `open`, `read`, `ioctl` and `close` as the library calls them. They are the whole process's: what
// is no resource goes on to the system's.

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdarg>
#include <cstring>

#include "descriptors.h"
#include "platform/iam_file.h"

namespace {

constexpr const char* kResourcePrefix = "dp:/";

bool IsResource(const char* name)
{
    return name != nullptr &&
           std::strncmp(name, kResourcePrefix, std::strlen(kResourcePrefix)) == 0;
}

template <typename Call>
Call System(const char* name)
{
    return reinterpret_cast<Call>(dlsym(RTLD_NEXT, name));
}

}  // namespace

// The system's declarations have reserved names for the arguments.
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name)
extern "C" {

int open(const char* name, int flags, ...)
{
    if (IsResource(name)) {
        return IAMFileOpen(name, flags);
    }
    static const auto system = System<int (*)(const char*, int, ...)>("open");
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    return system(name, flags, mode);
}

ssize_t read(int fd, void* buf, size_t count)
{
    static const auto system = System<ssize_t (*)(int, void*, size_t)>("read");
    return fd >= sample::kFirstNumber ? IAMFileRead(fd, buf, count) : system(fd, buf, count);
}

int ioctl(int fd, unsigned long cmd, ...) noexcept
{
    static const auto system = System<int (*)(int, unsigned long, ...)>("ioctl");
    va_list arguments;
    va_start(arguments, cmd);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);
    return fd >= sample::kFirstNumber ? IAMFileIoctl(fd, cmd, argument) : system(fd, cmd, argument);
}

int close(int fd)
{
    static const auto system = System<int (*)(int)>("close");
    return fd >= sample::kFirstNumber ? IAMFileClose(fd) : system(fd);
}

}  // extern "C"
// NOLINTEND(readability-inconsistent-declaration-parameter-name)
