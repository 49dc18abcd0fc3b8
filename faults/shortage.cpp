#include "faults/shortage.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <new>
#include <utility>

namespace {

constexpr uint64_t kOften = 8;
constexpr uint64_t kRarely = 64;

std::atomic<uint64_t> failsOneIn{0};  // 0: none fails
std::atomic<uint64_t> allocations{static_cast<uint64_t>(getpid()) << 20};
std::atomic<int64_t> clockShift{0};
thread_local bool isSpared = false;
thread_local bool isOwnThread = false;  // this program's, not the library's

struct Taken {
    Taken* next;
};
Taken* taken = nullptr;

constexpr int kMostDescriptors = 4096;
int takenDescriptors[kMostDescriptors];
int takenDescriptorCount = 0;

void SetLimit(__rlimit_resource resource, rlim_t value)
{
    rlimit limit = {};
    getrlimit(resource, &limit);
    limit.rlim_cur = value < limit.rlim_max ? value : limit.rlim_max;
    setrlimit(resource, &limit);
}

rlim_t AddressSpace()
{
    char text[64] = {};
    const int fd = open("/proc/self/statm", O_RDONLY | O_CLOEXEC);
    const ssize_t count = read(fd, text, sizeof text - 1);
    close(fd);
    return count > 0 ? strtoull(text, nullptr, 10) * static_cast<rlim_t>(sysconf(_SC_PAGESIZE))
                     : RLIM_INFINITY;
}

void StarveMemory()
{
    SetLimit(RLIMIT_AS, AddressSpace());
    for (size_t size = size_t{1} << 20; size >= sizeof(Taken); size /= 2) {
        while (void* const block = malloc(size)) {
            taken = new (block) Taken{taken};
        }
    }
}

void FeedMemory()
{
    SetLimit(RLIMIT_AS, RLIM_INFINITY);
    while (taken != nullptr) {
        free(std::exchange(taken, taken->next));
    }
}

// The few that remain below the limit are taken one by one.
void StarveDescriptors()
{
    const int highest = open("/dev/null", O_RDONLY | O_CLOEXEC);
    close(highest);
    SetLimit(RLIMIT_NOFILE, static_cast<rlim_t>(highest) + 64);
    int fd = -1;
    while (takenDescriptorCount < kMostDescriptors &&
           (fd = open("/dev/null", O_RDONLY | O_CLOEXEC)) >= 0) {
        takenDescriptors[takenDescriptorCount++] = fd;
    }
}

void FeedDescriptors()
{
    while (takenDescriptorCount > 0) {
        close(takenDescriptors[--takenDescriptorCount]);
    }
    SetLimit(RLIMIT_NOFILE, RLIM_INFINITY);
}

void* Allocate(size_t size)
{
    const uint64_t oneIn = failsOneIn.load(std::memory_order_relaxed);
    if (oneIn != 0 && !isSpared) {
        // Not each eighth: the steps of one call would fail in turn.
        const uint64_t mixed = (allocations.fetch_add(1) + 1) * 0x9e3779b97f4a7c15U;
        if ((mixed >> 40) % oneIn == 0) {
            return nullptr;
        }
    }
    return malloc(size == 0 ? 1 : size);
}

}  // namespace

bool Starve(std::string_view what)
{
    if (what == "memory") {
        StarveMemory();
    } else if (what == "allocations") {
        failsOneIn = kOften;
    } else if (what == "some-allocations") {
        failsOneIn = kRarely;
    } else if (what == "descriptors") {
        StarveDescriptors();
    } else if (what == "threads") {
        SetLimit(RLIMIT_NPROC, 1);
    } else {
        return false;
    }
    return true;
}

bool Feed(std::string_view what)
{
    if (what == "memory") {
        FeedMemory();
    } else if (what == "allocations" || what == "some-allocations") {
        failsOneIn = 0;
    } else if (what == "descriptors") {
        FeedDescriptors();
    } else if (what == "threads") {
        SetLimit(RLIMIT_NPROC, RLIM_INFINITY);
    } else {
        return false;
    }
    return true;
}

void ShiftWallClock(int64_t seconds)
{
    clockShift = seconds;
}

void TellAbortsApart()
{
    std::set_terminate([] {
        if (isOwnThread) {
            _exit(kEndedByOwnThread);
        }
        std::abort();
    });
}

SpareThisThread::SpareThisThread(bool isNowSpared) : before_(std::exchange(isSpared, isNowSpared))
{
    isOwnThread = true;
}

SpareThisThread::~SpareThisThread()
{
    isSpared = before_;
}

// The whole process's, the library's own included: the program's definitions come first.
void* operator new(size_t size)
{
    if (void* const block = Allocate(size)) {
        return block;
    }
    throw std::bad_alloc();
}

void* operator new(size_t size, const std::nothrow_t& /*tag*/) noexcept
{
    return Allocate(size);
}

void* operator new[](size_t size)
{
    return operator new(size);
}

void* operator new[](size_t size, const std::nothrow_t& /*tag*/) noexcept
{
    return Allocate(size);
}

void operator delete(void* block) noexcept
{
    free(block);
}

void operator delete(void* block, size_t /*size*/) noexcept
{
    free(block);
}

void operator delete[](void* block) noexcept
{
    free(block);
}

void operator delete[](void* block, size_t /*size*/) noexcept
{
    free(block);
}

extern "C" __attribute__((visibility("default"))) int clock_gettime(clockid_t clock,
                                                                    timespec* time) noexcept
{
    const long result = syscall(SYS_clock_gettime, clock, time);
    if (result == 0 && clock == CLOCK_REALTIME) {
        time->tv_sec += clockShift.load(std::memory_order_relaxed);
    }
    return static_cast<int>(result);
}
