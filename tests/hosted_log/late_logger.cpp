// Logs at every stage of a process's end: from a static's destructor, an exit handler and a
// destructor of a static that was built before the log.
#include <cstdlib>

#include "platform/dlog.h"

namespace {

constexpr uint32_t kClient = 54;
constexpr uint32_t kErrorLevel = 3;

struct Late {
    const char* name;
    ~Late()
    {
        if (CheckLogLevel(kClient, kErrorLevel) == 1) {
            DlogRecord(kClient, kErrorLevel, "%s", name);
        }
        DlogFlush();
    }
};

const Late earliest{"built before the log"};

}  // namespace

int main()
{
    DlogRecord(kClient, kErrorLevel, "main");
    static const Late later{"built after the log"};
    std::atexit([] { DlogRecord(kClient, kErrorLevel, "exit handler"); });
    return 0;
}
