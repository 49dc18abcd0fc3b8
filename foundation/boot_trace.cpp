#include "foundation/boot_trace.h"

#include <ownerlink/log.h>

#include <ctime>

namespace ProcMgr {

#if defined(__aarch64__)

BootCounter ReadBootCounter()
{
    BootCounter counter;
    asm volatile("mrs %0, cntvct_el0" : "=r"(counter.ticks));
    asm volatile("mrs %0, cntfrq_el0" : "=r"(counter.frequency));
    return counter;
}

#else

BootCounter ReadBootCounter()
{
    constexpr uint64_t kNanosecondsPerSecond = 1'000'000'000;
    timespec sinceBoot{};
    if (clock_gettime(CLOCK_BOOTTIME, &sinceBoot) != 0) {
        return {};
    }
    return {static_cast<uint64_t>(sinceBoot.tv_sec) * kNanosecondsPerSecond +
                static_cast<uint64_t>(sinceBoot.tv_nsec),
            kNanosecondsPerSecond};
}

#endif

std::string FormatBootTrace(const BootCounter& counter, const std::string& tag)
{
    if (counter.frequency == 0) {
        return "";
    }
    const double seconds =
        static_cast<double>(counter.ticks) / static_cast<double>(counter.frequency);
    std::string prefix = "[";
    prefix += std::to_string(seconds);  // writes "%f"
    prefix += "s][BOOT_TRACE][";
    prefix += tag;
    prefix += "]";
    return prefix;
}

std::string BootStrace(const std::string& tag)
{
    return FormatBootTrace(ReadBootCounter(), tag);
}

}  // namespace ProcMgr
