// What an owner's next life has to know, in a file under the runtime directory.
#ifndef OWNERLINK_TOOLS_OWNERD_REMEMBERED_STATE_H
#define OWNERLINK_TOOLS_OWNERD_REMEMBERED_STATE_H

#include <map>
#include <string>

#include "tools/ownerd/application.h"

namespace ownerd {

struct RememberedState {
    int systemState = -1;
    std::map<std::string, Memory> applications;
};

// The text of the file, and back. What cannot be read, or comes from before the machine's last
// start, remembers nothing.
std::string Write(const RememberedState& state, const std::string& bootId);
RememberedState Read(const std::string& text, const std::string& bootId);
std::string BootId();

// Replaces the file as a whole, so that a reader finds the former state or this one. False, with
// `errno`, if that could not be done.
bool Save(const std::string& path, const RememberedState& state);
RememberedState Load(const std::string& path);

}  // namespace ownerd

#endif
