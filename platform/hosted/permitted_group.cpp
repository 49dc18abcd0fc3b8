#include "platform/hosted/permitted_group.h"

#include <grp.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "platform/hosted/hosted_log.h"

namespace hosted {
namespace {

constexpr const char* kDefaultGroup = "ownerlink";
constexpr size_t kEntryBytes = 16384;           // of most groups with all their members
constexpr size_t kMostEntryBytes = 16U << 20U;  // of any

}  // namespace

const char* GroupName()
{
    const char* name = secure_getenv("OWNERLINK_GROUP");
    return name != nullptr && *name != '\0' ? name : kDefaultGroup;
}

// Without a lock, which a fork might meet: those who ask at once may each look.
std::optional<gid_t> PermittedGroup::Number() const
{
    int64_t answer = answer_.load();
    if (answer == kUnknown) {
        answer = LookUp();
        if (answer != kUnknown) {
            answer_.store(answer);
        }
    }
    return answer >= 0 ? std::optional(static_cast<gid_t>(answer)) : std::nullopt;
}

int64_t PermittedGroup::LookUp() const
{
    group entry = {};
    group* found = nullptr;
    int error = ERANGE;
    std::vector<char> buffer;
    for (size_t size = kEntryBytes; error == ERANGE && size <= kMostEntryBytes; size *= 2) {
        buffer.resize(size);
        error = getgrnam_r(name_.c_str(), &entry, buffer.data(), buffer.size(), &found);
    }
    if (error != 0) {
        HOSTED_LOG(kLogError, "group %.128s cannot be looked up: %s", name_.c_str(),
                   strerror(error));
        return kUnknown;
    }
    return found != nullptr ? found->gr_gid : kNone;
}

}  // namespace hosted
