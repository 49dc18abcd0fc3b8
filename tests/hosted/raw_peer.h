// Both ends of the socket without the layer behind them: clients that break the rules, and owners
// that answer by hand.
#ifndef OWNERLINK_TESTS_HOSTED_RAW_PEER_H
#define OWNERLINK_TESTS_HOSTED_RAW_PEER_H

#include <cstdint>
#include <optional>
#include <string>

#include "platform/hosted/endpoint_record.h"
#include "platform/hosted/message.h"
#include "platform/hosted/unique_fd.h"
#include "tests/hosted/world.h"

hosted::MessageHeader RequestHeader(uint32_t command, uint32_t size, uint64_t sequence = 1);
std::string MessageOf(const hosted::MessageHeader& header, const std::string& payload);

// A connection to the owner of a name, made by hand.
class RawClient {
public:
    explicit RawClient(const std::string& name = kName);

    bool IsConnected() const { return static_cast<bool>(fd_); }
    int Fd() const { return fd_.Get(); }
    bool Send(const std::string& message) const;
    std::string Receive() const;  // empty at the end of the connection
    bool IsEnded() const;         // without waiting
    void Close() { fd_.Reset(); }

private:
    hosted::UniqueFd fd_;
};

// A published name behind which nothing runs.
class RawOwner {
public:
    explicit RawOwner(const std::string& name = kName, uint32_t timeoutMs = 5000);

    hosted::UniqueFd Accept() const;
    void StopListening() { listener_.Reset(); }
    const hosted::RuntimeDir& Directory() const { return directory_; }
    uint64_t Instance() const { return instance_; }

private:
    hosted::RuntimeDir directory_;
    hosted::UniqueFd listener_;
    uint64_t instance_;
};

// A whole message from `fd`, its payload in `payload`.
hosted::MessageHeader ReceiveRequest(const hosted::UniqueFd& fd, std::string* payload);
void SendRaw(const hosted::UniqueFd& fd, const std::string& message);

// The header of a right answer to `request`.
hosted::MessageHeader AnswerTo(hosted::MessageHeader request, int32_t result);

#endif
