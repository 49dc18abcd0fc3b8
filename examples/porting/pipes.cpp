// Pipes of the process manager: a pipe is a connected socket that keeps messages apart. How records
// and pipes are made is between the platform and the process manager (sample_pipe.h).

#include <sys/socket.h>

#include <algorithm>
#include <cerrno>

#include "endpoint.h"
#include "platform/ezcom.h"
#include "sample_pipe.h"

namespace {

// Says that the pipe is busy (-EAGAIN) instead of waiting.
int SendBytes(int pipe, const std::vector<char>& bytes)
{
    const auto sent = send(pipe, bytes.data(), bytes.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    return sent < 0 ? -errno : 0;
}

}  // namespace

extern "C" {

int EzcomSendRequest(int pipe, const EzcomRequest* request)
{
    return request == nullptr ? -EFAULT : SendBytes(pipe, request->bytes);
}

int EzcomSendResponse(int pipe, const EzcomResponse* response)
{
    return response == nullptr ? -EFAULT : SendBytes(pipe, response->bytes);
}

int EzcomRPCSync(int pipe, EzcomRequest* request, EzcomResponse* response)
{
    return EzcomTimedRPCSync(pipe, request, response, -1);
}

int EzcomTimedRPCSync(int pipe, EzcomRequest* request, EzcomResponse* response, int timeout)
{
    const int failure = EzcomSendRequest(pipe, request);
    if (failure != 0 || response == nullptr) {
        return failure != 0 ? failure : -EFAULT;
    }
    std::vector<char> bytes(65536);
    const ssize_t size = sample::Receive(pipe, bytes.data(), bytes.size(), timeout);
    if (size <= 0) {
        return size == 0 ? -EPIPE : -errno;
    }
    response->bytes.assign(bytes.begin(), bytes.begin() + size);
    return 0;
}

int EzcomClosePipe(int pipe)
{
    sample::CloseSocket(pipe);
    return 0;
}

}  // extern "C"
