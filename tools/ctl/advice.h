// Reasons in words, and what a person can try next.
#ifndef OWNERLINK_TOOLS_CTL_ADVICE_H
#define OWNERLINK_TOOLS_CTL_ADVICE_H

#include <string>

#include "tools/ctl/owner_fates.h"

namespace ctl {

struct Advice {
    std::string reason;  // empty where all is well
    std::string next;    // empty where there is nothing to try
};

Advice AdviceOn(const Fate& fate, int timeOut);

// On opening or reading a resource file, by errno.
Advice AdviceOnError(int error);

// "ETIMEDOUT"; a number for an errno without a name, and empty for 0.
std::string ErrorName(int error);

}  // namespace ctl

#endif
