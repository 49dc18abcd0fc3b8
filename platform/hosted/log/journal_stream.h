// Whether this process runs under systemd with its standard error in the journal. What would get
// there as plain lines is then better written as records of the journal's own.
#ifndef OWNERLINK_PLATFORM_HOSTED_LOG_JOURNAL_STREAM_H
#define OWNERLINK_PLATFORM_HOSTED_LOG_JOURNAL_STREAM_H

#include "platform/hosted/log/config.h"

namespace hosted::log {

// Whether `stream`, the variable JOURNAL_STREAM or null, names the file behind `descriptor`: its
// device and inode in decimal. A process whose standard error was redirected inherits the variable
// all the same.
bool IsJournalStream(const char* stream, int descriptor);

// Puts `journal` in the place of standard error, and of syslog where that is the layer's own
// choice. Leaves all as it is when no journal listens.
void PreferJournal(Config& config, const SinkOptions& journal);

}  // namespace hosted::log

#endif
