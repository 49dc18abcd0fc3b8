// The program's own log: plain lines on standard error, or records with fields of their own where
// the journal is what reads them.
#ifndef OWNERLINK_TOOLS_OWNERD_OWNER_LOG_H
#define OWNERLINK_TOOLS_OWNERD_OWNER_LOG_H

#include <string>

namespace ownerd {

// The resource that all records carry from here on. Before other threads log.
void NameOwnerInLog(const std::string& resource);

// Thread-safe. A line that nobody takes for 100 ms is dropped: a stuck reader of standard error
// must not stop the owner.
void LogError(const std::string& text);
void LogWarning(const std::string& text);
void LogInfo(const std::string& text);

// About one application, whose name stands before the text.
void LogError(const std::string& application, const std::string& text);
void LogWarning(const std::string& application, const std::string& text);
void LogInfo(const std::string& application, const std::string& text);

}  // namespace ownerd

#endif
