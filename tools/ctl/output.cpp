#include "tools/ctl/output.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string_view>

namespace ctl {
namespace {

// 0 or an errno number.
int WriteAll(int file, std::string_view text)
{
    while (!text.empty()) {
        const ssize_t count = write(file, text.data(), text.size());
        if (count >= 0) {
            text.remove_prefix(static_cast<size_t>(count));
        } else if (errno == EAGAIN) {
            pollfd entry = {file, POLLOUT, 0};
            poll(&entry, 1, -1);
        } else if (errno != EINTR) {
            return errno;
        }
    }
    return 0;
}

bool IsSet(const char* variable)
{
    const char* const value = std::getenv(variable);
    return value != nullptr && *value != '\0';
}

bool WantsColour()
{
    const char* const terminal = std::getenv("TERM");
    const bool isDumb = terminal != nullptr && std::strcmp(terminal, "dumb") == 0;
    return isatty(STDOUT_FILENO) == 1 && !IsSet("NO_COLOR") && !isDumb;
}

}  // namespace

Output::Output() : isColoured_(WantsColour()), hasTerminal_(isatty(STDERR_FILENO) == 1)
{
}

void Output::Print(const std::string& text)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    EraseProgress();
    const int error = hasReader_ && !hasFailed_ ? WriteAll(STDOUT_FILENO, text) : 0;
    if (error == EPIPE) {
        hasReader_ = false;
    } else if (error != 0) {
        hasFailed_ = true;
        WriteAll(STDERR_FILENO, "ownerlinkctl: standard output cannot be written: " +
                                    std::string(std::strerror(error)) + '\n');
    }
}

void Output::Complain(const std::string& text)
{
    Note("ownerlinkctl: " + text);
}

void Output::Note(const std::string& line)
{
    PrintError(Printable(line) + '\n');
}

void Output::PrintError(const std::string& text)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    EraseProgress();
    WriteAll(STDERR_FILENO, text);
}

void Output::ShowProgress(const std::string& text)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    EraseProgress();
    isProgressShown_ = !text.empty();
    WriteAll(STDERR_FILENO, Printable(text));
}

void Output::EraseProgress()
{
    if (isProgressShown_) {
        WriteAll(STDERR_FILENO, "\r\x1b[K");
        isProgressShown_ = false;
    }
}

std::string Printable(const std::string& text)
{
    constexpr char kDigits[] = "0123456789abcdef";
    std::string printable;
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte < 0x20 || byte == 0x7f) {
            printable += {'\\', 'x', kDigits[byte >> 4], kDigits[byte & 0xf]};
        } else {
            printable += character;
        }
    }
    return printable;
}

}  // namespace ctl
