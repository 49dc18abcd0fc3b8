#include "platform/hosted/log/syslog_sink.h"

#include <syslog.h>

#include "platform/hosted/log/levels.h"

namespace hosted::log {
// syslog(3) answers nothing, so a line it loses is not counted.
int SyslogSink::Write(const Line& line)
{
    syslog(SyslogPriority(line.Level()), "%s", line.WithoutTime().c_str());
    return 0;
}

}  // namespace hosted::log
