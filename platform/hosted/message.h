// One message each way: a header and at most 64 KiB, in one contiguous buffer.
#ifndef OWNERLINK_PLATFORM_HOSTED_MESSAGE_H
#define OWNERLINK_PLATFORM_HOSTED_MESSAGE_H

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace hosted {

inline constexpr uint16_t kProtocolVersion = 1;
inline constexpr uint32_t kMessageMagic = 0x4b4e4c4fU;  // "OLNK"
inline constexpr size_t kMaxPayload = 65536;

// Bits of `MessageHeader::flags`.
inline constexpr uint16_t kFlagAnswer = 1;
inline constexpr uint16_t kFlagOpen = 2;  // first message of a file; ends the connection's former
inline constexpr uint16_t kFlagRead = 4;  // a read; else an ioctl
inline constexpr uint16_t kFlagRefused = 8;  // an answer to the connection itself, which ends
inline constexpr uint16_t kRequestFlags = kFlagOpen | kFlagRead;

struct MessageHeader {
    uint32_t magic;
    uint16_t version;
    uint16_t flags;
    uint64_t sequence;  // counts a connection's requests from 1; an answer repeats its request's
    uint32_t command;   // the ioctl's command, or the bytes a read asks for
    uint32_t size;      // bytes of payload behind the header, exactly
    int32_t result;     // the hook's, in an answer
    int32_t error;      // an errno number; always set when `result` is negative
};
static_assert(sizeof(MessageHeader) == 32, "layout of MessageHeader");

inline constexpr size_t kMaxMessage = sizeof(MessageHeader) + kMaxPayload;

// True when `size` received bytes at `message` are a header of ours and exactly its payload.
// `size` may exceed the buffer: it is what was sent, not what was kept.
inline bool IsWholeMessage(const std::byte* message, size_t size, MessageHeader* header)
{
    if (size < sizeof *header || size > kMaxMessage) {
        return false;
    }
    std::memcpy(header, message, sizeof *header);
    return header->magic == kMessageMagic && size == sizeof *header + header->size;
}

inline bool IsRequest(const MessageHeader& header)
{
    const bool isRead = (header.flags & kFlagRead) != 0;
    return (header.flags & ~kRequestFlags) == 0 && header.sequence != 0 &&
           (!isRead || (header.size == 0 && header.command <= kMaxPayload));
}

}  // namespace hosted

#endif
