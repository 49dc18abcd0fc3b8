#include "tools/ctl/line_reader.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace ctl {

bool LineReader::TakeLine(std::string& line)
{
    const size_t end = rest_.find('\n');
    if (end == std::string::npos && (!isAtEnd_ || rest_.empty())) {
        return false;
    }
    line = rest_.substr(0, end);
    rest_.erase(0, end == std::string::npos ? end : end + 1);
    return true;
}

LineReader::Result LineReader::Read(std::string& line, const Stop& stop)
{
    while (!TakeLine(line)) {
        if (isAtEnd_) {
            return Result::kEnd;
        }
        pollfd entries[] = {{STDIN_FILENO, POLLIN, 0}, {stop.File(), POLLIN, 0}};
        poll(entries, 2, -1);
        if (entries[1].revents != 0) {
            rest_.clear();
            return Result::kStopped;
        }
        if (entries[0].revents == 0) {
            continue;
        }
        char buffer[4096];
        const ssize_t count = read(STDIN_FILENO, buffer, sizeof buffer);
        if (count > 0) {
            rest_.append(buffer, static_cast<size_t>(count));
        }
        isAtEnd_ = count == 0 || (count < 0 && errno != EINTR && errno != EAGAIN);
    }
    return Result::kLine;
}

}  // namespace ctl
