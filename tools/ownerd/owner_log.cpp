#include "tools/ownerd/owner_log.h"

#include <poll.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace ownerd {
namespace {

constexpr int kPatienceMs = 100;

// JOURNAL_STREAM names the device and inode of the stream that the journal reads.
bool IsReadByJournal()
{
    const char* const stream = getenv("JOURNAL_STREAM");
    struct stat status = {};
    if (stream == nullptr || fstat(STDERR_FILENO, &status) != 0) {
        return false;
    }
    return std::to_string(status.st_dev) + ':' + std::to_string(status.st_ino) == stream;
}

void Log(int priority, const std::string& text)
{
    static const bool isReadByJournal = IsReadByJournal();
    const std::string start = isReadByJournal ? '<' + std::to_string(priority) + '>'
                                              : std::string("ownerlink-ownerd: ") +
                                                    (priority == LOG_ERR       ? "error: "
                                                     : priority == LOG_WARNING ? "warning: "
                                                                               : "");
    const std::string line = start + text + '\n';
    pollfd entry = {STDERR_FILENO, POLLOUT, 0};
    if (poll(&entry, 1, kPatienceMs) == 1) {
        [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, line.data(), line.size());
    }
}

}  // namespace

void LogError(const std::string& text)
{
    Log(LOG_ERR, text);
}

void LogWarning(const std::string& text)
{
    Log(LOG_WARNING, text);
}

void LogInfo(const std::string& text)
{
    Log(LOG_INFO, text);
}

}  // namespace ownerd
