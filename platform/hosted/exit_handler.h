// The exit of the process: the layer stops taking work and waits for what runs, up to 2 s in sum.
#ifndef OWNERLINK_PLATFORM_HOSTED_EXIT_HANDLER_H
#define OWNERLINK_PLATFORM_HOSTED_EXIT_HANDLER_H

#include <sys/types.h>
#include <unistd.h>

namespace hosted {

// A part's own claim to be stopped. Each installs the handler anew with its first work, so that it
// runs ahead of the destructors of all that was built before that; the first to run stops every
// part.
class ExitHandler {
public:
    // Once for the process and its part.
    void Install();

    // False in a child that has not called `Install` itself: the work is its parent's.
    bool IsInstalled() const { return process_ == getpid(); }

private:
    pid_t process_ = 0;
};

}  // namespace hosted

#endif
