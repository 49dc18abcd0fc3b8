// A syslog for records that are to cost what they cost where one runs.
#ifndef OWNERLINK_BENCH_EVENT_SYSLOG_H
#define OWNERLINK_BENCH_EVENT_SYSLOG_H

#include <memory>

#include "bench/processes.h"

namespace bench {

class Syslog {
public:
    // The machine's, or a process that reads records and forgets them, behind a /dev of this
    // process and its children alone.
    Syslog();

    // Whether records are taken: false without a syslog and the right to put one up.
    bool IsUp() const { return isUp_; }

private:
    std::unique_ptr<RoleProcess> reader_;
    bool isUp_;
};

// The reading process: prints "ready" and serves until it is killed.
void ServeSyslog();

}  // namespace bench

#endif
