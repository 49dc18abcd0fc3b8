// A file that is renamed to a numbered one when it is full ("app.log" to "app.1.log").
//
// A removed or renamed file is noticed before the next line and made anew. A forked child never
// touches its parent's file: it writes to one that carries its own process number.
#ifndef OWNERLINK_PLATFORM_HOSTED_LOG_FILE_SINK_H
#define OWNERLINK_PLATFORM_HOSTED_LOG_FILE_SINK_H

#include <sys/stat.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "platform/hosted/log/sink.h"

namespace hosted::log {

class FileSink : public Sink {
public:
    explicit FileSink(const SinkOptions& options);
    ~FileSink() override;

    int Write(const Line& line) override;
    int Probe() override;
    void EnterChild() override;

private:
    // The rotation library stays inside one source, which is built with its definitions.
    struct RotatingFile;

    int Open();
    bool StillThere() const;
    void Adopt(std::FILE* stream);

    SinkOptions options_;
    std::string path_;
    // What the open stream writes to, to be compared with what `path_` names now.
    struct stat open_ {};
    // Holds the longest usual line, so that a line is one system call. Outlives the stream.
    std::vector<char> buffer_;
    std::unique_ptr<RotatingFile> file_;
};

}  // namespace hosted::log

#endif
