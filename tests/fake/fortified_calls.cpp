#include <syslog.h>

#include <climits>
#include <cstdlib>

#include "tests/fake/bound_calls.h"

namespace Bound {

void FortifiedSyslog(int priority, const char* text, int number)
{
    syslog(priority, "%s=%d", text, number);
}

std::string FortifiedRealpath(const char* path)
{
    char resolved[PATH_MAX];
    return realpath(path, resolved) == nullptr ? "" : resolved;
}

}  // namespace Bound
