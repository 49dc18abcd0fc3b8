#include "bench/bare_connection.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <iostream>
#include <stdexcept>
#include <system_error>
#include <thread>

namespace bench {
namespace {

[[noreturn]] void Throw(const char* what)
{
    throw std::system_error(errno, std::generic_category(), what);
}

sockaddr_un AddressOf(const std::string& path)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        throw std::length_error("the temporary directory's path is too long for a socket");
    }
    std::memcpy(address.sun_path, path.data(), path.size());
    return address;
}

int Socket()
{
    const int fd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        Throw("socket");
    }
    return fd;
}

void ServeOne(int fd)
{
    std::array<char, kBareMessage> buffer;
    while (recv(fd, buffer.data(), buffer.size(), 0) > 0) {
        if (send(fd, buffer.data(), buffer.size(), MSG_NOSIGNAL) < 0) {
            break;
        }
    }
    close(fd);
}

int Listen(const std::string& path)
{
    const int listener = Socket();
    const sockaddr_un address = AddressOf(path);
    if (bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        listen(listener, 16) != 0) {
        Throw("bind");
    }
    std::cout << "ready" << std::endl;
    return listener;
}

int Accept(int listener)
{
    const int fd = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
    if (fd < 0) {
        Throw("accept");
    }
    return fd;
}

}  // namespace

BareConnection::BareConnection(const std::string& path) : fd_(Socket())
{
    const sockaddr_un address = AddressOf(path);
    if (connect(fd_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        Throw("connect");
    }
}

BareConnection::~BareConnection()
{
    close(fd_);
}

void BareConnection::Exchange()
{
    if (send(fd_, buffer_.data(), buffer_.size(), MSG_NOSIGNAL) < 0 ||
        recv(fd_, buffer_.data(), buffer_.size(), 0) != static_cast<ssize_t>(buffer_.size())) {
        Throw("bare exchange");
    }
}

void ServeBareConnections(const std::string& path)
{
    const int listener = Listen(path);
    while (true) {
        ServeOne(Accept(listener));
    }
}

void ServeBareThreads(const std::string& path)
{
    const int listener = Listen(path);
    while (true) {
        std::thread(ServeOne, Accept(listener)).detach();
    }
}

}  // namespace bench
