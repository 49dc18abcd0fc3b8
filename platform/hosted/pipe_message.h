// One message of a pipe: a header and at most 64 KiB.
#ifndef OWNERLINK_PLATFORM_HOSTED_PIPE_MESSAGE_H
#define OWNERLINK_PLATFORM_HOSTED_PIPE_MESSAGE_H

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "platform/hosted/message.h"

namespace hosted {

inline constexpr uint32_t kPipeMagic = 0x504e4c4fU;  // "OLNP"

enum class PipeMessageKind : uint16_t {
    kRequest = 1,   // asks for no response; its sequence is 0
    kCall = 2,      // asks for one
    kResponse = 3,  // repeats the sequence of its call
};

struct PipeHeader {
    uint32_t magic = kPipeMagic;
    uint16_t version = kProtocolVersion;
    PipeMessageKind kind = PipeMessageKind::kRequest;
    uint64_t sequence = 0;  // counts the calls of one end from 1
    uint32_t type = 0;      // the record's
    uint32_t size = 0;      // bytes of data behind the header, exactly
};
static_assert(sizeof(PipeHeader) == 24, "layout of PipeHeader");

inline constexpr size_t kMaxPipeMessage = sizeof(PipeHeader) + kMaxPayload;

// True when `size` received bytes at `message` are a header of ours and exactly its data. `size`
// may exceed the buffer: it is what was sent, not what was kept. `lastCall` is the highest sequence
// that this end has used.
inline bool IsWholePipeMessage(const std::byte* message, size_t size, uint64_t lastCall,
                               PipeHeader* header)
{
    if (size < sizeof *header || size > kMaxPipeMessage) {
        return false;
    }
    std::memcpy(header, message, sizeof *header);
    if (header->magic != kPipeMagic || header->version != kProtocolVersion ||
        size != sizeof *header + header->size) {
        return false;
    }
    switch (header->kind) {
        case PipeMessageKind::kRequest:
            return header->sequence == 0;
        case PipeMessageKind::kCall:
            return header->sequence != 0;
        case PipeMessageKind::kResponse:
            return header->sequence != 0 && header->sequence <= lastCall;
        default:
            return false;
    }
}

}  // namespace hosted

#endif
