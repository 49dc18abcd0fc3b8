// Clients that break the rules lose their own connection and nothing else.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "tests/hosted/raw_peer.h"
#include "tests/hosted/world.h"
#include "tests/support/send_descriptors.h"

using namespace hosted;
using testing::HasSubstr;

namespace {

class HostileClient : public HostedTest {
protected:
    void ExpectOwnerServes()
    {
        const int fd = OpenOrFail();
        EXPECT_EQ(Ioctl(fd, kEcho), (CallResult{64, 0}));
        Close(fd);
    }
    // Sends `message` on a connection of its own and waits for that to end without an answer.
    void ExpectEndedBy(const std::string& message)
    {
        const RawClient client;
        ASSERT_TRUE(client.Send(message));
        EXPECT_EQ(client.Receive(), "");
        ExpectOwnerServes();
    }

    OwnerProcess owner_;
};

}  // namespace

TEST_F(HostileClient, AWellMadeMessageIsAnswered)
{
    const RawClient client;
    ASSERT_TRUE(client.Send(MessageOf(RequestHeader(kEcho, 3, 77), "abc")));

    const std::string answer = client.Receive();

    MessageHeader header = RequestHeader(kEcho, 3, 77);
    header.flags = kFlagAnswer;
    header.result = 3;
    EXPECT_EQ(answer, MessageOf(header, "bcd"));
}

TEST_F(HostileClient, ShortMessagesEndTheConnection)
{
    const std::string whole = MessageOf(RequestHeader(kEcho, 0), "");
    for (const size_t size : {size_t{1}, sizeof(MessageHeader) - 1}) {
        ExpectEndedBy(whole.substr(0, size));
    }
}

TEST_F(HostileClient, OverlongMessagesEndTheConnection)
{
    ExpectEndedBy(MessageOf(RequestHeader(kEcho, 65537), std::string(65537, 'x')));
}

TEST_F(HostileClient, GarbageEndsTheConnectionAndIsLogged)
{
    ExpectEndedBy(std::string(4000, '\xaa'));
    EXPECT_THAT(owner_.Log(),
                HasSubstr("garbage of 4000 bytes from process " + std::to_string(getpid()) +
                          " of user " + std::to_string(geteuid()) + ": connection ended"));
}

TEST_F(HostileClient, ASizeFieldThatLiesEndsTheConnection)
{
    ExpectEndedBy(MessageOf(RequestHeader(kEcho, 4), "abc"));
    ExpectEndedBy(MessageOf(RequestHeader(kEcho, 2), "abc"));
    ExpectEndedBy(MessageOf(RequestHeader(kEcho, UINT32_MAX), "abc"));
}

TEST_F(HostileClient, AnotherProtocolVersionIsRefusedWithEPROTO)
{
    const RawClient client;
    MessageHeader request = RequestHeader(kEcho, 0);
    request.version = 2;
    ASSERT_TRUE(client.Send(MessageOf(request, "")));

    const std::string answer = client.Receive();

    MessageHeader header = {};
    ASSERT_EQ(answer.size(), sizeof header);
    std::memcpy(&header, answer.data(), sizeof header);
    EXPECT_EQ(header.flags, kFlagAnswer | kFlagRefused);
    EXPECT_EQ(header.error, EPROTO);
    EXPECT_EQ(client.Receive(), "");
    ExpectOwnerServes();
}

TEST_F(HostileClient, UnknownFlagsAndReadsOfTooMuchAreRefused)
{
    MessageHeader flags = RequestHeader(kEcho, 0);
    flags.flags = 0x8000;
    MessageHeader read = RequestHeader(65537, 0);
    read.flags = kFlagRead;
    MessageHeader answer = RequestHeader(kEcho, 0);
    answer.flags = kFlagAnswer;
    for (const MessageHeader& header : {flags, read, answer}) {
        const RawClient client;
        ASSERT_TRUE(client.Send(MessageOf(header, "")));
        EXPECT_EQ(client.Receive().size(), sizeof header);
        EXPECT_EQ(client.Receive(), "");
    }
    ExpectOwnerServes();
}

TEST_F(HostileClient, ZerosThatAreNotSentReachTheHook)
{
    const RawClient client;
    ASSERT_TRUE(client.Send(MessageOf(RequestHeader(kEcho, 3, 1), "xyz")));
    client.Receive();
    MessageHeader header = RequestHeader(kEcho, 1, 2);
    header.zeros = 2;
    ASSERT_TRUE(client.Send(MessageOf(header, "a")));

    const std::string answer = client.Receive();

    EXPECT_EQ(answer.substr(sizeof header), "b\1\1");
}

TEST_F(HostileClient, MoreZerosThanAPayloadHoldsAreRefused)
{
    MessageHeader tooMany = RequestHeader(kEcho, 0);
    tooMany.zeros = 65537;
    MessageHeader endless = RequestHeader(kEcho, 0);
    endless.zeros = UINT32_MAX;
    MessageHeader read = RequestHeader(4, 0);
    read.flags = kFlagRead;
    read.zeros = 1;
    for (const MessageHeader& header : {tooMany, endless, read}) {
        const RawClient client;
        ASSERT_TRUE(client.Send(MessageOf(header, "")));
        EXPECT_EQ(client.Receive().size(), sizeof header);
        EXPECT_EQ(client.Receive(), "");
    }
    MessageHeader inSum = RequestHeader(kEcho, 1);
    inSum.zeros = 65536;
    const RawClient client;
    ASSERT_TRUE(client.Send(MessageOf(inSum, "a")));
    EXPECT_EQ(client.Receive().size(), sizeof inSum);
    EXPECT_EQ(client.Receive(), "");
    ExpectOwnerServes();
}

TEST_F(HostileClient, DescriptorsPassedInAreClosed)
{
    const int fd = OpenOrFail();
    const TestCounts before = CountsOf(fd);
    const RawClient client;
    int pipeEnds[2];
    ASSERT_EQ(pipe2(pipeEnds, O_CLOEXEC), 0);

    ASSERT_GT(
        SendWithDescriptors(client.Fd(), MessageOf(RequestHeader(kEcho, 0), ""), {&pipeEnds[1], 1}),
        0);
    close(pipeEnds[1]);

    EXPECT_EQ(client.Receive().size(), sizeof(MessageHeader));
    char byte = 0;
    EXPECT_EQ(read(pipeEnds[0], &byte, 1), 0);  // no writer is left
    close(pipeEnds[0]);
    EXPECT_EQ(CountsOf(fd).descriptors, before.descriptors + 1);  // the raw connection
}

TEST_F(HostileClient, AConnectionThatStaysSilentHoldsUpNobody)
{
    const RawClient silent;
    ASSERT_TRUE(silent.IsConnected());

    ExpectOwnerServes();
    EXPECT_FALSE(silent.IsEnded());
}

TEST_F(HostileClient, AThousandIdleConnectionsCostTheOwnerFewThreadsAndNoClient)
{
    const int before = OpenOrFail();
    EXPECT_EQ(Ioctl(before, kEcho), (CallResult{64, 0}));
    const std::vector<RawClient> idle(1000);

    const TestCounts counts = CountsOf(before);

    EXPECT_LE(counts.threads, 8U);
    EXPECT_LE(counts.descriptors, 300U);
    ExpectOwnerServes();
}

TEST_F(HostileClient, AHoarderPaysWithAnIdleConnectionOfItsOwn)
{
    std::vector<RawClient> hoard(256);
    ExpectOwnerServes();

    const auto ended = [](const RawClient& client) {
        return client.IsEnded();
    };
    EXPECT_TRUE(Eventually([&] { return std::count_if(hoard.begin(), hoard.end(), ended) == 1; }));
}

TEST_F(HostileClient, ADescriptorWhoseIdleConnectionWasEndedGoesOnWithAnother)
{
    const int fd = OpenOrFail();
    EXPECT_EQ(Ioctl(fd, kEcho), (CallResult{64, 0}));
    const int other = OpenOrFail();
    EXPECT_TRUE(Eventually([&] {
        const std::vector<RawClient> hoard(300);
        return CountsOf(other).closes >= 1;
    }));

    EXPECT_EQ(Ioctl(fd, kEcho), (CallResult{64, 0}));
    EXPECT_GE(CountsOf(other).opens, 3U);  // one for each connection that was used
}

TEST_F(HostileClient, AnOwnerWithoutDescriptorsEndsAnIdleConnectionOfTheGreediest)
{
    rlimit limit = {40, 40};
    ASSERT_EQ(prlimit(owner_.Process(), RLIMIT_NOFILE, &limit, nullptr), 0);
    const std::vector<RawClient> hoard(60);

    ExpectOwnerServes();
    ExpectOwnerServes();
}

TEST_F(HostileClient, AClientKilledBetweenSendAndReceiveHasItsCloseHookRun)
{
    const pid_t child = fork();
    if (child == 0) {
        const RawClient client;
        client.Send(MessageOf(RequestHeader(kBlock, 0), ""));
        pause();
    }
    ASSERT_EQ(owner_.Tell("blocked 1"), "blocked");
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    owner_.Tell("release");

    const int fd = OpenOrFail();
    EXPECT_TRUE(Eventually([&] { return CountsOf(fd).closes == 1; }));
}

TEST_F(HostileClient, APeerThatNeverReadsItsAnswersIsDropped)
{
    const RawClient client;
    const std::string message = MessageOf(RequestHeader(kEcho, 60000), std::string(60000, 'x'));

    EXPECT_TRUE(Eventually([&] {
        return send(client.Fd(), message.data(), message.size(), MSG_NOSIGNAL | MSG_DONTWAIT) < 0 &&
               errno != EAGAIN;
    }));
    ExpectOwnerServes();
}
