// The record by which an owner publishes a name: one small file in the runtime directory, written
// whole and renamed into place. A client that opens the name reads it and asks the owner nothing,
// so that a busy or stopped owner does not hold it up.
#ifndef OWNERLINK_PLATFORM_HOSTED_ENDPOINT_RECORD_H
#define OWNERLINK_PLATFORM_HOSTED_ENDPOINT_RECORD_H

#include <cstdint>
#include <string_view>

#include "platform/hosted/outcome.h"
#include "platform/hosted/runtime_dir.h"

namespace hosted {

enum class EndpointKind : uint32_t { kFile = 1, kQueue = 2, kPipe = 3 };

struct Endpoint {
    uint64_t instance = 0;  // one life of one owner; also the name of its socket
    uint32_t timeoutMs = 0;
    EndpointKind kind = EndpointKind::kFile;
};

// A number that no life of an owner has had.
uint64_t NewInstance();

// ENOENT: no such record. EEXIST: that of another name with the same digest. EACCES: not readable,
// or not written by the directory's user or root. EPROTO: of another version, or damaged.
Outcome<Endpoint> ReadEndpoint(const RuntimeDir& directory, std::string_view name);

// Replaces the record of `name` in one step. Returns 0 or an errno number.
int PublishEndpoint(const RuntimeDir& directory, std::string_view name, const Endpoint& endpoint);

void RemoveRecord(const RuntimeDir& directory, std::string_view name);
void RemoveSocket(const RuntimeDir& directory, uint64_t instance);

}  // namespace hosted

#endif
