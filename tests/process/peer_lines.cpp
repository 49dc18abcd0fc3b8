#include "tests/process/peer_lines.h"

#include <sys/prctl.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <mutex>

void FollowTheTest()
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
}

void Say(const std::string& line)
{
    static std::mutex* const mutex = new std::mutex;  // callbacks may outlive static objects
    const std::string text = line + '\n';
    const std::lock_guard<std::mutex> lock(*mutex);
    for (size_t written = 0; written < text.size();) {
        const ssize_t count = write(STDOUT_FILENO, text.data() + written, text.size() - written);
        if (count < 0) {
            _exit(3);
        }
        written += static_cast<size_t>(count);
    }
}
