#include "platform/hosted/log/syslog_sink.h"

#include <syslog.h>

#include "platform/hosted/log/levels.h"

namespace hosted::log {
namespace {

int Priority(uint32_t level)
{
    switch (level) {
        case kDebug:
            return LOG_DEBUG;
        case kWarning:
            return LOG_WARNING;
        case kError:
            return LOG_ERR;
        case kNotice:
            return LOG_NOTICE;
        default:
            return LOG_INFO;
    }
}

}  // namespace

// syslog(3) answers nothing, so a line it loses is not counted.
int SyslogSink::Write(const Line& line)
{
    syslog(Priority(line.Level()), "%s", line.WithoutTime().c_str());
    return 0;
}

}  // namespace hosted::log
