// The library's records of this process, for its answers name no owner: the log alone does.
#ifndef OWNERLINK_TOOLS_CTL_LOG_CAPTURE_H
#define OWNERLINK_TOOLS_CTL_LOG_CAPTURE_H

#include <sys/types.h>

#include <cstddef>
#include <string>
#include <vector>

namespace ctl {

struct LogRecord {
    bool isFailure = false;
    pid_t thread = 0;
    std::string threadName;
    std::string text;  // behind the unit and line
};

// Thread-safe. Adds a sink of its own to OWNERLINK_LOG, beside those that the user has chosen.
class LogCapture {
public:
    // To be made before the process's first record and other threads.
    LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    size_t Mark() const;  // where the next record will stand
    std::vector<LogRecord> Since(size_t mark) const;
    void Forget() const;  // only while nobody holds a mark

private:
    // Never closed: the library logs to the very end of the process. Below 0: nothing is captured.
    int file_ = -1;
};

}  // namespace ctl

#endif
