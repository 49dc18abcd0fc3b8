#include "platform/hosted/log/journal_stream.h"

#include <sys/stat.h>

#include "platform/hosted/log/journal_sink.h"

namespace hosted::log {

bool IsJournalStream(const char* stream, int descriptor)
{
    struct stat file {};
    if (stream == nullptr || fstat(descriptor, &file) != 0) {
        return false;
    }
    return std::to_string(file.st_dev) + ':' + std::to_string(file.st_ino) == stream;
}

void PreferJournal(Config& config, const SinkOptions& journal)
{
    if (JournalSink(journal.path).Probe() != 0) {
        return;
    }
    std::vector<OutletOptions> outlets;
    for (OutletOptions& outlet : config.outlets) {
        const SinkKind kind = outlet.sink.kind;
        if (kind == SinkKind::kStandardError || (kind == SinkKind::kSyslog && config.isDefault)) {
            outlet.sink = journal;
        }
        AddOutlet(outlets, outlet);
    }
    config.outlets = std::move(outlets);
}

}  // namespace hosted::log
