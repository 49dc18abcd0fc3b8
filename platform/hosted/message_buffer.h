// An owner thread's room for a message, which knows where its payload is zero: most of a record is
// so from one request to the next, and need not be cleared again.
#ifndef OWNERLINK_PLATFORM_HOSTED_MESSAGE_BUFFER_H
#define OWNERLINK_PLATFORM_HOSTED_MESSAGE_BUFFER_H

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "platform/hosted/message.h"

namespace hosted {

// The payload behind the header is aligned for any record. Belongs to one thread.
class MessageBuffer {
public:
    std::byte* Bytes() { return bytes_; }
    std::byte* Payload() { return bytes_ + sizeof(MessageHeader); }

    // The first `size` bytes of the message have been written to.
    void NoteReceived(size_t size)
    {
        zeroFrom_ = std::max(zeroFrom_, size - std::min(size, sizeof(MessageHeader)));
    }

    // Clears the payload from `from` to `to`, for a hook that may then write anywhere: what was
    // known to be zero is forgotten.
    void Clear(size_t from, size_t to)
    {
        const size_t end = zeroTo_ >= to ? std::min(zeroFrom_, to) : to;
        if (end > from) {
            std::memset(Payload() + from, 0, end - from);
        }
        NoteZeros(0, 0);
    }

    // The payload has been seen to be zero from `from` to `to`.
    void NoteZeros(size_t from, size_t to)
    {
        zeroFrom_ = from;
        zeroTo_ = to;
    }

private:
    size_t zeroFrom_ = 0;  // ahead of the bytes, most of which are never touched
    size_t zeroTo_ = 0;
    alignas(8) std::byte bytes_[kMaxMessage];
};

}  // namespace hosted

#endif
