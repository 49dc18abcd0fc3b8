// A client's connection to one life of an owner, and the exchange over it.
#ifndef OWNERLINK_PLATFORM_HOSTED_CLIENT_CONNECTION_H
#define OWNERLINK_PLATFORM_HOSTED_CLIENT_CONNECTION_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "platform/hosted/deadline.h"
#include "platform/hosted/message.h"
#include "platform/hosted/outcome.h"
#include "platform/hosted/runtime_dir.h"
#include "platform/hosted/unique_fd.h"

namespace hosted {

// One life of the owner of a name: what its endpoint said when it was opened.
struct Life {
    std::string name;
    uint64_t instance = 0;
    uint32_t timeoutMs = 0;  // the service's own
};

// What a call sends and where its answer goes.
struct Request {
    uint16_t flags = 0;
    uint32_t command = 0;
    std::span<const std::byte> input;
    std::span<std::byte> output;  // written only when the whole answer has been checked
};

enum class ExchangeEnd {
    kAnswered,  // `result` and `error` are the owner's
    kRefused,   // the owner ended the connection with `error`
    kNotTaken,  // the owner never read the request: it may be sent once more
    kInDoubt,   // the owner may have read it and is gone
    kTimedOut,
    kGarbled,  // what came was no answer of ours
    kNotSent,  // the system refused to send it: `error` says why
};

struct ExchangeResult {
    ExchangeEnd end = ExchangeEnd::kAnswered;
    int32_t result = -1;
    int32_t error = 0;
};

// Belongs to one thread at a time. After any end but kAnswered it must not be used again.
class ClientConnection {
public:
    ClientConnection(UniqueFd fd, std::shared_ptr<const Life> life);

    const std::shared_ptr<const Life>& GetLife() const { return life_; }

    // Whether the owner's end still stands and nothing unread lies here. 0.15 us; the kernel's
    // word.
    bool IsAliveAndSilent() const;

    // The next request is the first of a new file.
    void BeginFile() { fileBegun_ = false; }

    // `whole` says that all of the deadline's time is left, which saves the look at the clock.
    ExchangeResult Exchange(const Request& request, const Deadline& deadline, bool whole);

private:
    size_t Compose(const Request& request);
    ExchangeResult Send(size_t size, const Deadline& deadline);
    ExchangeResult AfterRefusedSend();
    ssize_t Receive(const Deadline& deadline, bool whole);
    ssize_t ReceiveNow();
    ssize_t ReceiveByTimeout(const Deadline& deadline);
    ssize_t ReceiveByPolling(const Deadline& deadline);
    bool WaitFor(short events, const Deadline& deadline) const;
    ExchangeResult EndOfReceive(int error) const;
    ExchangeResult Accept(size_t size, const Request& request, size_t sent) const;

    UniqueFd fd_;
    std::shared_ptr<const Life> life_;
    std::vector<std::byte> buffer_;
    uint64_t sequence_ = 0;
    int64_t receiveTimeoutMs_ = 0;  // what SO_RCVTIMEO stands at
    bool fileBegun_ = false;
};

// Connects to `life`. Errors as `ConnectTo` has them.
Outcome<std::unique_ptr<ClientConnection>> Connect(const RuntimeDir& directory,
                                                   std::shared_ptr<const Life> life,
                                                   const Deadline& deadline);

}  // namespace hosted

#endif
