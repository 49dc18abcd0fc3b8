#include "platform/hosted/log/sink.h"

#include "platform/hosted/log/dlt_sink.h"
#include "platform/hosted/log/file_sink.h"
#include "platform/hosted/log/journal_sink.h"
#include "platform/hosted/log/stderr_sink.h"
#include "platform/hosted/log/syslog_sink.h"

namespace hosted::log {

std::unique_ptr<Sink> MakeSink(const SinkOptions& options)
{
    switch (options.kind) {
        case SinkKind::kSyslog:
            return std::make_unique<SyslogSink>();
        case SinkKind::kFile:
            return std::make_unique<FileSink>(options);
        case SinkKind::kJournal:
            return std::make_unique<JournalSink>(options.path);
        case SinkKind::kDlt:
            return MakeDltSink(options.path);
        case SinkKind::kStandardError:
            break;
    }
    return std::make_unique<StderrSink>();
}

}  // namespace hosted::log
