// A message that carries descriptors, as a peer sends it who wants to harm or means a queue's own.
#ifndef OWNERLINK_TESTS_SUPPORT_SEND_DESCRIPTORS_H
#define OWNERLINK_TESTS_SUPPORT_SEND_DESCRIPTORS_H

#include <sys/socket.h>

#include <cstddef>
#include <cstring>
#include <span>
#include <string>

// As many as one message may carry.
inline constexpr size_t kMostDescriptors = 253;

// What sendmsg(2) returns. `descriptors` may be empty.
inline ssize_t SendWithDescriptors(int socket, std::string bytes, std::span<const int> descriptors,
                                   int flags = 0)
{
    iovec part = {bytes.data(), bytes.size()};
    msghdr message = {};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    alignas(cmsghdr) char control[CMSG_SPACE(kMostDescriptors * sizeof(int))] = {};
    if (!descriptors.empty()) {
        message.msg_control = control;
        message.msg_controllen = CMSG_SPACE(descriptors.size_bytes());
        cmsghdr* const header = CMSG_FIRSTHDR(&message);
        header->cmsg_level = SOL_SOCKET;
        header->cmsg_type = SCM_RIGHTS;
        header->cmsg_len = CMSG_LEN(descriptors.size_bytes());
        std::memcpy(CMSG_DATA(header), descriptors.data(), descriptors.size_bytes());
    }
    return sendmsg(socket, &message, flags | MSG_NOSIGNAL);
}

#endif
