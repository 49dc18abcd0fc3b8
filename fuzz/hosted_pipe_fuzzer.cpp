// One end of a pipe whose peer sends any messages.
//
// The input is a script: the peer's messages, and the calls of this end, each of which waits for
// nothing. What they give is held against a queue of the messages that were sent.
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <deque>
#include <string>

#include "fuzz/hosted_world.h"
#include "platform/hosted/pipe.h"

namespace {

using fuzz::Require;
using fuzz::Script;
using hosted::PipeHeader;
using hosted::PipeMessageKind;
using hosted::PipeRecord;

constexpr size_t kMostWaiting = 64;
constexpr uint64_t kAnySequence = 0;

std::string TextOf(const PipeRecord& record)
{
    return std::string(reinterpret_cast<const char*>(record.data.data()), record.data.size());
}

PipeRecord RecordOf(uint32_t type, const std::string& text)
{
    const auto* const bytes = reinterpret_cast<const std::byte*>(text.data());
    return {type, {bytes, bytes + text.size()}};
}

struct Message {
    bool isOurs = false;
    PipeHeader header;
    std::string data;
};

// From the layout of the header. Whether a response answers anything is for the reader to say.
Message Parse(const std::string& frame)
{
    Message message;
    if (frame.size() < 24 || frame.size() > 24 + 65536) {
        return message;
    }
    std::memcpy(&message.header, frame.data(), 24);
    message.data = frame.substr(24);
    const auto kind = static_cast<uint16_t>(message.header.kind);
    const bool asksForNothing = kind == 1;
    message.isOurs = frame.compare(0, 4, "OLNP") == 0 && message.header.version == 1 &&
                     message.header.size == message.data.size() && kind >= 1 && kind <= 3 &&
                     asksForNothing == (message.header.sequence == 0);
    return message;
}

// What this end is to make of the frames, one after the other.
class Model {
public:
    void Send(const std::string& frame) { frames_.push_back(frame); }
    uint64_t NextCall() { return ++lastCall_; }
    bool HasEnded() const { return error_ != 0; }
    int Error() const { return error_; }

    int Receive(Message& request)
    {
        while (requests_.empty()) {
            const int error = Read(kAnySequence, nullptr);
            if (error != 0) {
                return error;
            }
        }
        request = requests_.front();
        requests_.pop_front();
        return 0;
    }

    int AwaitResponse(uint64_t sequence, Message& response)
    {
        bool isAnswered = false;
        while (!isAnswered) {
            const int error = Read(sequence, &response);
            if (error != 0) {
                return error;
            }
            isAnswered = response.isOurs;
        }
        return 0;
    }

private:
    int End(int error)
    {
        error_ = error;
        return error;
    }

    int Read(uint64_t awaited, Message* response)
    {
        if (HasEnded()) {
            return error_;
        }
        if (requests_.size() >= kMostWaiting || frames_.empty()) {
            return ETIMEDOUT;
        }
        const std::string frame = frames_.front();
        frames_.pop_front();
        const Message message = Parse(frame);
        if (frame.empty()) {
            return End(EPIPE);
        }
        const bool isResponse = message.header.kind == PipeMessageKind::kResponse;
        if (!message.isOurs || (isResponse && message.header.sequence > lastCall_)) {
            return End(EPROTO);
        }
        if (!isResponse) {
            requests_.push_back(message);
        } else if (response != nullptr && message.header.sequence == awaited) {
            *response = message;
        }
        return 0;
    }

    std::deque<std::string> frames_;
    std::deque<Message> requests_;
    uint64_t lastCall_ = 0;
    int error_ = 0;
};

class World {
public:
    explicit World(Script script) : script_(script), pipe_(std::move(pair_.ours)) {}

    void Run()
    {
        while (!script_.IsOver()) {
            Step();
            DrainPeer();
        }
    }

private:
    void Step()
    {
        switch (script_.Take<uint8_t>() % 6) {
            case 0:
            case 1:
                return SendFrame();
            case 2:
                return SendResponseAhead();
            case 3:
                return Receive();
            case 4:
                return Call();
            default:
                return Respond();
        }
    }

    // Few enough for the socket to hold them, so that none is refused for want of room.
    void Send(const std::string& frame)
    {
        if (!model_.HasEnded() && sent_ < 64 && fuzz::SendFrame(pair_.theirs, frame)) {
            ++sent_;
            model_.Send(frame);
        }
    }

    void SendFrame()
    {
        const auto kind = script_.Take<uint8_t>();
        const std::string data = script_.TakeBytes(script_.Take<uint8_t>());
        if (kind % 8 == 7) {
            return Send(data);  // any bytes
        }
        PipeHeader header;
        header.kind = PipeMessageKind{static_cast<uint16_t>(1 + kind / 8 % 3)};
        header.sequence = header.kind == PipeMessageKind::kRequest ? 0 : script_.Take<uint8_t>();
        header.type = script_.Take<uint16_t>();
        header.size = static_cast<uint32_t>(data.size());
        std::string frame = fuzz::BytesOf(header) + data;
        if (kind % 8 == 6) {
            frame[script_.Take<uint8_t>() % sizeof header] = script_.Take<char>();
        }
        if (kind % 8 == 5) {
            frame.resize(script_.Take<uint8_t>());
        }
        Send(frame);
    }

    // To the call that comes next: until then it answers none, which is garbage.
    void SendResponseAhead()
    {
        PipeHeader header;
        header.kind = PipeMessageKind::kResponse;
        header.sequence = calls_ + 1;
        header.type = script_.Take<uint8_t>();
        const std::string data = script_.TakeBytes(script_.Take<uint8_t>());
        header.size = static_cast<uint32_t>(data.size());
        Send(fuzz::BytesOf(header) + data);
    }

    void Receive()
    {
        EzcomRequest request;
        Message expected;
        const int error = model_.Receive(expected);
        Require(pipe_.Receive(request, hosted::Deadline(0)) == error);
        if (error == 0) {
            Require(request.record.type == expected.header.type);
            Require(TextOf(request.record) == expected.data);
            Require(request.call.sequence == expected.header.sequence);
            last_ = request.call;
        }
    }

    void Call()
    {
        ++calls_;
        PipeRecord response = RecordOf(7, "as it was");
        Message expected;
        const uint64_t sequence = model_.NextCall();
        const int error =
            model_.HasEnded() ? model_.Error() : model_.AwaitResponse(sequence, expected);
        Require(pipe_.Call(RecordOf(1, "call"), response, hosted::Deadline(0)) == error);
        Require(response.type == (error == 0 ? expected.header.type : 7));
        Require(TextOf(response) == (error == 0 ? expected.data : "as it was"));
    }

    // To the last request that was received, whether it asks for one or not.
    void Respond()
    {
        EzcomResponse response;
        response.answers = last_;
        const int error = last_.sequence == 0 ? EINVAL : model_.Error();
        Require(pipe_.SendResponse(response) == error);
    }

    void DrainPeer()
    {
        char buffer[256];
        while (recv(pair_.theirs.Get(), buffer, sizeof buffer, MSG_DONTWAIT) > 0) {}
    }

    Script script_;
    fuzz::SocketPair pair_;
    hosted::Pipe pipe_;
    Model model_;
    hosted::PipeCallId last_;
    uint64_t calls_ = 0;
    int sent_ = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzz::HostedWorld::Prepare();
    World(Script(data, size)).Run();
    return 0;
}
