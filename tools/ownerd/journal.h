// Records for the journal of systemd, in its own protocol, so that they have fields.
#ifndef OWNERLINK_TOOLS_OWNERD_JOURNAL_H
#define OWNERLINK_TOOLS_OWNERD_JOURNAL_H

#include <string>

namespace ownerd {

struct JournalRecord {
    int priority;
    std::string text;
    std::string owner;        // its resource; empty while there is none
    std::string application;  // empty where it is about none
};

// The datagram that the journal reads.
std::string JournalEntry(const JournalRecord& record);

// Whether the journal at `path` has taken the entry, within 100 ms.
bool SendToJournal(const std::string& path, const std::string& entry);

}  // namespace ownerd

#endif
