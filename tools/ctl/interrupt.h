// Ctrl-C at the terminal of a shell: it ends the line or the verb in the foreground, not the shell.
#ifndef OWNERLINK_TOOLS_CTL_INTERRUPT_H
#define OWNERLINK_TOOLS_CTL_INTERRUPT_H

#include <thread>

#include "tools/ctl/stop.h"

namespace ctl {

// While it lives, SIGINT is a request to `stop`. A second one that nobody has seen to, as when a
// fan-out waits for its owners, ends the process as it would without this.
//
// To be made ahead of all other threads: they inherit that the signal is not theirs.
class Interrupt {
public:
    explicit Interrupt(const Stop& stop);
    ~Interrupt();
    Interrupt(const Interrupt&) = delete;
    Interrupt& operator=(const Interrupt&) = delete;

private:
    void Listen() const;
    void Take() const;

    const Stop& stop_;
    Stop ended_;
    int signals_;
    std::thread thread_;
};

}  // namespace ctl

#endif
