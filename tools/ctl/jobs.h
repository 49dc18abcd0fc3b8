// The verbs of a shell that run in the background.
#ifndef OWNERLINK_TOOLS_CTL_JOBS_H
#define OWNERLINK_TOOLS_CTL_JOBS_H

#include <atomic>
#include <functional>
#include <list>
#include <string>
#include <thread>

#include "tools/ctl/exit_code.h"
#include "tools/ctl/output.h"
#include "tools/ctl/stop.h"

namespace ctl {

// Used by one thread; every job has ended when the object has.
class Jobs {
public:
    using Work = std::function<ExitCode(const Stop& stop)>;

    explicit Jobs(Output& output) : output_(output) {}
    ~Jobs();
    Jobs(const Jobs&) = delete;
    Jobs& operator=(const Jobs&) = delete;

    // `goesOn`: it ends only when it is stopped. std::system_error when there is no thread for it.
    void Start(const std::string& line, bool goesOn, Work work);
    void Show();              // one line for each that runs
    bool Cancel(int number);  // false: there is no such job
    ExitCode Reap();          // tells of those that have ended; the highest of their codes
    ExitCode AwaitAll();      // ends those that go on, waits for the others

private:
    struct Job {
        int number = 0;
        std::string line;
        bool goesOn = false;
        Stop stop;
        std::atomic<bool> hasEnded{false};
        ExitCode exitCode = kFailed;  // until it has ended
        std::thread thread;
    };

    void Run(Job& job, const Work& work);
    void Tell(const Job& job, const std::string& what);

    Output& output_;
    int last_ = 0;
    std::list<Job> jobs_;
};

}  // namespace ctl

#endif
