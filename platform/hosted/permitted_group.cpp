#include "platform/hosted/permitted_group.h"

#include <grp.h>

#include <cstdlib>
#include <vector>

namespace hosted {
namespace {

constexpr const char* kDefaultGroup = "ownerlink";

std::optional<gid_t> NumberOf(const std::string& name)
{
    std::vector<char> buffer(16384);
    group entry = {};
    group* found = nullptr;
    const int error = getgrnam_r(name.c_str(), &entry, buffer.data(), buffer.size(), &found);
    return error == 0 && found != nullptr ? std::optional<gid_t>(found->gr_gid) : std::nullopt;
}

}  // namespace

const char* GroupName()
{
    const char* name = secure_getenv("OWNERLINK_GROUP");
    return name != nullptr && *name != '\0' ? name : kDefaultGroup;
}

std::optional<gid_t> PermittedGroup::Number() const
{
    std::call_once(isLookedUp_, [this] { number_ = NumberOf(name_); });
    return number_;
}

}  // namespace hosted
