// Owners that die, come back and change under their clients.
#include <fcntl.h>
#include <signal.h>
#include <sys/socket.h>

#include <atomic>
#include <cerrno>
#include <future>
#include <memory>
#include <thread>

#include "tests/hosted/raw_peer.h"
#include "tests/hosted/world.h"

using OwnerLife = HostedTest;

TEST_F(OwnerLife, AnOwnerKilledInsideACallbackIsEPIPE)
{
    OwnerProcess owner;
    const int fd = OpenOrFail();

    EXPECT_EQ(Ioctl(fd, kDie), (CallResult{-1, EPIPE}));
}

TEST_F(OwnerLife, AnOwnerKilledWhileACallbackBlocksIsEPIPEAtOnce)
{
    OwnerProcess owner;
    const int fd = OpenOrFail();
    IAMResetFileConfig(fd, 60000);
    auto call = std::async(std::launch::async, [&] { return Ioctl(fd, kBlock); });
    ASSERT_EQ(owner.Tell("blocked 1"), "blocked");

    owner.Kill();

    EXPECT_EQ(call.get(), (CallResult{-1, EPIPE}));
}

TEST_F(OwnerLife, ADescriptorOfADeadOwnerIsEPIPEForEverThoughTheNameBeUpAgain)
{
    auto owner = std::make_unique<OwnerProcess>();
    const int standing = static_cast<int>(Open(kName, O_RDONLY).result);
    EXPECT_EQ(Ioctl(standing, kEcho), (CallResult{64, 0}));
    const int unused = OpenOrFail();
    owner = nullptr;
    owner = std::make_unique<OwnerProcess>();
    ASSERT_EQ(owner->FirstLine(), "ready");
    std::string buffer(4, '\0');

    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(Read(standing, buffer), (CallResult{-1, EPIPE}));
        EXPECT_EQ(Ioctl(standing, kEcho), (CallResult{-1, EPIPE}));
        EXPECT_EQ(Ioctl(unused, kEcho), (CallResult{-1, EPIPE}));
    }

    EXPECT_EQ(Close(standing), (CallResult{0, 0}));
    EXPECT_EQ(Ioctl(OpenOrFail(), kEcho), (CallResult{64, 0}));
}

TEST_F(OwnerLife, ADescriptorThatTimedOutIsEPIPEAfterTheOwnersDeath)
{
    auto owner = std::make_unique<OwnerProcess>();
    const int fd = OpenOrFail();
    IAMResetFileConfig(fd, 60);
    EXPECT_EQ(Ioctl(fd, kBlock), (CallResult{-1, ETIMEDOUT}));
    owner = nullptr;
    owner = std::make_unique<OwnerProcess>();

    EXPECT_EQ(Ioctl(fd, kEcho), (CallResult{-1, EPIPE}));
}

TEST_F(OwnerLife, ADescriptorThatIsKnownToBeOverTakesNoTimeOutAnyMore)
{
    auto owner = std::make_unique<OwnerProcess>();
    const int fd = OpenOrFail();
    owner = nullptr;
    EXPECT_EQ(Ioctl(fd, kEcho), (CallResult{-1, EPIPE}));
    errno = 0;

    EXPECT_EQ(IAMResetFileConfig(fd, 1000), -1);
    EXPECT_EQ(errno, EPIPE);

    EXPECT_EQ(Close(fd), (CallResult{0, 0}));
}

TEST_F(OwnerLife, AnOwnerRestartedBetweenTwoExchangesIsFoundByTheNextOpen)
{
    for (int life = 0; life < 5; ++life) {
        OwnerProcess owner;
        ASSERT_EQ(owner.FirstLine(), "ready");
        const int fd = OpenOrFail();
        EXPECT_EQ(Ioctl(fd, kEcho), (CallResult{64, 0}));
        EXPECT_EQ(Close(fd), (CallResult{0, 0}));
    }
}

TEST_F(OwnerLife, ADeadOwnersNameIsTakenOverAndItsSocketRemoved)
{
    {
        OwnerProcess first;
    }
    OwnerProcess second;

    EXPECT_EQ(second.FirstLine(), "ready");
    EXPECT_EQ(directory_.Files().size(), 3U);  // record, lock, one socket
}

TEST_F(OwnerLife, AClientHammeringOnARestartSeesEveryLifeOrENOENT)
{
    auto owner = std::make_unique<OwnerProcess>();
    std::atomic<bool> done{false};
    std::atomic<int> strange{0};
    std::atomic<int> good{0};
    std::thread client([&] {
        while (!done) {
            const CallResult opened = Open();
            const CallResult result =
                opened.result < 0 ? opened : Ioctl(static_cast<int>(opened.result), kEcho);
            good += result.result == 64;
            strange += result.result < 0 && result.error != ENOENT && result.error != EPIPE;
            Close(static_cast<int>(opened.result));
        }
    });

    for (int life = 0; life < 10; ++life) {
        const int before = good;
        EXPECT_TRUE(Eventually([&] { return good > before; }));
        owner = nullptr;
        owner = std::make_unique<OwnerProcess>();
    }

    done = true;
    client.join();
    EXPECT_EQ(strange, 0);
}

TEST_F(OwnerLife, ARequestThatWasNotTakenIsSentOnceMoreToTheSameLife)
{
    RawOwner owner;
    const int fd = OpenOrFail();
    hosted::UniqueFd first = owner.Accept();
    auto call = std::async(std::launch::async, [&] {
        std::string buffer(8, 'a');
        return Ioctl(fd, kEcho, buffer);
    });
    char byte = 0;
    EXPECT_TRUE(
        Eventually([&] { return recv(first.Get(), &byte, 1, MSG_PEEK | MSG_DONTWAIT) == 1; }));
    first.Reset();  // with the request unread

    const hosted::UniqueFd second = owner.Accept();
    std::string payload;
    const hosted::MessageHeader request = ReceiveRequest(second, &payload);
    SendRaw(second, MessageOf(AnswerTo(request, 8), "bbbbbbbb"));

    EXPECT_EQ(request.flags, hosted::kFlagOpen);
    EXPECT_EQ(payload, "aaaaaaaa");
    EXPECT_EQ(call.get(), (CallResult{8, 0}));
}

TEST_F(OwnerLife, ARequestOnAConnectionEndedMeanwhileIsSentOnceMore)
{
    RawOwner owner;
    const int fd = OpenOrFail();
    owner.Accept().Reset();
    auto call = std::async(std::launch::async, [&] { return Ioctl(fd, kEcho); });

    const hosted::UniqueFd second = owner.Accept();
    std::string payload;
    const hosted::MessageHeader request = ReceiveRequest(second, &payload);
    SendRaw(second, MessageOf(AnswerTo(request, 5), payload));

    EXPECT_EQ(call.get(), (CallResult{5, 0}));
}

TEST_F(OwnerLife, ARequestIsNotSentAThirdTime)
{
    RawOwner owner;
    const int fd = OpenOrFail();
    auto call = std::async(std::launch::async, [&] { return Ioctl(fd, kEcho); });
    for (int i = 0; i < 2; ++i) {
        const hosted::UniqueFd connection = owner.Accept();
        char byte = 0;
        EXPECT_TRUE(Eventually(
            [&] { return recv(connection.Get(), &byte, 1, MSG_PEEK | MSG_DONTWAIT) == 1; }));
    }

    EXPECT_EQ(call.get(), (CallResult{-1, EPIPE}));
}

TEST_F(OwnerLife, ARequestThatWasReadAndNotAnsweredIsNotSentAgain)
{
    RawOwner owner;
    const int fd = OpenOrFail();
    auto call = std::async(std::launch::async, [&] { return Ioctl(fd, kEcho); });
    {
        const hosted::UniqueFd connection = owner.Accept();
        std::string payload;
        ReceiveRequest(connection, &payload);
    }

    EXPECT_EQ(call.get(), (CallResult{-1, EPIPE}));
}
