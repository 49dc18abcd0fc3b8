// The way of an entry into the journal.
#ifndef OWNERLINK_PLATFORM_HOSTED_LOG_JOURNAL_SOCKET_H
#define OWNERLINK_PLATFORM_HOSTED_LOG_JOURNAL_SOCKET_H

#include <string>

namespace hosted::log {

// 0, or the errno number that an entry would meet at the socket `path`.
int ProbeJournal(const std::string& path);

// 0 or an errno number. A journal that takes nothing is waited for 100 ms at most.
int SendToJournal(const std::string& path, const std::string& entry);

}  // namespace hosted::log

#endif
