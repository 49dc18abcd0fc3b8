#include "tools/ownerd/owner_log.h"

#include <poll.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <cstdlib>

#include "tools/ownerd/journal.h"

namespace ownerd {
namespace {

constexpr int kPatienceMs = 100;
constexpr char kJournal[] = "/run/systemd/journal/socket";

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

std::string& OwnerName()
{
    static std::string& name = *new std::string;  // threads may log while the process ends
    return name;
}

const char* Start(int priority)
{
    switch (priority) {
        case LOG_ERR:
            return "ownerlink-ownerd: error: ";
        case LOG_WARNING:
            return "ownerlink-ownerd: warning: ";
        default:
            return "ownerlink-ownerd: ";
    }
}

void WriteLine(const std::string& line)
{
    pollfd entry = {STDERR_FILENO, POLLOUT, 0};
    if (poll(&entry, 1, kPatienceMs) == 1) {
        [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, line.data(), line.size());
    }
}

void Log(int priority, const std::string& application, const std::string& text)
{
    static const bool isReadByJournal = IsReadByJournal();
    if (!isReadByJournal) {
        WriteLine(Start(priority) + text + '\n');
    } else if (!SendToJournal(kJournal, JournalEntry({priority, text, OwnerName(), application}))) {
        WriteLine('<' + std::to_string(priority) + '>' + text + '\n');
    }
}

}  // namespace

void NameOwnerInLog(const std::string& resource)
{
    OwnerName() = resource;
}

void LogError(const std::string& text)
{
    Log(LOG_ERR, "", text);
}

void LogError(const std::string& application, const std::string& text)
{
    Log(LOG_ERR, application, application + ": " + text);
}

void LogWarning(const std::string& text)
{
    Log(LOG_WARNING, "", text);
}

void LogWarning(const std::string& application, const std::string& text)
{
    Log(LOG_WARNING, application, application + ": " + text);
}

void LogInfo(const std::string& text)
{
    Log(LOG_INFO, "", text);
}

void LogInfo(const std::string& application, const std::string& text)
{
    Log(LOG_INFO, application, application + ": " + text);
}

}  // namespace ownerd
