// A runtime directory of the process's own and no log, for fuzzers of the hosted platform. Made by
// `Prepare` before the layer's first call, and removed at the end of the process.
#ifndef OWNERLINK_FUZZ_HOSTED_WORLD_H
#define OWNERLINK_FUZZ_HOSTED_WORLD_H

#include <stdlib.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

#include "fuzz/script.h"
#include "platform/hosted/unique_fd.h"

namespace fuzz {

class HostedWorld {
public:
    static void Prepare() { static const HostedWorld world; }

private:
    HostedWorld()
    {
        char pattern[] = "/tmp/ownerlink-fuzz-XXXXXX";
        Require(mkdtemp(pattern) != nullptr);
        path_ = pattern;
        setenv("OWNERLINK_RUNTIME_DIR", pattern, 1);
        setenv("OWNERLINK_LOG", "off", 1);
    }
    ~HostedWorld()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }

    std::string path_;
};

struct SocketPair {
    hosted::UniqueFd ours;
    hosted::UniqueFd theirs;

    SocketPair()
    {
        std::array<int, 2> ends = {};
        Require(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) == 0);
        ours = hosted::UniqueFd::Make([&] { return ends[0]; });
        theirs = hosted::UniqueFd::Make([&] { return ends[1]; });
    }
};

// False where the other end has gone.
inline bool SendFrame(const hosted::UniqueFd& socket, const std::string& frame)
{
    return send(socket.Get(), frame.data(), frame.size(), MSG_NOSIGNAL | MSG_DONTWAIT) ==
           static_cast<ssize_t>(frame.size());
}

// A system call that libFuzzer's alarm, every few seconds, must not end.
template <typename Call>
auto Uninterrupted(Call call)
{
    auto result = call();
    while (result < 0 && errno == EINTR) {
        result = call();
    }
    return result;
}

// The record as its bytes, for the other end of a socket.
template <typename Header>
std::string BytesOf(const Header& header)
{
    return std::string(reinterpret_cast<const char*>(&header), sizeof header);
}

}  // namespace fuzz

#endif
