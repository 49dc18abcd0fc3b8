// A configuration in a file of its own, and what the reader makes of it.
#ifndef OWNERLINK_TESTS_OWNERD_CONFIGURATION_FILE_H
#define OWNERLINK_TESTS_OWNERD_CONFIGURATION_FILE_H

#include <string>
#include <vector>

#include "tools/ownerd/configuration.h"

// Reads `text` from a file. In messages the file's path stands as FILE.
ownerd::ReadResult ReadText(const std::string& text);

// The keys that every file needs, and one application with the lines of `body`.
std::string WithApplication(const std::string& body);
std::string Globals();

#endif
