#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "platform/iam_file.h"
#include "platform/iam_queue.h"
#include "tests/queue/peer_commands.h"

namespace {

struct Reader : Shared {
    int fd = -1;
    std::vector<std::string> events;
    bool block = false;
    bool isBlocked = false;
    bool closeInside = false;
    bool throwInside = false;
    bool exitInside = false;
};

Reader& The()
{
    static Reader* const reader = new Reader;  // callbacks may outlive main
    return *reader;
}

void Block(Reader& reader, PeerLock& lock)
{
    reader.isBlocked = true;
    reader.changed.notify_all();
    reader.changed.wait(lock, [&] { return !reader.block; });
    reader.isBlocked = false;
}

int OnEvent(int fd, void* buf, unsigned long count)
{
    Reader& reader = The();
    PeerLock lock(reader.mutex);
    if (std::exchange(reader.closeInside, false)) {
        IAMFileClose(fd);
    }
    reader.events.emplace_back(static_cast<char*>(buf), count);
    std::memset(buf, 'x', count);  // the bytes are the callback's to change
    reader.changed.notify_all();
    if (reader.block) {
        Block(reader, lock);
    }
    if (std::exchange(reader.throwInside, false)) {
        throw 7;
    }
    if (reader.exitInside) {
        lock.unlock();
        std::exit(0);
    }
    return 0;
}

std::string AwaitEvents(const Words& words)
{
    Reader& reader = The();
    PeerLock lock(reader.mutex);
    const size_t wanted = std::stoul(words.at(0));
    reader.changed.wait(lock, [&] { return reader.events.size() >= wanted; });
    std::string all;
    for (const std::string& event : reader.events) {
        all += (all.empty() ? "" : ",") + event;
    }
    return all;
}

std::string AwaitBlocked(const Words&)
{
    Reader& reader = The();
    PeerLock lock(reader.mutex);
    reader.changed.wait(lock, [&] { return reader.isBlocked; });
    return "blocked";
}

template <typename Change>
std::string Set(Change change)
{
    Reader& reader = The();
    const PeerLock lock(reader.mutex);
    change(reader);
    reader.changed.notify_all();
    return "done";
}

std::string Close(const Words&)
{
    const int result = IAMFileClose(The().fd);
    return result == 0 ? "0" : FailedWith(errno);
}

}  // namespace

std::string Subscribe(const std::string& name)
{
    const int fd = IAMFileOpen(name.c_str(), O_RDONLY);
    if (fd < 0) {
        return FailedWith(errno);
    }
    Set([&](Reader& reader) { reader.fd = fd; });
    const size_t result = IAMFastReadAsync(fd, OnEvent);
    return result == 0 ? "ready" : FailedWith(-static_cast<int>(result));
}

Commands SubscriberCommands()
{
    using W = const Words&;
    return {
        {"await", AwaitEvents},
        {"blocked", AwaitBlocked},
        {"close", Close},
        {"subscribe",
         [](W words) {
             return Subscribe(words.at(0));
         }},
        {"block",
         [](W) {
             return Set([](Reader& r) { r.block = true; });
         }},
        {"unblock",
         [](W) {
             return Set([](Reader& r) { r.block = false; });
         }},
        {"close-inside",
         [](W) {
             return Set([](Reader& r) { r.closeInside = true; });
         }},
        {"throw-inside",
         [](W) {
             return Set([](Reader& r) { r.throwInside = true; });
         }},
        {"exit-inside",
         [](W) {
             return Set([](Reader& r) { r.exitInside = true; });
         }},
    };
}
