#include "foundation/log_routes.h"

#include <map>

#include "foundation/plain_field.h"

namespace ProcMgr {
namespace {

// A table is never destroyed: an owner's callback that outlasts the exit of its process still logs.
using Levels = std::map<GrpOwnerLogLevel, int>;

bool syslogEnabled = false;  // set once and read often, on any thread

int Translate(const Levels& table, GrpOwnerLogLevel level, int otherwise)
{
    const auto found = table.find(level);
    return found == table.end() ? otherwise : found->second;
}

}  // namespace

void EnableSyslogState()
{
    StorePlain(syslogEnabled, true);
}

bool IsSyslogEnable()
{
    return LoadPlain(syslogEnabled);
}

int GetSyslogLevel(GrpOwnerLogLevel level)
{
    static const Levels& syslogLevel = *new const Levels{
        {GRP_LOG_DEBUG, LOG_DEBUG}, {GRP_LOG_INFO, LOG_INFO},     {GRP_LOG_WARN, LOG_WARNING},
        {GRP_LOG_ERROR, LOG_ERR},   {GRP_LOG_NOTICE, LOG_NOTICE},
    };
    return Translate(syslogLevel, level, LOG_INFO);
}

int GetDLogLevel(GrpOwnerLogLevel level)
{
    static const Levels& dlogLevel = *new const Levels{
        {GRP_LOG_DEBUG, 0}, {GRP_LOG_INFO, 1},    {GRP_LOG_WARN, 2},
        {GRP_LOG_ERROR, 3}, {GRP_LOG_NOTICE, 16},
    };
    return Translate(dlogLevel, level, 1);
}

bool MayWriteServerLog(GrpOwnerLogLevel level)
{
    return !IsSyslogEnable() || (setlogmask(0) & LOG_MASK(GetSyslogLevel(level))) != 0;
}

}  // namespace ProcMgr
