// Where an owner keeps what outlives it, and how its processes are told from all others.
#ifndef OWNERLINK_TOOLS_OWNERD_RUNTIME_PLACE_H
#define OWNERLINK_TOOLS_OWNERD_RUNTIME_PLACE_H

#include <optional>
#include <string>

namespace ownerd {

struct RuntimePlace {
    std::string stateFile;
    std::string lockFile;
    // Names the directory itself, not its path: several systems on one machine have the same path.
    std::string marker;
};

// Under the library's runtime directory, which publishing a resource has made. Nothing if there is
// none.
std::optional<RuntimePlace> FindRuntimePlace(const std::string& resource);

}  // namespace ownerd

#endif
