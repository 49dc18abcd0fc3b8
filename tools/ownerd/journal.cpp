#include "tools/ownerd/journal.h"

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <syslog.h>

#include <cstddef>
#include <cstdint>

#include "tools/ownerd/unique_fd.h"

namespace ownerd {
namespace {

constexpr suseconds_t kPatience = 100'000;  // microseconds

// A value of several lines has its size before it, 64 bits with the lowest byte first.
void Add(std::string& entry, const std::string& field, const std::string& value)
{
    if (value.empty()) {
        return;
    }
    entry += field;
    if (value.find('\n') == std::string::npos) {
        entry += '=';
    } else {
        entry += '\n';
        for (unsigned shift = 0; shift < 64; shift += 8) {
            entry += static_cast<char>(static_cast<uint64_t>(value.size()) >> shift & 0xff);
        }
    }
    entry += value + '\n';
}

const char* LevelOf(int priority)
{
    switch (priority) {
        case LOG_ERR:
            return "error";
        case LOG_WARNING:
            return "warning";
        default:
            return "info";
    }
}

}  // namespace

std::string JournalEntry(const JournalRecord& record)
{
    std::string entry;
    Add(entry, "MESSAGE", record.text);
    Add(entry, "PRIORITY", std::to_string(record.priority));
    Add(entry, "SYSLOG_IDENTIFIER", "ownerlink-ownerd");
    Add(entry, "OWNERLINK_LEVEL", LevelOf(record.priority));
    Add(entry, "OWNERLINK_MODULE", "ownerd");
    Add(entry, "OWNERLINK_OWNER", record.owner);
    Add(entry, "OWNERLINK_APPLICATION", record.application);
    return entry;
}

bool SendToJournal(const std::string& path, const std::string& entry)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        return false;
    }
    path.copy(address.sun_path, path.size());
    const UniqueFd fd(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    const timeval patience = {0, kPatience};
    setsockopt(fd.Get(), SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
    const auto size = static_cast<ssize_t>(entry.size());
    return sendto(fd.Get(), entry.data(), entry.size(), MSG_NOSIGNAL,
                  reinterpret_cast<const sockaddr*>(&address), sizeof address) == size;
}

}  // namespace ownerd
