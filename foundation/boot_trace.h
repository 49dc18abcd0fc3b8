// The machine's counter behind the prefix of a boot-trace record.
#ifndef OWNERLINK_FOUNDATION_BOOT_TRACE_H
#define OWNERLINK_FOUNDATION_BOOT_TRACE_H

#include <cstdint>
#include <string>

namespace ProcMgr {

// A counter that starts with the machine. A frequency of 0 means that there is none.
struct BootCounter {
    uint64_t ticks = 0;
    uint64_t frequency = 0;  // ticks in a second
};

// Reads the Arm generic timer, or seconds since boot on other processors.
BootCounter ReadBootCounter();

// Makes the prefix from one reading; empty where there is no counter.
std::string FormatBootTrace(const BootCounter& counter, const std::string& tag);

}  // namespace ProcMgr

#endif
