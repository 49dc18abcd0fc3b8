// The readers of a manager's end, which take responses and events.
#include <cstdint>
#include <cstdlib>
#include <iostream>

#include "fuzz/reader_checks.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string difference =
        fuzz::DifferenceIn(fuzz::ManagersReaders(), {reinterpret_cast<const char*>(data), size});
    if (!difference.empty()) {
        std::cerr << difference;
        std::abort();
    }
    return 0;
}
