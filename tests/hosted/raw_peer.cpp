#include "tests/hosted/raw_peer.h"

#include <poll.h>
#include <sys/socket.h>

#include <cstring>

#include "platform/hosted/socket_address.h"

using namespace hosted;

MessageHeader RequestHeader(uint32_t command, uint32_t size, uint64_t sequence)
{
    return {kMessageMagic, kProtocolVersion, kFlagOpen, sequence, command, size, 0, 0};
}

std::string MessageOf(const MessageHeader& header, const std::string& payload)
{
    std::string message(sizeof header, '\0');
    std::memcpy(message.data(), &header, sizeof header);
    return message + payload;
}

RawClient::RawClient(const std::string& name)
{
    const Outcome<RuntimeDir> directory = OpenRuntimeDir();
    const Outcome<Endpoint> endpoint = ReadEndpoint(directory.value, name);
    Outcome<UniqueFd> fd = ConnectTo(directory.value, endpoint.value.instance, Deadline(5000));
    fd_ = std::move(fd.value);
}

bool RawClient::Send(const std::string& message) const
{
    return send(fd_.Get(), message.data(), message.size(), MSG_NOSIGNAL) ==
           static_cast<ssize_t>(message.size());
}

std::string RawClient::Receive() const
{
    std::string message(kMaxMessage, '\0');
    const ssize_t size = recv(fd_.Get(), message.data(), message.size(), 0);
    message.resize(size < 0 ? 0 : static_cast<size_t>(size));
    return message;
}

bool RawClient::IsEnded() const
{
    char byte = 0;
    const ssize_t size = recv(fd_.Get(), &byte, 1, MSG_PEEK | MSG_DONTWAIT);
    return size == 0 || (size < 0 && errno == ECONNRESET);
}

RawOwner::RawOwner(const std::string& name, uint32_t timeoutMs) : instance_(0x1234)
{
    directory_ = std::move(PrepareRuntimeDir().value);
    const Outcome<Endpoint> former = ReadEndpoint(directory_, name);
    instance_ = former ? former.value.instance + 1 : 0x1234;
    listener_ = std::move(ListenAt(directory_, instance_).value);
    EXPECT_EQ(PublishEndpoint(directory_, name, {instance_, timeoutMs, EndpointKind::kFile}), 0);
}

UniqueFd RawOwner::Accept() const
{
    pollfd entry = {listener_.Get(), POLLIN, 0};
    poll(&entry, 1, 20000);
    return UniqueFd::Make([&] { return accept4(listener_.Get(), nullptr, nullptr, SOCK_CLOEXEC); });
}

MessageHeader ReceiveRequest(const UniqueFd& fd, std::string* payload)
{
    std::string message(kMaxMessage, '\0');
    const ssize_t size = recv(fd.Get(), message.data(), message.size(), 0);
    MessageHeader header = {};
    if (size >= static_cast<ssize_t>(sizeof header)) {
        std::memcpy(&header, message.data(), sizeof header);
        *payload = message.substr(sizeof header, static_cast<size_t>(size) - sizeof header);
    }
    return header;
}

void SendRaw(const UniqueFd& fd, const std::string& message)
{
    EXPECT_EQ(send(fd.Get(), message.data(), message.size(), MSG_NOSIGNAL),
              static_cast<ssize_t>(message.size()));
}

MessageHeader AnswerTo(MessageHeader request, int32_t result)
{
    request.flags = static_cast<uint16_t>((request.flags & kFlagRead) | kFlagAnswer);
    request.result = result;
    return request;
}
