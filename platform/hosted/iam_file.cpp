// The C border of resource files: arguments are checked, errno is set, and no exception passes.
#include "platform/iam_file.h"

#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <exception>
#include <limits>
#include <new>

#include "platform/hosted/file_client.h"
#include "platform/hosted/owner_server.h"

#define HOSTED_EXPORT __attribute__((visibility("default")))

namespace hosted {
namespace {

int Fail(int error)
{
    errno = error;
    return -1;
}

int StatusOf(int error)
{
    return error == 0 ? 0 : Fail(error);
}

// A negative result of the owner's hook stands as it is; every other failure is -1.
int ResultOf(const ExchangeResult& exchange)
{
    if (exchange.error != 0) {
        errno = exchange.error;
    }
    return exchange.result;
}

template <typename Body>
int Guarded(Body body)
{
    try {
        return body();
    } catch (const std::bad_alloc&) {
        return Fail(ENOMEM);
    } catch (const std::exception&) {
        return Fail(EIO);
    }
}

int Ioctl(int number, unsigned long command, const IAMIoctlArg* argument)
{
    if (argument == nullptr || (argument->buf == nullptr && argument->size != 0)) {
        return Fail(EFAULT);
    }
    if (command > std::numeric_limits<uint32_t>::max() || argument->size > kMaxPayload) {
        return Fail(EINVAL);
    }
    const std::span<std::byte> buffer(static_cast<std::byte*>(argument->buf), argument->size);
    return ResultOf(FileClient::Instance().Ioctl(number, static_cast<uint32_t>(command), buffer));
}

}  // namespace
}  // namespace hosted

using hosted::FileClient;

extern "C" {

HOSTED_EXPORT int IAMRegisterService(const IAMServiceDesc* desc)
{
    return hosted::Guarded([&] {
        return desc == nullptr ? hosted::Fail(EINVAL)
                               : hosted::StatusOf(hosted::OwnerServer::Instance().Register(*desc));
    });
}

HOSTED_EXPORT int IAMResetFileConfig(int fd, int timeoutMs)
{
    return hosted::Guarded(
        [&] { return hosted::StatusOf(FileClient::Instance().SetTimeout(fd, timeoutMs)); });
}

// The variable arguments of the four are those of the calls that they stand for.
HOSTED_EXPORT int IAMFileOpen(const char* name, int flags, ...)
{
    return hosted::Guarded([&] {
        if (name == nullptr) {
            return hosted::Fail(EFAULT);
        }
        const hosted::Outcome<int> opened = FileClient::Instance().Open(name, flags);
        return opened ? opened.value : hosted::Fail(opened.error);
    });
}

HOSTED_EXPORT ssize_t IAMFileRead(int fd, void* buf, size_t count)
{
    return hosted::Guarded([&] {
        if (buf == nullptr && count != 0) {
            return hosted::Fail(EFAULT);
        }
        const std::span<std::byte> buffer(static_cast<std::byte*>(buf),
                                          std::min(count, hosted::kMaxPayload));
        return hosted::ResultOf(FileClient::Instance().Read(fd, buffer));
    });
}

HOSTED_EXPORT int IAMFileIoctl(int fd, unsigned long cmd, ...)
{
    va_list arguments;
    va_start(arguments, cmd);
    const IAMIoctlArg* const argument = va_arg(arguments, IAMIoctlArg*);
    va_end(arguments);
    return hosted::Guarded([&] { return hosted::Ioctl(fd, cmd, argument); });
}

HOSTED_EXPORT int IAMFileClose(int fd)
{
    return hosted::Guarded([&] { return hosted::StatusOf(FileClient::Instance().Close(fd)); });
}

}  // extern "C"
