// Named meeting points of processes: Unix sockets that keep messages apart, one for each resource.
#ifndef OWNERLINK_EXAMPLES_PORTING_ENDPOINT_H
#define OWNERLINK_EXAMPLES_PORTING_ENDPOINT_H

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

namespace sample {

// The first message of a connection, from the owner.
struct Greeting {
    uint32_t isQueue;
    uint32_t timeoutMs;  // of the service
    int32_t verdict;     // of the queue's open hook; negative: no subscription
};

// Runs `body` on a thread that nobody joins. Throws std::system_error where there is none.
void StartDetached(std::function<void()> body);

// Makes the socket of `name` and has `serve` called on a thread of its own for each connection,
// which it owns. 0, or a negative errno number; -EADDRINUSE when a living process has the name.
int Publish(const std::string& name, std::function<void(int socket)> serve);

// A connection to the owner of `name`, with its greeting, or -1 with errno.
int Connect(const std::string& name, Greeting& greeting);

// Waits for a message for `timeoutMs` (-1: without limit). Its size, 0 at the peer's end, or -1
// with errno.
ssize_t Receive(int socket, void* buffer, size_t size, int timeoutMs);

// Sends a whole message. False with errno; never raises SIGPIPE.
bool Send(int socket, const void* bytes, size_t size);

void CloseSocket(int socket);

}  // namespace sample

#endif
