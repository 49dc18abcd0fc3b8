// The group whose members may connect to what this process publishes.
#ifndef OWNERLINK_PLATFORM_HOSTED_PERMITTED_GROUP_H
#define OWNERLINK_PLATFORM_HOSTED_PERMITTED_GROUP_H

#include <sys/types.h>

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>

namespace hosted {

// From the environment, or the default.
const char* GroupName();

// Named by the environment at its making, and looked up when its number is first asked for: the
// system's name service takes 500 KiB and may ask other machines, and most owners serve none but
// their own user and root. Thread-safe.
class PermittedGroup {
public:
    // None if there is no such group. What the name service has answered is kept; where it could
    // not answer there is none for this once, and the log says why.
    std::optional<gid_t> Number() const;

    // Whether `Number` needs the name service no more.
    bool IsKnown() const { return answer_.load() != kUnknown; }

private:
    static constexpr int64_t kUnknown = -1;
    static constexpr int64_t kNone = -2;

    int64_t LookUp() const;

    std::string name_ = GroupName();
    mutable std::atomic<int64_t> answer_{kUnknown};  // a number, or one of the above
};

}  // namespace hosted

#endif
