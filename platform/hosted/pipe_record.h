// What a request or a response is behind the opaque names of platform/ezcom.h.
#ifndef OWNERLINK_PLATFORM_HOSTED_PIPE_RECORD_H
#define OWNERLINK_PLATFORM_HOSTED_PIPE_RECORD_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "platform/ezcom.h"

namespace hosted {

struct PipeRecord {
    uint32_t type = 0;
    std::vector<std::byte> data;
};

// Which call of the peer a received request is, and so which one a response answers.
struct PipeCallId {
    uint64_t pipe = 0;      // no two pipes of a process share it; 0: none
    uint64_t sequence = 0;  // 0: a request that asks for no response
};

}  // namespace hosted

struct EzcomRequest {
    hosted::PipeRecord record;
    hosted::PipeCallId call;
};

struct EzcomResponse {
    hosted::PipeRecord record;
    hosted::PipeCallId answers;
};

#endif
