#include "tools/ctl/clock_text.h"

#include <cstdio>
#include <ctime>

namespace ctl {

std::string NowInUtc()
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    tm parts{};
    gmtime_r(&now.tv_sec, &parts);
    char text[32];
    const size_t length = std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &parts);
    std::snprintf(text + length, sizeof text - length, ".%03ldZ", now.tv_nsec / 1000000);
    return text;
}

}  // namespace ctl
