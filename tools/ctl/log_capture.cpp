#include "tools/ctl/log_capture.h"

#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <sstream>

namespace ctl {
namespace {

// What the library does without the variable.
constexpr char kUsualLog[] = "warning,syslog";

bool IsBlank(const char* text)
{
    return text == nullptr || std::string(text).find_first_not_of(" \t") == std::string::npos;
}

void AddSink(int file)
{
    const char* const before = std::getenv("OWNERLINK_LOG");
    const std::string own = ";client=info,off,file:/proc/self/fd/" + std::to_string(file) +
                            ",size=1024G";  // never rotated
    setenv("OWNERLINK_LOG", ((IsBlank(before) ? kUsualLog : before) + own).c_str(), 1);
}

std::string TextOf(int file, size_t from)
{
    struct stat status {};
    if (fstat(file, &status) != 0 || static_cast<size_t>(status.st_size) <= from) {
        return "";
    }
    std::string text(static_cast<size_t>(status.st_size) - from, '\0');
    const ssize_t count = pread(file, text.data(), text.size(), static_cast<off_t>(from));
    text.resize(count < 0 ? 0 : static_cast<size_t>(count));
    return text;
}

// Reads "PROCESS:THREAD NAME".
void ParseThread(const std::string& text, LogRecord& record)
{
    const size_t colon = text.find(':');
    const size_t blank = text.find(' ', colon);
    record.thread = static_cast<pid_t>(std::strtol(text.c_str() + colon + 1, nullptr, 10));
    record.threadName = text.substr(std::min(blank + 1, text.size()));
}

// "TIME LEVEL client [milestone ][PROCESS:THREAD NAME] [UNIT:LINE]TEXT"
bool ParseLine(const std::string& line, LogRecord& record)
{
    const size_t who = line.find(" [");
    const size_t unit = line.find("] [", who == std::string::npos ? 0 : who);
    const size_t text = unit == std::string::npos ? unit : line.find(']', unit + 3);
    if (who == std::string::npos || text == std::string::npos) {
        return false;
    }
    ParseThread(line.substr(who + 2, unit - who - 2), record);
    record.isFailure = line.find(" error client ") < who;
    record.text = line.substr(text + 1);
    return true;
}

}  // namespace

LogCapture::LogCapture() : file_(memfd_create("ownerlinkctl-log", MFD_CLOEXEC))
{
    if (file_ >= 0) {
        AddSink(file_);
    }
}

size_t LogCapture::Mark() const
{
    struct stat status {};
    return file_ >= 0 && fstat(file_, &status) == 0 ? static_cast<size_t>(status.st_size) : 0;
}

std::vector<LogRecord> LogCapture::Since(size_t mark) const
{
    std::vector<LogRecord> records;
    std::istringstream lines(TextOf(file_, mark));
    for (std::string line; std::getline(lines, line);) {
        LogRecord record;
        if (ParseLine(line, record)) {
            records.push_back(std::move(record));
        }
    }
    return records;
}

void LogCapture::Forget() const
{
    if (file_ >= 0 && ftruncate(file_, 0) != 0) {
        std::perror("ownerlinkctl: the log of this process cannot be shortened");
    }
}

}  // namespace ctl
