// Memory that several processes map, behind a file.
#ifndef OWNERLINK_BENCH_SHARED_FILE_H
#define OWNERLINK_BENCH_SHARED_FILE_H

#include <cstddef>
#include <string>

namespace bench {

// `size` bytes, zero when the file is new. Throws.
void* MapSharedFile(const std::string& path, size_t size);
void UnmapSharedFile(void* memory, size_t size);

}  // namespace bench

#endif
