#include "platform/hosted/log/stderr_sink.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>

namespace hosted::log {
namespace {

// A reader that leaves a non-blocking standard error full costs a line this much, and not more.
constexpr int kFullPipeMs = 100;

bool WaitForRoom()
{
    pollfd stream{STDERR_FILENO, POLLOUT, 0};
    return poll(&stream, 1, kFullPipeMs) == 1;
}

}  // namespace

int WriteToStderr(std::string_view text)
{
    while (!text.empty()) {
        const ssize_t written = ::write(STDERR_FILENO, text.data(), text.size());
        if (written >= 0) {
            text.remove_prefix(static_cast<size_t>(written));
        } else if (errno != EINTR && (errno != EAGAIN || !WaitForRoom())) {
            return errno;
        }
    }
    return 0;
}

int StderrSink::Write(const Line& line)
{
    return WriteToStderr(line.Whole());
}

}  // namespace hosted::log
