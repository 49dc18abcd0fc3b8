#include "bench/shared_file.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace bench {

void* MapSharedFile(const std::string& path, size_t size)
{
    const int fd = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    void* memory = MAP_FAILED;
    if (fd >= 0 && ftruncate(fd, static_cast<off_t>(size)) == 0) {
        // Populated, so that no first touch falls into a timed event.
        memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_POPULATE, fd, 0);
    }
    const int error = errno;
    close(fd);
    if (memory == MAP_FAILED) {
        throw std::system_error(error, std::generic_category(), path);
    }
    return memory;
}

void UnmapSharedFile(void* memory, size_t size)
{
    munmap(memory, size);
}

}  // namespace bench
