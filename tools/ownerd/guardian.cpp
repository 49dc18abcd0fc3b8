#include "tools/ownerd/guardian.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <string>
#include <system_error>
#include <thread>

#include "tools/ownerd/process_table.h"

namespace ownerd {
namespace {

constexpr std::chrono::seconds kPatience{10};
constexpr std::chrono::milliseconds kBetweenLooks{10};
constexpr size_t kLongestOrder = 16384;

// One record of the channel; empty when the owner has gone.
std::string Receive(int channel)
{
    std::array<char, kLongestOrder> buffer{};
    ssize_t count = 0;
    do {
        count = recv(channel, buffer.data(), buffer.size(), 0);
    } while (count < 0 && errno == EINTR);
    return {buffer.data(), static_cast<size_t>(count < 0 ? 0 : count)};
}

UniqueFd OpenLock(const std::string& path)
{
    return UniqueFd(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
}

void KillAllOf(const std::string& marker)
{
    const auto end = std::chrono::steady_clock::now() + kPatience;
    for (bool isAny = true; isAny && std::chrono::steady_clock::now() < end;) {
        isAny = false;
        for (const auto& [name, pids] : FindProcesses(marker, {})) {
            for (const pid_t pid : pids) {
                kill(pid, SIGKILL);
                isAny = true;
            }
        }
        if (isAny) {
            std::this_thread::sleep_for(kBetweenLooks);
        }
    }
}

// Signals that end an owner reach its whole group from a terminal; the guardian outlives them.
[[noreturn]] void Run(int channel)
{
    prctl(PR_SET_NAME, "ownerd-guardian");
    setsid();
    const std::string order = Receive(channel);
    const size_t split = order.find('\n');
    if (split == std::string::npos) {
        _exit(0);
    }
    const std::string marker = order.substr(0, split);
    const UniqueFd lock = OpenLock(order.substr(split + 1));
    flock(lock.Get(), LOCK_EX | LOCK_NB);
    send(channel, "ok", 2, MSG_NOSIGNAL);
    if (Receive(channel).empty()) {
        KillAllOf(marker);
    }
    _exit(0);
}

}  // namespace

void Guardian::Start()
{
    int ends[2] = {-1, -1};
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) {
        throw std::system_error(errno, std::generic_category(), "socketpair");
    }
    UniqueFd guardians(ends[1]);
    channel_.Reset(ends[0]);
    const pid_t pid = fork();
    if (pid < 0) {
        throw std::system_error(errno, std::generic_category(), "fork");
    }
    if (pid == 0) {
        channel_.Reset();
        Run(guardians.Get());
    }
}

void Guardian::Guard(const std::string& marker, const std::string& lockFile)
{
    const std::string order = marker + '\n' + lockFile;
    if (channel_ && send(channel_.Get(), order.data(), order.size(), MSG_NOSIGNAL) > 0) {
        Receive(channel_.Get());
    }
}

void Guardian::Dismiss()
{
    if (channel_) {
        send(channel_.Get(), "end", 3, MSG_NOSIGNAL);
    }
}

std::string AwaitFormerGuardian(const std::string& lockFile)
{
    const UniqueFd lock = OpenLock(lockFile);
    if (!lock) {
        return "cannot open " + lockFile + ": " + std::strerror(errno);
    }
    const auto end = std::chrono::steady_clock::now() + 2 * kPatience;
    while (flock(lock.Get(), LOCK_EX | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK && errno != EINTR) {
            return "cannot lock " + lockFile + ": " + std::strerror(errno);
        }
        if (std::chrono::steady_clock::now() > end) {
            return "the guardian of a former life still holds " + lockFile;
        }
        std::this_thread::sleep_for(kBetweenLooks);
    }
    return {};
}

}  // namespace ownerd
