// Owners that answer wrongly: the client's buffer stays as it was, and the next exchange is clean.
#include <sys/socket.h>
#include <unistd.h>

#include <future>

#include "tests/hosted/raw_peer.h"
#include "tests/hosted/world.h"

using namespace hosted;

namespace {

class HostileOwner : public HostedTest {
protected:
    struct Outcome {
        CallResult result;
        std::string buffer;
    };
    // Lets the client call while `serve` answers its request by hand.
    Outcome CallWhile(const std::function<void(const UniqueFd&, const MessageHeader&)>& serve)
    {
        auto call = std::async(std::launch::async, [&] {
            std::string buffer = "request!";
            const CallResult result = Ioctl(fd_, kEcho, buffer);
            return Outcome{result, buffer};
        });
        const UniqueFd connection = owner_.Accept();
        std::string payload;
        const MessageHeader request = ReceiveRequest(connection, &payload);
        serve(connection, request);
        return call.get();
    }
    void ExpectGarbled(const std::string& answer)
    {
        const Outcome outcome =
            CallWhile([&](const UniqueFd& fd, const MessageHeader&) { SendRaw(fd, answer); });
        EXPECT_EQ(outcome.result, (CallResult{-1, EPROTO}));
        EXPECT_EQ(outcome.buffer, "request!");
    }
    MessageHeader RightAnswer(uint64_t sequence = 1)
    {
        return AnswerTo(RequestHeader(kEcho, 8, sequence), 8);
    }

    RawOwner owner_;
    int fd_ = OpenOrFail();
};

}  // namespace

TEST_F(HostileOwner, ARightAnswerIsTaken)
{
    const Outcome outcome = CallWhile([](const UniqueFd& fd, const MessageHeader& request) {
        SendRaw(fd, MessageOf(AnswerTo(request, 8), "response"));
    });

    EXPECT_EQ(outcome.result, (CallResult{8, 0}));
    EXPECT_EQ(outcome.buffer, "response");
}

TEST_F(HostileOwner, ShortAnswersAreRefused)
{
    ExpectGarbled("x");
}

TEST_F(HostileOwner, AnswersWhoseSizeLiesAreRefused)
{
    ExpectGarbled(MessageOf(RightAnswer(), "short"));
}

TEST_F(HostileOwner, AnswersLargerThanTheBufferAreRefused)
{
    MessageHeader answer = RightAnswer();
    answer.size = 9000;
    ExpectGarbled(MessageOf(answer, std::string(9000, 'x')));
}

TEST_F(HostileOwner, AnswersSmallerThanTheBufferAreRefused)
{
    MessageHeader answer = RightAnswer();
    answer.size = 7;
    ExpectGarbled(MessageOf(answer, "1234567"));
}

TEST_F(HostileOwner, ZerosThatAreNotSentReachTheBuffer)
{
    const Outcome outcome = CallWhile([](const UniqueFd& fd, const MessageHeader& request) {
        MessageHeader answer = AnswerTo(request, 8);
        answer.size = 3;
        answer.zeros = 5;
        SendRaw(fd, MessageOf(answer, "res"));
    });

    EXPECT_EQ(outcome.result, (CallResult{8, 0}));
    EXPECT_EQ(outcome.buffer, std::string("res\0\0\0\0\0", 8));
}

TEST_F(HostileOwner, AnswersWithTooManyOrTooFewZerosAreRefused)
{
    for (const uint32_t zeros : {4U, 6U, UINT32_MAX}) {
        MessageHeader answer = RightAnswer();  // each costs its connection
        answer.size = 3;
        answer.zeros = zeros;
        ExpectGarbled(MessageOf(answer, "res"));
    }
}

TEST_F(HostileOwner, ARequestLeavesItsLastZerosOut)
{
    auto call = std::async(std::launch::async, [&] {
        std::string buffer("ab\0\0\0\0\0\0", 8);
        return Ioctl(fd_, kEcho, buffer);
    });
    const UniqueFd connection = owner_.Accept();
    std::string payload;
    const MessageHeader request = ReceiveRequest(connection, &payload);
    MessageHeader answer = AnswerTo(request, 8);
    answer.size = 8;
    answer.zeros = 0;
    SendRaw(connection, MessageOf(answer, "response"));

    EXPECT_EQ(call.get(), (CallResult{8, 0}));
    EXPECT_EQ(payload, "ab");
    EXPECT_EQ(request.size, 2U);
    EXPECT_EQ(request.zeros, 6U);
}

TEST_F(HostileOwner, AnswersToAnotherRequestAreRefused)
{
    ExpectGarbled(MessageOf(RightAnswer(2), "response"));
}

TEST_F(HostileOwner, AnswersOfAnotherVersionAreRefused)
{
    MessageHeader answer = RightAnswer();
    answer.version = 2;
    ExpectGarbled(MessageOf(answer, "response"));
}

TEST_F(HostileOwner, NegativeResultsWithoutAnErrorAreRefused)
{
    MessageHeader answer = RightAnswer();
    answer.result = -5;
    ExpectGarbled(MessageOf(answer, "response"));
}

TEST_F(HostileOwner, ARefusedConnectionGivesItsReason)
{
    MessageHeader refusal = RightAnswer();
    refusal.flags = kFlagAnswer | kFlagRefused;
    refusal.size = 0;
    refusal.error = EBUSY;
    const Outcome outcome = CallWhile(
        [&](const UniqueFd& fd, const MessageHeader&) { SendRaw(fd, MessageOf(refusal, "")); });

    EXPECT_EQ(outcome.result, (CallResult{-1, EBUSY}));
}

TEST_F(HostileOwner, AnAnswerThatLiesBehindAResetIsTaken)
{
    auto call = std::async(std::launch::async, [&] {
        std::string buffer = "request!";
        return Ioctl(fd_, kEcho, buffer);
    });
    {
        const UniqueFd connection = owner_.Accept();
        char byte = 0;
        EXPECT_TRUE(Eventually(
            [&] { return recv(connection.Get(), &byte, 1, MSG_PEEK | MSG_DONTWAIT) == 1; }));
        SendRaw(connection, MessageOf(RightAnswer(), "response"));
    }  // ends with the request unread

    EXPECT_EQ(call.get(), (CallResult{8, 0}));
}

TEST_F(HostileOwner, AnUnaskedMessageOnAKeptConnectionCostsItTheReuse)
{
    UniqueFd connection;
    EXPECT_EQ(CallWhile([&](const UniqueFd& fd, const MessageHeader& request) {
                  SendRaw(fd, MessageOf(AnswerTo(request, 8), "response"));
                  connection = UniqueFd::Make([&] { return dup(fd.Get()); });
              }).result,
              (CallResult{8, 0}));
    SendRaw(connection, MessageOf(RightAnswer(2), "unasked!"));
    Close(fd_);

    fd_ = OpenOrFail();

    const Outcome outcome = CallWhile([](const UniqueFd& fd, const MessageHeader& request) {
        SendRaw(fd, MessageOf(AnswerTo(request, 8), "response"));
    });
    EXPECT_EQ(outcome.buffer, "response");
}

TEST_F(HostileOwner, ReadWaitsOneSecondAtMostWhateverTheTimeOut)
{
    IAMResetFileConfig(fd_, 60000);
    std::string buffer(4, '\0');

    const int64_t elapsed = MillisecondsOf([&] {
        EXPECT_EQ(Read(fd_, buffer), (CallResult{-1, ETIMEDOUT}));
    });

    EXPECT_GE(elapsed, 1000);
    EXPECT_LT(elapsed, 20000);
}

TEST_F(HostileOwner, AReadThatClaimsMoreThanWasAskedIsRefused)
{
    auto call = std::async(std::launch::async, [&] {
        std::string buffer(4, '\0');
        return Read(fd_, buffer);
    });
    const UniqueFd connection = owner_.Accept();
    std::string payload;
    MessageHeader answer = AnswerTo(ReceiveRequest(connection, &payload), 8);
    answer.size = 8;
    SendRaw(connection, MessageOf(answer, "response"));

    EXPECT_EQ(call.get(), (CallResult{-1, EPROTO}));
}
