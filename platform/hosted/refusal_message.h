// How an owner turns a connection away: one message that says why, then the end.
#ifndef OWNERLINK_PLATFORM_HOSTED_REFUSAL_MESSAGE_H
#define OWNERLINK_PLATFORM_HOSTED_REFUSAL_MESSAGE_H

#include <sys/socket.h>

#include "platform/hosted/message.h"

namespace hosted {

inline void SendRefusal(int fd, int error)
{
    MessageHeader header = {};
    header.magic = kMessageMagic;
    header.version = kProtocolVersion;
    header.flags = kFlagAnswer | kFlagRefused;
    header.result = -1;
    header.error = error;
    send(fd, &header, sizeof header, MSG_DONTWAIT | MSG_NOSIGNAL);
}

}  // namespace hosted

#endif
