// The group whose members may connect to what this process publishes.
#ifndef OWNERLINK_PLATFORM_HOSTED_PERMITTED_GROUP_H
#define OWNERLINK_PLATFORM_HOSTED_PERMITTED_GROUP_H

#include <sys/types.h>

#include <mutex>
#include <optional>
#include <string>

namespace hosted {

// From the environment, or the default.
const char* GroupName();

// Named by the environment at its making, and looked up when its number is first asked for: the
// system's name service takes 500 KiB and may ask other machines, and most owners serve none but
// their own user and root.
class PermittedGroup {
public:
    // None if there is no such group. Thread-safe.
    std::optional<gid_t> Number() const;

private:
    std::string name_ = GroupName();
    mutable std::once_flag isLookedUp_;
    mutable std::optional<gid_t> number_;
};

}  // namespace hosted

#endif
