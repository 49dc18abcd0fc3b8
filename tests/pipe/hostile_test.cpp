// A peer that breaks the rules ends its own pipe, and no other.
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <thread>

#include "platform/hosted/pipe_message.h"
#include "tests/pipe/pipe_world.h"
#include "tests/support/send_descriptors.h"

using namespace hosted;

namespace {

std::string MessageOf(const PipeHeader& header, const std::string& data = "")
{
    std::string message(sizeof header, '\0');
    std::memcpy(message.data(), &header, sizeof header);
    return message + data;
}

PipeHeader HeaderOf(PipeMessageKind kind, uint64_t sequence, uint32_t size = 0)
{
    PipeHeader header;
    header.kind = kind;
    header.sequence = sequence;
    header.size = size;
    return header;
}

// A pipe whose other end is a bare socket.
class HostilePeer : public HostedTest {
protected:
    ~HostilePeer() override { close(socket_); }

    void SendRaw(const std::string& message) const
    {
        EXPECT_EQ(send(socket_, message.data(), message.size(), MSG_NOSIGNAL),
                  static_cast<ssize_t>(message.size()));
    }
    std::string ReceiveRaw() const
    {
        std::string message(kMaxPipeMessage, '\0');
        const ssize_t size = recv(socket_, message.data(), message.size(), 0);
        message.resize(size < 0 ? 0 : static_cast<size_t>(size));
        return message;
    }

    int socket_ = -1;
    const int pipe_ = EzcomMakePipe(&socket_);
};

struct Garbage {
    const char* name;
    std::string message;
};

class GarbageFromAPeer : public HostilePeer, public testing::WithParamInterface<Garbage> {};

template <typename Change>
std::string Changed(Change change)
{
    PipeHeader header = HeaderOf(PipeMessageKind::kRequest, 0);
    change(header);
    return MessageOf(header);
}

const Garbage kGarbage[] = {
    {"OneByte", "x"},
    {"HalfAHeader", MessageOf({}).substr(0, sizeof(PipeHeader) - 1)},
    {"AnotherMagic", Changed([](PipeHeader& header) { ++header.magic; })},
    {"AnotherVersion", Changed([](PipeHeader& header) { ++header.version; })},
    {"KindZero", Changed([](PipeHeader& header) { header.kind = PipeMessageKind{0}; })},
    {"UnknownKind", Changed([](PipeHeader& header) { header.kind = PipeMessageKind{4}; })},
    {"ARequestWithASequence", MessageOf(HeaderOf(PipeMessageKind::kRequest, 1))},
    {"ACallWithoutASequence", MessageOf(HeaderOf(PipeMessageKind::kCall, 0))},
    {"AResponseWithoutASequence", MessageOf(HeaderOf(PipeMessageKind::kResponse, 0))},
    {"AResponseToNoCall", MessageOf(HeaderOf(PipeMessageKind::kResponse, 1))},
    {"LessDataThanPromised", MessageOf(HeaderOf(PipeMessageKind::kRequest, 0, 5), "data")},
    {"MoreDataThanPromised", MessageOf(HeaderOf(PipeMessageKind::kRequest, 0, 3), "data")},
    {"ASizeThatWraps", MessageOf(HeaderOf(PipeMessageKind::kRequest, 0, 0xffffffff), "data")},
    {"MoreThanAMessageHolds",
     MessageOf(HeaderOf(PipeMessageKind::kRequest, 0, 65537), std::string(65537, 'x'))},
};

}  // namespace

TEST_P(GarbageFromAPeer, EndsThatPipeAlone)
{
    const PipePair other;
    SendRaw(MessageOf(HeaderOf(PipeMessageKind::kRequest, 0, 5), "sound"));
    SendRaw(GetParam().message);
    SendRaw(MessageOf(HeaderOf(PipeMessageKind::kRequest, 0, 4), "late"));

    EXPECT_EQ(ReceiveText(pipe_), "sound");
    EXPECT_EQ(EzcomReceiveRequest(pipe_, Request(), kNoLimit), -EPROTO);
    EXPECT_EQ(EzcomReceiveRequest(pipe_, Request(), kNoLimit), -EPROTO);
    EXPECT_EQ(EzcomSendRequest(pipe_, Request("x")), -EPROTO);
    EXPECT_EQ(EzcomRPCSync(pipe_, Request("x"), Response()), -EPROTO);

    EXPECT_EQ(ReceiveRaw(), "");  // the peer sees the end
    EXPECT_EQ(EzcomSendRequest(other.near, Request("unharmed")), 0);
    EXPECT_EQ(ReceiveText(other.far), "unharmed");
    EXPECT_EQ(EzcomClosePipe(pipe_), 0);
}

TEST_P(GarbageFromAPeer, EndsACallThatWaits)
{
    std::thread peer([&] {
        ReceiveRaw();
        // A response would be one to this very call.
        SendRaw(GetParam().name == std::string("AResponseToNoCall")
                    ? MessageOf(HeaderOf(PipeMessageKind::kResponse, 2))
                    : GetParam().message);
    });

    const Response response("before");
    EXPECT_EQ(EzcomRPCSync(pipe_, Request("ask"), response), -EPROTO);

    EXPECT_EQ(response.Text(), "before");
    peer.join();
}

INSTANTIATE_TEST_SUITE_P(OfManyKinds, GarbageFromAPeer, testing::ValuesIn(kGarbage),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_F(HostilePeer, SendsTheBytesThatTheOtherEndTakes)
{
    SendRaw(MessageOf(HeaderOf(PipeMessageKind::kCall, 9, 4), "ask?"));
    const Request request;
    ASSERT_EQ(EzcomReceiveRequest(pipe_, request, kNoLimit), 0);
    const Response response("yes", 0x01020304);
    EXPECT_EQ(EzcomAnswer(response, request), 0);
    EXPECT_EQ(EzcomSendResponse(pipe_, response), 0);

    const std::string expected(
        "OLNP\x01\x00\x03\x00\x09\x00\x00\x00\x00\x00\x00\x00\x04\x03\x02\x01\x03\x00\x00\x00yes",
        27);
    EXPECT_EQ(ReceiveRaw(), expected);
}

TEST_F(HostilePeer, MayRepeatTheSequenceOfItsCalls)
{
    SendRaw(MessageOf(HeaderOf(PipeMessageKind::kCall, 1, 3), "one"));
    SendRaw(MessageOf(HeaderOf(PipeMessageKind::kCall, 1, 3), "two"));

    EXPECT_EQ(Respond(pipe_, "first"), 0);
    EXPECT_EQ(Respond(pipe_, "second"), 0);

    EXPECT_EQ(ReceiveRaw().substr(sizeof(PipeHeader)), "first");
    EXPECT_EQ(ReceiveRaw().substr(sizeof(PipeHeader)), "second");
}

TEST_F(HostilePeer, CannotPassDescriptorsAlong)
{
    const size_t before = OpenDescriptors();
    const std::string bytes = MessageOf(HeaderOf(PipeMessageKind::kRequest, 0));
    ASSERT_GT(SendWithDescriptors(socket_, bytes, {&socket_, 1}), 0);

    EXPECT_EQ(ReceiveText(pipe_), "");

    EXPECT_EQ(OpenDescriptors(), before);
}

TEST_F(HostilePeer, SendingAnEmptyMessageHasEnded)
{
    EXPECT_EQ(send(socket_, "", 0, MSG_NOSIGNAL), 0);

    EXPECT_EQ(EzcomReceiveRequest(pipe_, Request(), kNoLimit), -EPIPE);
}

TEST_F(HostilePeer, FloodingAResponseToACallHoldsUpNobodyElse)
{
    const PipePair other;
    ASSERT_EQ(EzcomTimedRPCSync(pipe_, Request("ask"), Response(), 1), -ETIMEDOUT);
    const std::string response = MessageOf(HeaderOf(PipeMessageKind::kResponse, 1));
    while (send(socket_, response.data(), response.size(), MSG_DONTWAIT | MSG_NOSIGNAL) > 0) {}
    EXPECT_EQ(errno, EAGAIN);

    EXPECT_EQ(EzcomReceiveRequest(pipe_, Request(), 0), -ETIMEDOUT);  // all dropped
    EXPECT_EQ(EzcomSendRequest(other.near, Request("unharmed")), 0);
    EXPECT_EQ(ReceiveText(other.far), "unharmed");
}
