// A second process that ends the applications when the owner has died without doing so.
#ifndef OWNERLINK_TOOLS_OWNERD_GUARDIAN_H
#define OWNERLINK_TOOLS_OWNERD_GUARDIAN_H

#include <string>

#include "tools/ownerd/unique_fd.h"

namespace ownerd {

// The kernel kills an owner's children with it, but not what these have forked; the guardian finds
// all that carry the owner's marker. It holds a lock while it does, which the owner's next life
// waits for: what that one starts is not to be taken for the former one's.
class Guardian {
public:
    // Forks, and so comes before all threads.
    void Start();
    // Tells it what to guard, and returns when it does.
    void Guard(const std::string& marker, const std::string& lockFile);
    // The owner ends in good order: nothing is to be done.
    void Dismiss();

private:
    UniqueFd channel_;
};

// Waits until no guardian of a former life holds the lock. Says what is wrong if that does not
// come, at once if it cannot; else nothing.
std::string AwaitFormerGuardian(const std::string& lockFile);

}  // namespace ownerd

#endif
