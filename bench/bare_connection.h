// The floors: one message of a record's size each way over a Unix SOCK_SEQPACKET connection, with
// nothing around it.
#ifndef OWNERLINK_BENCH_BARE_CONNECTION_H
#define OWNERLINK_BENCH_BARE_CONNECTION_H

#include <array>
#include <string>

namespace bench {

inline constexpr size_t kBareMessage = 3912;

class BareConnection {
public:
    explicit BareConnection(const std::string& path);
    ~BareConnection();
    BareConnection(const BareConnection&) = delete;
    BareConnection& operator=(const BareConnection&) = delete;

    // Throws when the other end is gone.
    void Exchange();

private:
    int fd_;
    std::array<char, kBareMessage> buffer_ = {};
};

// The other end, in a process of its own: one connection after the other, blocking in `recv`.
// Prints "ready" once `path` takes connections, and never returns but by an exception.
void ServeBareConnections(const std::string& path);

// The same with a thread for each connection.
void ServeBareThreads(const std::string& path);

}  // namespace bench

#endif
