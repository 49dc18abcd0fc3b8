// Resource files: an exchange is one message each way over the descriptor's own connection, which
// the owner serves on a thread of its own.

#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdarg>
#include <cstring>
#include <vector>

#include "descriptors.h"
#include "endpoint.h"
#include "platform/iam_file.h"

// One open file, as the hooks see it.
struct IAMMgrFile {
    int socket;
};

namespace sample {
namespace {

constexpr size_t kMostBytes = 65536;
constexpr int kReadLimit = 1000;  // milliseconds

struct Header {
    uint32_t sequence;  // an answer carries its request's
    uint32_t isRead;
    uint32_t command;
    int32_t result;
    int32_t error;
};

struct Message {
    Header header{};
    std::vector<char> bytes;
};

bool SendMessage(int socket, const Message& message)
{
    std::vector<char> whole(sizeof(Header) + message.bytes.size());
    std::memcpy(whole.data(), &message.header, sizeof(Header));
    std::copy(message.bytes.begin(), message.bytes.end(), whole.begin() + sizeof(Header));
    return Send(socket, whole.data(), whole.size());
}

// False at the peer's end, or with errno after the time-out.
bool ReceiveMessage(int socket, Message& message, int timeoutMs)
{
    std::vector<char> whole(sizeof(Header) + kMostBytes);
    const ssize_t size = Receive(socket, whole.data(), whole.size(), timeoutMs);
    if (size < ssize_t{sizeof(Header)}) {
        errno = size < 0 && errno == ETIMEDOUT ? ETIMEDOUT : EPIPE;
        return false;
    }
    std::memcpy(&message.header, whole.data(), sizeof(Header));
    message.bytes.assign(whole.begin() + sizeof(Header), whole.begin() + size);
    return true;
}

// ---- The owner.

struct Service {
    IAMFileOps ops;
    uint32_t timeoutMs;
};

void RunHook(const Service& service, IAMMgrFile& file, Message& message)
{
    IAMIoctlArg argument{message.bytes.size(), message.bytes.data()};
    long count = 0;
    try {
        const long result =
            message.header.isRead != 0
                ? service.ops.read(&file, message.bytes.data(), message.bytes.size(), &count)
                : service.ops.ioctl(&file, message.header.command, &argument);
        message.header.result = static_cast<int32_t>(result);
        message.header.error = result < 0 ? EREMOTEIO : 0;
    } catch (...) {  // an owner outlives its callbacks' mistakes
        message.header.result = -1;
        message.header.error = EIO;
    }
}

void Serve(const Service& service, int socket)
{
    IAMMgrFile file{socket};
    const Greeting greeting{0, service.timeoutMs, 0};
    const bool isGreeted = Send(socket, &greeting, sizeof greeting);
    const bool isOpen = isGreeted && service.ops.open(&file) >= 0;
    Message message;
    while (isOpen && ReceiveMessage(socket, message, -1)) {
        RunHook(service, file, message);
        SendMessage(socket, message);
    }
    if (isGreeted) {
        service.ops.close(&file);
    }
    CloseSocket(socket);
}

// ---- The client.

int TimeoutOf(const Descriptor& descriptor)
{
    const int own = descriptor.timeoutMs;
    return own < 0 ? descriptor.serviceTimeoutMs : own;
}

// Answers to exchanges that were given up are passed over.
bool AwaitAnswer(const Descriptor& descriptor, Message& message, int timeoutMs)
{
    using namespace std::chrono;
    const auto deadline = steady_clock::now() + milliseconds(timeoutMs);
    do {
        const auto left = duration_cast<milliseconds>(deadline - steady_clock::now()).count();
        if (!ReceiveMessage(descriptor.socket, message, std::max(0, static_cast<int>(left)))) {
            return false;
        }
    } while (message.header.sequence != descriptor.sequence);
    return true;
}

// The owner's result with its bytes in `buffer`, or -1 with errno.
int Exchange(int fd, Message& message, void* buffer, size_t size, int limitMs)
{
    const std::shared_ptr<Descriptor> descriptor = FindDescriptor(fd);
    if (descriptor == nullptr) {
        errno = EBADF;
        return -1;
    }
    if (descriptor->isQueue || size > kMostBytes) {
        errno = descriptor->isQueue ? EOPNOTSUPP : EINVAL;
        return -1;
    }
    const std::lock_guard<std::mutex> lock(descriptor->exchange);
    message.header.sequence = ++descriptor->sequence;
    const int timeoutMs = limitMs > 0 ? limitMs : TimeoutOf(*descriptor);
    if (!SendMessage(descriptor->socket, message)) {
        errno = EPIPE;
        return -1;
    }
    if (!AwaitAnswer(*descriptor, message, timeoutMs)) {
        return -1;
    }
    std::memcpy(buffer, message.bytes.data(), std::min(size, message.bytes.size()));
    if (message.header.result < 0) {
        errno = message.header.error;
    }
    return message.header.result;
}

}  // namespace
}  // namespace sample

using namespace sample;

extern "C" {

int IAMRegisterService(const IAMServiceDesc* desc)
{
    if (desc == nullptr || desc->name == nullptr || desc->ops == nullptr) {
        return -EINVAL;
    }
    const uint32_t timeoutMs = desc->timeout == 0 ? 5000 : desc->timeout;
    return Publish(desc->name, [service = Service{*desc->ops, timeoutMs}](int socket) {
        Serve(service, socket);
    });
}

int IAMResetFileConfig(int fd, int timeoutMs)
{
    const std::shared_ptr<Descriptor> descriptor = FindDescriptor(fd);
    if (descriptor == nullptr || timeoutMs == 0 || timeoutMs < -1) {
        return descriptor == nullptr ? -EBADF : -EINVAL;
    }
    descriptor->timeoutMs = timeoutMs;
    return 0;
}

int IAMFileOpen(const char* name, int /*flags*/, ...)
{
    Greeting greeting{};
    auto descriptor = std::make_shared<Descriptor>(name);
    descriptor->socket = Connect(name, greeting);
    if (descriptor->socket < 0) {
        return -1;
    }
    descriptor->isQueue = greeting.isQueue != 0;
    descriptor->serviceTimeoutMs = static_cast<int>(greeting.timeoutMs);
    return AddDescriptor(std::move(descriptor));
}

// The watch asks so whether the owner lives, and must have its answer while callbacks run.
ssize_t IAMFileRead(int fd, void* buf, size_t count)
{
    Message message;
    message.header.isRead = 1;
    message.bytes.resize(count);
    return Exchange(fd, message, buf, count, kReadLimit);
}

int IAMFileIoctl(int fd, unsigned long cmd, ...)
{
    va_list arguments;
    va_start(arguments, cmd);
    auto* const argument = va_arg(arguments, IAMIoctlArg*);
    va_end(arguments);
    Message message;
    message.header.command = static_cast<uint32_t>(cmd);
    const auto* const bytes = static_cast<const char*>(argument->buf);
    message.bytes.assign(bytes, bytes + argument->size);
    return Exchange(fd, message, argument->buf, argument->size, 0);
}

int IAMFileClose(int fd)
{
    const std::shared_ptr<Descriptor> descriptor = RemoveDescriptor(fd);
    if (descriptor == nullptr) {
        errno = EBADF;
        return -1;
    }
    descriptor->End();
    return 0;
}

}  // extern "C"
