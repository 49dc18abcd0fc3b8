// A client on the hosted platform whose owner answers with any messages, or publishes itself by any
// record.
//
// The first byte of an input chooses: 'r' has the rest stand as the record of an owner in the
// runtime directory; else the rest is a script of exchanges with the answer to each.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <memory>
#include <string>

#include "fuzz/message_frames.h"
#include "platform/hosted/client_connection.h"
#include "platform/hosted/endpoint_name.h"
#include "platform/hosted/endpoint_record.h"

namespace {

using fuzz::ParsedFrame;
using fuzz::Require;
using fuzz::Script;
using hosted::ExchangeEnd;
using hosted::ExchangeResult;
using hosted::MessageHeader;

constexpr char kName[] = "dp:/res/fuzz";

// ---- The record ----

void WriteRecord(const hosted::RuntimeDir& directory, const std::string& bytes)
{
    const std::string file = hosted::RecordFileName(kName);
    const auto fd = hosted::UniqueFd::Make(
        [&] { return openat(directory.fd.Get(), file.c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC); });
    Require(write(fd.Get(), bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()));
}

// From the layout of the record: 32 bytes and the name.
int ExpectedError(const std::string& bytes)
{
    uint32_t version = 0;
    uint32_t nameSize = 0;
    if (bytes.size() < 32 || bytes.compare(0, 8, "OWNERLNK") != 0) {
        return EPROTO;
    }
    std::memcpy(&version, bytes.data() + 8, 4);
    std::memcpy(&nameSize, bytes.data() + 28, 4);
    if (version != 1 || nameSize > 4096 || bytes.size() - 32 != nameSize) {
        return EPROTO;
    }
    return bytes.substr(32) == kName ? 0 : EEXIST;
}

void ReadRecord(const std::string& bytes)
{
    static const hosted::RuntimeDir& directory = *new hosted::RuntimeDir([] {
        fuzz::HostedWorld::Prepare();
        auto prepared = hosted::PrepareRuntimeDir();
        Require(prepared && hosted::PublishEndpoint(prepared.value, kName, {}) == 0);
        return std::move(prepared.value);
    }());
    WriteRecord(directory, bytes);
    const hosted::Outcome<hosted::Endpoint> endpoint = hosted::ReadEndpoint(directory, kName);
    Require(endpoint.error == ExpectedError(bytes));
    if (endpoint) {
        Require(std::memcmp(&endpoint.value.kind, bytes.data() + 12, 4) == 0);
        Require(std::memcmp(&endpoint.value.instance, bytes.data() + 16, 8) == 0);
        Require(std::memcmp(&endpoint.value.timeoutMs, bytes.data() + 24, 4) == 0);
    }
}

// ---- The answers ----

struct Call {
    bool isRead = false;
    uint32_t command = 0;
    std::string input;
    std::string output;
    uint64_t sequence = 0;
};

bool HasRightSize(const Call& call, const ParsedFrame& answer)
{
    const uint64_t size = uint64_t{answer.header.size} + answer.header.zeros;
    if (call.isRead) {
        const int32_t read = answer.header.result;
        return size == static_cast<uint64_t>(read < 0 ? 0 : read) && size <= call.output.size();
    }
    return size == call.output.size() || (size == 0 && answer.header.error != 0);
}

ExchangeResult Expected(const Call& call, const std::string& frame)
{
    const ParsedFrame answer = fuzz::Parse(frame);
    const MessageHeader& header = answer.header;
    if (frame.empty()) {
        return {ExchangeEnd::kInDoubt, -1, 0};
    }
    if (answer.isWhole && header.flags == 9 && header.error > 0) {
        return {ExchangeEnd::kRefused, -1, header.error};
    }
    const bool isAnswer = answer.isWhole && header.version == 1 &&
                          header.flags == (call.isRead ? 5 : 1) &&
                          header.sequence == call.sequence && header.command == call.command;
    const bool hasVerdict = header.error >= 0 && (header.result >= 0 || header.error != 0);
    if (!isAnswer || !hasVerdict || !HasRightSize(call, answer)) {
        return {ExchangeEnd::kGarbled, -1, 0};
    }
    return {ExchangeEnd::kAnswered, header.result, header.error};
}

// What the owner gets to see.
void RequireRequest(const hosted::UniqueFd& socket, const Call& call)
{
    std::string frame(hosted::kMaxMessage, '\0');
    const ssize_t size = recv(socket.Get(), frame.data(), frame.size(), MSG_DONTWAIT);
    frame.resize(size < 0 ? 0 : static_cast<size_t>(size));
    const ParsedFrame request = fuzz::Parse(frame);
    Require(request.isWhole && request.payload == call.input);
    Require(request.header.flags == (call.isRead ? 4 : 0) + (call.sequence == 1 ? 2 : 0));
    Require(request.header.sequence == call.sequence && request.header.command == call.command);
}

class World {
public:
    explicit World(Script script)
        : script_(script), connection_(std::move(pair_.ours), std::make_shared<hosted::Life>())
    {
    }

    void Run()
    {
        while (!script_.IsOver() && Exchange()) {}
    }

private:
    Call TakeCall()
    {
        const auto bits = script_.Take<uint8_t>();
        Call call;
        call.isRead = (bits & 1U) != 0;
        call.command = script_.Take<uint16_t>();
        call.input = call.isRead ? "" : script_.TakeBytes(script_.Take<uint8_t>());
        call.output.assign(call.isRead ? call.command : call.input.size(), 'o');
        call.sequence = ++sequence_;
        return call;
    }

    std::string TakeAnswer(const Call& call)
    {
        MessageHeader header = {};
        header.magic = hosted::kMessageMagic;
        header.version = hosted::kProtocolVersion;
        header.flags = call.isRead ? 5 : 1;
        header.sequence = call.sequence;
        header.command = call.command;
        const auto bits = script_.Take<uint8_t>();
        header.result = (bits & 1U) != 0 ? script_.Take<int8_t>() : 0;
        header.error = (bits & 2U) != 0 ? script_.Take<int8_t>() : 0;
        header.flags = static_cast<uint16_t>(header.flags | (bits >= 0xf0 ? 8 : 0));
        return fuzz::TakeFrame(script_, header);
    }

    // False after the connection's last.
    bool Exchange()
    {
        Call call = TakeCall();
        const std::string before = call.output;
        const std::string frame = TakeAnswer(call);
        Require(fuzz::SendFrame(pair_.theirs, frame));
        const ExchangeResult expected = Expected(call, frame);
        const hosted::Request request = {static_cast<uint16_t>(call.isRead ? hosted::kFlagRead : 0),
                                         call.command, std::as_bytes(std::span(call.input)),
                                         std::as_writable_bytes(std::span(call.output))};
        const ExchangeResult got = connection_.Exchange(request, hosted::Deadline(0), false);
        Require(got.end == expected.end && got.result == expected.result &&
                got.error == expected.error);
        RequireRequest(pair_.theirs, call);
        const bool isAnswered = got.end == ExchangeEnd::kAnswered;
        const std::string payload = isAnswered ? fuzz::Parse(frame).payload : "";
        Require(call.output == payload + before.substr(payload.size()));
        return isAnswered;
    }

    Script script_;
    fuzz::SocketPair pair_;
    hosted::ClientConnection connection_;
    uint64_t sequence_ = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size > 0 && data[0] == 'r') {
        ReadRecord(std::string(reinterpret_cast<const char*>(data) + 1, size - 1));
    } else if (size > 0) {
        World(Script(data + 1, size - 1)).Run();
    }
    return 0;
}
