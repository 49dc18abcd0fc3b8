// The program's own log: plain lines on standard error, with the journal's priorities where that is
// what reads them.
#ifndef OWNERLINK_TOOLS_OWNERD_OWNER_LOG_H
#define OWNERLINK_TOOLS_OWNERD_OWNER_LOG_H

#include <string>

namespace ownerd {

// Thread-safe. A line that nobody takes for 100 ms is dropped: a stuck reader of standard error
// must not stop the owner.
void LogError(const std::string& text);
void LogWarning(const std::string& text);
void LogInfo(const std::string& text);

}  // namespace ownerd

#endif
