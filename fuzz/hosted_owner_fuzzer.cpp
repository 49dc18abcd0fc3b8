// An owner on the hosted platform whose client sends any messages over its connection.
//
// The input is a script of messages, sent one after the other. Sound requests are answered as the
// hooks do, a message that is none of ours ends the connection without a word, and one of another
// version or with unknown flags is refused with EPROTO.
#include <sys/time.h>

#include <cerrno>
#include <cstdint>

#include "fuzz/message_frames.h"
#include "platform/hosted/endpoint_record.h"
#include "platform/hosted/socket_address.h"
#include "platform/iam_file.h"

namespace {

using fuzz::ParsedFrame;
using fuzz::Require;
using fuzz::Script;
using hosted::MessageHeader;
using hosted::UniqueFd;

constexpr char kName[] = "dp:/res/fuzz";
constexpr int kFailure = -7;

// The hooks: a command divisible by three fails, any other counts each byte up by one.
int OnIoctl(IAMMgrFile* /*file*/, unsigned int command, IAMIoctlArg* arg)
{
    auto* const bytes = static_cast<unsigned char*>(arg->buf);
    for (uint64_t i = 0; i < arg->size; ++i) {
        ++bytes[i];
    }
    return command % 3 == 0 ? kFailure : static_cast<int>(arg->size);
}

long OnRead(IAMMgrFile* /*file*/, char* buf, unsigned long size, long* /*out*/)
{
    std::memset(buf, 'r', size / 2);
    return static_cast<long>(size / 2);
}

int OnOpenOrClose(IAMMgrFile* /*file*/)
{
    return 0;
}

UniqueFd ConnectToOwner()
{
    static const uint64_t instance = [] {
        fuzz::HostedWorld::Prepare();
        static constexpr IAMFileOps ops = {OnRead,        nullptr,       OnIoctl,
                                           OnOpenOrClose, OnOpenOrClose, nullptr};
        const IAMServiceDesc desc = {kName, &ops, 5000};
        Require(IAMRegisterService(&desc) == 0);
        return hosted::ReadEndpoint(hosted::OpenRuntimeDir().value, kName).value.instance;
    }();
    auto socket =
        hosted::ConnectTo(hosted::OpenRuntimeDir().value, instance, hosted::Deadline(60000));
    Require(static_cast<bool>(socket));
    const timeval patience = {60, 0};
    setsockopt(socket.value.Get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    return std::move(socket.value);
}

// Empty at the end of the connection, which must come within the socket's patience.
std::string Receive(const UniqueFd& socket)
{
    std::string frame(hosted::kMaxMessage + 1, '\0');
    const ssize_t size =
        fuzz::Uninterrupted([&] { return recv(socket.Get(), frame.data(), frame.size(), 0); });
    Require(size >= 0 || errno == ECONNRESET || errno == EPIPE);
    frame.resize(size < 0 ? 0 : static_cast<size_t>(size));
    return frame;
}

bool IsRequest(const ParsedFrame& frame)
{
    const MessageHeader& header = frame.header;
    const bool isRead = (header.flags & 4U) != 0;
    return header.version == 1 && (header.flags & ~6U) == 0 && header.sequence != 0 &&
           uint64_t{header.size} + header.zeros <= 65536 &&
           (!isRead || (frame.payload.empty() && header.command <= 65536));
}

void RequireAnswer(const ParsedFrame& request, const std::string& frame)
{
    const ParsedFrame answer = fuzz::Parse(frame);
    const bool isRead = (request.header.flags & 4U) != 0;
    const uint32_t command = request.header.command;
    const bool hasFailed = !isRead && command % 3 == 0;
    std::string payload = isRead ? std::string(command / 2, 'r') : request.payload;
    for (char& byte : payload) {
        byte = static_cast<char>(isRead ? byte : byte + 1);
    }
    const int size = static_cast<int>(payload.size());
    Require(answer.isWhole && answer.payload == payload);
    Require(answer.header.version == 1 && answer.header.flags == (isRead ? 5 : 1));
    Require(answer.header.sequence == request.header.sequence && answer.header.command == command);
    Require(answer.header.result == (hasFailed ? kFailure : size));
    Require(answer.header.error == (hasFailed ? EREMOTEIO : 0));
}

void RequireRefusal(const std::string& frame)
{
    const ParsedFrame refusal = fuzz::Parse(frame);
    Require(refusal.isWhole && refusal.payload.empty() && refusal.header.flags == 9);
    Require(refusal.header.result == -1 && refusal.header.error == EPROTO);
}

// False when that was the connection's last message.
bool Send(const UniqueFd& socket, const std::string& frame)
{
    if (!fuzz::SendFrame(socket, frame)) {
        std::abort();  // the owner has ended what it had no reason to
    }
    const ParsedFrame request = fuzz::Parse(frame);
    if (!request.isWhole) {
        Require(Receive(socket).empty());
        return false;
    }
    if (!IsRequest(request)) {
        RequireRefusal(Receive(socket));
        Require(Receive(socket).empty());
        return false;
    }
    RequireAnswer(request, Receive(socket));
    return true;
}

std::string TakeRequest(Script& script, uint64_t sequence)
{
    const auto flags = script.Take<uint8_t>();
    MessageHeader header = {};
    header.magic = hosted::kMessageMagic;
    header.version = hosted::kProtocolVersion;
    header.flags = static_cast<uint16_t>(flags % 8 < 5 ? flags % 4 * 2 : flags);
    header.sequence = sequence;
    header.command = flags > 0xf0 ? script.Take<uint32_t>() : script.Take<uint16_t>();
    return fuzz::TakeFrame(script, header);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    Script script(data, size);
    const UniqueFd socket = ConnectToOwner();
    bool isUp = true;
    for (uint64_t sequence = 1; isUp && !script.IsOver(); ++sequence) {
        isUp = Send(socket, TakeRequest(script, sequence));
    }
    if (isUp) {  // the owner follows suit; so no connection outlives its input
        shutdown(socket.Get(), SHUT_WR);
        Require(Receive(socket).empty());
    }
    return 0;
}
