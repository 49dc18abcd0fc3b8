// Tells a person at a terminal what a fan-out is waiting for, once that takes long.
#ifndef OWNERLINK_TOOLS_CTL_PROGRESS_H
#define OWNERLINK_TOOLS_CTL_PROGRESS_H

#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

#include "tools/ctl/output.h"

namespace ctl {

// Shown from half a second on until the object ends, on standard error, if that is a terminal.
class Progress {
public:
    // `awaited` names those that have not answered; it is called on a thread of this object.
    Progress(Output& output, bool isWanted, std::function<std::string()> awaited);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

private:
    void Show();

    Output& output_;
    std::function<std::string()> awaited_;
    std::mutex mutex_;
    std::condition_variable ended_;
    bool hasEnded_ = false;
    std::thread thread_;
};

}  // namespace ctl

#endif
