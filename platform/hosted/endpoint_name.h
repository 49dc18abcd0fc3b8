// From a resource's name to file names in the runtime directory.
#ifndef OWNERLINK_PLATFORM_HOSTED_ENDPOINT_NAME_H
#define OWNERLINK_PLATFORM_HOSTED_ENDPOINT_NAME_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace hosted {

// Longer names are refused.
inline constexpr size_t kMaxNameSize = 4096;

// The stem of a name's files: the name with every byte but letters, digits, '-', '_' and inner dots
// percent-encoded, or, where that is too long for a file name, a digest. Stems of short names are
// distinct; a name with a digest is told from another by the name in its record.
std::string EndpointStem(std::string_view name);

std::string RecordFileName(std::string_view name);  // what `open` reads
std::string LockFileName(std::string_view name);    // whose lock is the name's
std::string SocketFileName(uint64_t instance);      // where one life of an owner listens

}  // namespace hosted

#endif
