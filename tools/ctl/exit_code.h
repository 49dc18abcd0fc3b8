// What the program's exit status says. Documented in the manual page; scripts depend on it.
#ifndef OWNERLINK_TOOLS_CTL_EXIT_CODE_H
#define OWNERLINK_TOOLS_CTL_EXIT_CODE_H

namespace ctl {

enum ExitCode : int {
    kDone = 0,
    kFailed = 1,
    kUsage = 2,
    kBusy = 3,      // refused: another state change of this process runs
    kPartly = 4,    // some owners or applications failed, others did not
    kNoOwner = 5,   // the table holds no owner that the verb could ask
    kTimedOut = 6,  // wait: not so within its limit
    kHopeless = 7,  // wait: cannot become so
};

}  // namespace ctl

#endif
