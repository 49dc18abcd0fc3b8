#include "platform/hosted/queue_message.h"

#include <sys/socket.h>

#include <cerrno>
#include <cstring>

namespace hosted {
namespace {

// Room for one descriptor exactly: the kernel closes what does not fit, and CMSG_SPACE would fit
// two.
struct alignas(cmsghdr) Ancillary {
    char bytes[CMSG_SPACE(sizeof(int))] = {};
    static constexpr size_t kSize = CMSG_LEN(sizeof(int));
};

void Attach(msghdr& header, Ancillary& ancillary, int memory)
{
    header.msg_control = ancillary.bytes;
    header.msg_controllen = Ancillary::kSize;
    cmsghdr* const control = CMSG_FIRSTHDR(&header);
    control->cmsg_level = SOL_SOCKET;
    control->cmsg_type = SCM_RIGHTS;
    control->cmsg_len = Ancillary::kSize;
    std::memcpy(CMSG_DATA(control), &memory, sizeof memory);
}

int DescriptorIn(msghdr& header)
{
    const cmsghdr* const control = CMSG_FIRSTHDR(&header);
    int fd = -1;
    if (control != nullptr && control->cmsg_level == SOL_SOCKET &&
        control->cmsg_type == SCM_RIGHTS && control->cmsg_len == Ancillary::kSize) {
        std::memcpy(&fd, CMSG_DATA(control), sizeof fd);
    }
    return fd;
}

// A message can lie behind the error of a connection that was reset.
ssize_t ReceiveNow(int socket, msghdr& header)
{
    constexpr int kFlags = MSG_DONTWAIT | MSG_CMSG_CLOEXEC | MSG_TRUNC;
    const ssize_t received = recvmsg(socket, &header, kFlags);
    return received < 0 && errno == ECONNRESET ? recvmsg(socket, &header, kFlags) : received;
}

QueueReceived EndOfReceive(ssize_t received)
{
    const bool isSilence = received < 0 && (errno == EAGAIN || errno == EINTR);
    return isSilence ? QueueReceived::kNothing : QueueReceived::kEnd;
}

}  // namespace

int SendQueueMessage(int socket, const QueueMessage& message, int memory)
{
    iovec part = {const_cast<QueueMessage*>(&message), sizeof message};
    msghdr header = {};
    header.msg_iov = &part;
    header.msg_iovlen = 1;
    Ancillary ancillary;
    if (memory >= 0) {
        Attach(header, ancillary, memory);
    }
    return sendmsg(socket, &header, MSG_DONTWAIT | MSG_NOSIGNAL) >= 0 ? 0 : errno;
}

QueueReceived ReceiveQueueMessage(int socket, QueueMessage* message, UniqueFd* memory)
{
    iovec part = {message, sizeof *message};
    msghdr header = {};
    header.msg_iov = &part;
    header.msg_iovlen = 1;
    Ancillary ancillary;
    if (memory != nullptr) {
        header.msg_control = ancillary.bytes;
        header.msg_controllen = Ancillary::kSize;
    }
    ssize_t received = -1;
    UniqueFd fd = UniqueFd::Make([&] {
        received = ReceiveNow(socket, header);
        return received >= 0 && memory != nullptr ? DescriptorIn(header) : -1;
    });
    if (received <= 0) {
        return EndOfReceive(received);
    }
    if (static_cast<size_t>(received) != sizeof *message || message->magic != kQueueMagic) {
        return QueueReceived::kGarbage;
    }
    if (memory != nullptr) {
        *memory = std::move(fd);
    }
    return QueueReceived::kMessage;
}

}  // namespace hosted
