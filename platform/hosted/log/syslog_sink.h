// syslog(3), as the program has set it up: its identity, options and facility are left alone.
#ifndef OWNERLINK_PLATFORM_HOSTED_LOG_SYSLOG_SINK_H
#define OWNERLINK_PLATFORM_HOSTED_LOG_SYSLOG_SINK_H

#include "platform/hosted/log/sink.h"

namespace hosted::log {

class SyslogSink : public Sink {
public:
    int Write(const Line& line) override;
};

}  // namespace hosted::log

#endif
