#include "platform/hosted/queue_next_life.h"

#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "platform/hosted/runtime_dir.h"

namespace hosted {
namespace {

constexpr uint32_t kItself = IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;
constexpr uint32_t kRecords = kItself | IN_MOVED_TO;  // records are renamed into place
constexpr uint32_t kDirectories = kItself | IN_MOVED_TO | IN_CREATE;
constexpr int kMostTries = 16;

std::string ParentOf(const std::string& path)
{
    const std::string parent = std::filesystem::path(path).parent_path();
    return parent.empty() ? "." : parent;
}

}  // namespace

// A directory that is made between the look at it and the watch above it would be missed, hence the
// second look.
bool NextLifeWatch::Renew()
{
    const std::string& directory = RuntimeDirPath();
    if (!inotify_) {  // the first time, or there was no descriptor for it
        inotify_ = UniqueFd::Make([] { return inotify_init1(IN_CLOEXEC | IN_NONBLOCK); });
    }
    if (!inotify_ || directory.empty()) {
        return false;
    }
    for (int i = 0; i < kMostTries; ++i) {
        std::string missing;
        const int watched = WatchNearest(directory, &missing);
        if (watched_ >= 0 && watched_ != watched) {
            inotify_rm_watch(inotify_.Get(), watched_);
        }
        watched_ = watched;
        if (watched < 0 || missing.empty() || access(missing.c_str(), F_OK) != 0) {
            return watched >= 0;
        }
    }
    return false;
}

int NextLifeWatch::WatchNearest(const std::string& directory, std::string* missing)
{
    int watched = inotify_add_watch(inotify_.Get(), directory.c_str(), kRecords);
    std::string place = directory;
    while (watched < 0 && errno == ENOENT && place != "/" && place != ".") {
        *missing = place;
        place = ParentOf(place);
        watched = inotify_add_watch(inotify_.Get(), place.c_str(), kDirectories);
    }
    return watched;
}

void NextLifeWatch::Wait(int wake, int timeoutMs)
{
    pollfd entries[] = {{wake, POLLIN, 0}, {inotify_.Get(), POLLIN, 0}};
    poll(entries, 2, timeoutMs);
    Drain();
}

void NextLifeWatch::Drain()
{
    char events[4096];
    while (read(inotify_.Get(), events, sizeof events) > 0) {}
}

}  // namespace hosted
