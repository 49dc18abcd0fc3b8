// What the two ends of a subscription say to each other over its socket: the subscriber its
// greeting, the owner the ring, each pool ahead of the first entry that lies in it, and whether its
// open hook agreed. Entries themselves never travel here.
#ifndef OWNERLINK_PLATFORM_HOSTED_QUEUE_MESSAGE_H
#define OWNERLINK_PLATFORM_HOSTED_QUEUE_MESSAGE_H

#include <cstdint>

#include "platform/hosted/message.h"
#include "platform/hosted/unique_fd.h"

namespace hosted {

inline constexpr uint32_t kQueueMagic = 0x514e4c4fU;  // "OLNQ"

enum class QueueMessageKind : uint16_t {
    kHello = 1,    // subscriber: the first and only message
    kRing = 2,     // with the ring's memory; `count` is its slots
    kPool = 3,     // with a pool's memory; `pool`, `size` of a block, `count` of blocks
    kVerdict = 4,  // `error` is 0 or the errno number that the open fails with
};

struct QueueMessage {
    uint32_t magic = kQueueMagic;
    uint16_t version = kProtocolVersion;
    QueueMessageKind kind = QueueMessageKind::kHello;
    int32_t error = 0;
    uint32_t pool = 0;
    uint32_t size = 0;
    uint32_t count = 0;
};
static_assert(sizeof(QueueMessage) == 24, "layout of QueueMessage");

// Never wait. `memory` is the descriptor that goes along, or -1. 0 or an errno number.
int SendQueueMessage(int socket, const QueueMessage& message, int memory = -1);

enum class QueueReceived { kMessage, kNothing, kEnd, kGarbage };

// `memory` may be null: then a descriptor that comes along is closed.
QueueReceived ReceiveQueueMessage(int socket, QueueMessage* message, UniqueFd* memory);

}  // namespace hosted

#endif
