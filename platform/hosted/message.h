// One message each way: a header and at most 64 KiB, in one contiguous buffer.
#ifndef OWNERLINK_PLATFORM_HOSTED_MESSAGE_H
#define OWNERLINK_PLATFORM_HOSTED_MESSAGE_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

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
    uint64_t sequence;   // counts a connection's requests from 1; an answer repeats its request's
    uint32_t command;    // the ioctl's command, or the bytes a read asks for
    uint32_t size;       // bytes of payload behind the header, exactly
    int32_t result;      // the hook's, in an answer
    int32_t error;       // an errno number; always set when `result` is negative
    uint32_t zeros = 0;  // further bytes of payload, all zero: they are counted and not sent
    uint32_t reserved = 0;
};
static_assert(sizeof(MessageHeader) == 40, "layout of MessageHeader");

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
           header.zeros <= kMaxPayload - header.size &&
           (!isRead || (header.size + header.zeros == 0 && header.command <= kMaxPayload));
}

// How much of `payload` is to be sent: all up to its last byte that is not zero. A record is mostly
// room that nothing has been written to: the copies of it, two of them by the kernel, cost more
// than this look at it.
inline size_t SizeWithoutZeros(std::span<const std::byte> payload)
{
    static constexpr std::byte kZeros[512] = {};
    const std::byte* const data = payload.data();
    size_t size = payload.size();
    for (const size_t block : {sizeof kZeros, size_t{64}, size_t{8}}) {
        while (size >= block && std::memcmp(data + size - block, kZeros, block) == 0) {
            size -= block;
        }
    }
    while (size > 0 && data[size - 1] == std::byte{0}) {
        --size;
    }
    return size;
}

}  // namespace hosted

#endif
