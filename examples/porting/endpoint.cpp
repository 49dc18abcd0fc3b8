#include "endpoint.h"

#include <poll.h>
#include <pthread.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <system_error>
#include <thread>

namespace sample {
namespace {

constexpr int kGreetingLimit = 5000;  // milliseconds

// SAMPLE_DIR, or the working directory, and the name with everything odd as hex digits, so that no
// two names share a socket.
bool AddressOf(const std::string& name, sockaddr_un& address)
{
    const char* const directory = std::getenv("SAMPLE_DIR");
    std::string path = std::string(directory == nullptr ? "." : directory) + "/";
    for (const char c : name) {
        const bool isPlain = (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9');
        const char* const digits = "0123456789ABCDEF";
        const auto byte = static_cast<unsigned char>(c);
        path +=
            isPlain ? std::string(1, c) : std::string{'%', digits[byte >> 4U], digits[byte & 15U]};
    }
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        errno = ENAMETOOLONG;
        return false;
    }
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    return true;
}

const sockaddr* Plain(const sockaddr_un& address)
{
    return reinterpret_cast<const sockaddr*>(&address);
}

int NewSocket()
{
    return socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
}

// A dead owner leaves its socket's file, which nobody listens at.
bool IsHeld(const sockaddr_un& address)
{
    const int probe = NewSocket();
    const bool isHeld = connect(probe, Plain(address), sizeof address) == 0;
    CloseSocket(probe);
    return isHeld;
}

void Accept(int listener, const std::function<void(int)>& serve)
{
    for (;;) {
        const int connection = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
        if (connection >= 0) {
            StartDetached([=] { serve(connection); });
        } else if (errno != EINTR && errno != ECONNABORTED) {
            std::this_thread::sleep_for(std::chrono::milliseconds(100));  // out of descriptors
        }
    }
}

}  // namespace

// Detached from the first, which std::thread cannot be: one that ends while it is being detached
// may take its own record away.
void StartDetached(std::function<void()> body)
{
    auto owned = std::make_unique<std::function<void()>>(std::move(body));
    const auto run = [](void* argument) -> void* {
        const std::unique_ptr<std::function<void()>> mine(
            static_cast<std::function<void()>*>(argument));
        (*mine)();
        return nullptr;
    };
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    pthread_t thread{};
    const int error = pthread_create(&thread, &attributes, run, owned.get());
    pthread_attr_destroy(&attributes);
    if (error != 0) {
        throw std::system_error(error, std::generic_category(), "pthread_create");
    }
    (void)owned.release();
}

int Publish(const std::string& name, std::function<void(int socket)> serve)
{
    sockaddr_un address{};
    if (!AddressOf(name, address)) {
        return -errno;
    }
    if (IsHeld(address)) {
        return -EADDRINUSE;
    }
    unlink(address.sun_path);
    const int listener = NewSocket();
    if (bind(listener, Plain(address), sizeof address) != 0 || listen(listener, SOMAXCONN) != 0) {
        const int error = errno;
        CloseSocket(listener);
        return -error;
    }
    StartDetached([listener, serve = std::move(serve)] { Accept(listener, serve); });
    return 0;
}

int Connect(const std::string& name, Greeting& greeting)
{
    sockaddr_un address{};
    if (!AddressOf(name, address)) {
        return -1;
    }
    const int connection = NewSocket();
    if (connect(connection, Plain(address), sizeof address) != 0) {
        const int error = errno == ECONNREFUSED ? ENOENT : errno;  // a dead owner's leftover
        CloseSocket(connection);
        errno = error;
        return -1;
    }
    const ssize_t size = Receive(connection, &greeting, sizeof greeting, kGreetingLimit);
    if (size != ssize_t{sizeof greeting} || greeting.verdict < 0) {
        const int error = size < 0 ? errno : EIO;
        CloseSocket(connection);
        errno = error;
        return -1;
    }
    return connection;
}

ssize_t Receive(int socket, void* buffer, size_t size, int timeoutMs)
{
    pollfd poll{socket, POLLIN, 0};
    int ready = 0;
    while ((ready = ::poll(&poll, 1, timeoutMs)) < 0 && errno == EINTR) {}
    if (ready == 0) {
        errno = ETIMEDOUT;
    }
    return ready > 0 ? recv(socket, buffer, size, 0) : -1;
}

bool Send(int socket, const void* bytes, size_t size)
{
    return send(socket, bytes, size, MSG_NOSIGNAL) == static_cast<ssize_t>(size);
}

// Not by `close`, which in this process is the platform's own (calls.cpp).
void CloseSocket(int socket)
{
    syscall(SYS_close, socket);
}

}  // namespace sample
