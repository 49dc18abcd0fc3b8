// Standard error, written past stdio: one system call for a line, so that lines of several
// processes do not mix, and a result that tells whether it arrived.
#ifndef OWNERLINK_PLATFORM_HOSTED_LOG_STDERR_SINK_H
#define OWNERLINK_PLATFORM_HOSTED_LOG_STDERR_SINK_H

#include <string_view>

#include "platform/hosted/log/sink.h"

namespace hosted::log {

class StderrSink : public Sink {
public:
    int Write(const Line& line) override;
};

// Writes all of `text` to standard error; 0 or an errno number.
int WriteToStderr(std::string_view text);

}  // namespace hosted::log

#endif
