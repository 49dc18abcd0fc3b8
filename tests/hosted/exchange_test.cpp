// Exchanges with a healthy owner.
#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <future>
#include <thread>

#include "platform/hosted/descriptor_numbers.h"
#include "tests/hosted/world.h"

namespace {

class Exchange : public HostedTest {
protected:
    OwnerProcess owner_;
};

int FirstOf(hosted::DescriptorRange range)
{
    return static_cast<int>(range);
}

}  // namespace

TEST_F(Exchange, CarriesTheBufferThereAndBack)
{
    const int fd = OpenOrFail();
    std::string buffer(3904, 'a');

    const CallResult result = Ioctl(fd, kEcho, buffer);

    EXPECT_EQ(result, (CallResult{3904, 0}));
    EXPECT_EQ(buffer, std::string(3904, 'b'));
    EXPECT_EQ(Close(fd), (CallResult{0, 0}));
}

TEST_F(Exchange, CarriesBuffersOfEverySizeUpTo64KiB)
{
    const int fd = OpenOrFail();

    for (const size_t size : {0U, 1U, 4095U, 4096U, 4097U, 65536U}) {
        std::string buffer(size, 'a');
        EXPECT_EQ(Ioctl(fd, kEcho, buffer), (CallResult{static_cast<long>(size), 0}));
        EXPECT_EQ(buffer, std::string(size, 'b'));
    }
}

// Zeros at the end are not sent, and what is zero at both ends is not cleared again: each buffer
// here ends in other bytes than the one before it.
TEST_F(Exchange, ZerosAtTheEndOfABufferAreThereAtBothEnds)
{
    const int fd = OpenOrFail();
    const std::string zeros(3904, '\0');
    const std::string ones(3904, '\xff');  // zeros, once the owner has added 1

    for (const std::string& sent : {"a" + zeros, "ab" + ones, "abc" + zeros, ones, zeros,
                                    "a" + ones.substr(0, 9), zeros.substr(0, 20), "abcd" + zeros}) {
        std::string wanted = sent;
        for (char& byte : wanted) {
            ++byte;
        }
        std::string buffer = sent;
        EXPECT_EQ(Ioctl(fd, kEcho, buffer), (CallResult{static_cast<long>(sent.size()), 0}));
        EXPECT_EQ(buffer, wanted);
    }
}

TEST_F(Exchange, RefusesBuffersAbove64KiB)
{
    std::string buffer(65537, 'a');

    EXPECT_EQ(Ioctl(OpenOrFail(), kEcho, buffer), (CallResult{-1, EINVAL}));
}

TEST_F(Exchange, RefusesANullArgument)
{
    const int fd = OpenOrFail();
    IAMIoctlArg argument = {8, nullptr};

    EXPECT_EQ(IAMFileIoctl(fd, kEcho, nullptr), -1);
    EXPECT_EQ(errno, EFAULT);
    EXPECT_EQ(IAMFileIoctl(fd, kEcho, &argument), -1);
    EXPECT_EQ(errno, EFAULT);
    EXPECT_EQ(IAMFileOpen(nullptr, O_RDWR), -1);
    EXPECT_EQ(errno, EFAULT);
}

TEST_F(Exchange, ReturnsANegativeResultOfTheHookWithItsBuffer)
{
    std::string buffer(8, 'a');

    const CallResult result = Ioctl(OpenOrFail(), kNegative, buffer);

    EXPECT_EQ(result, (CallResult{-15794176, EREMOTEIO}));
    EXPECT_EQ(buffer, "nnnnnnnn");
}

TEST_F(Exchange, ReadReturnsWhatTheHookDelivers)
{
    std::string buffer(4, '\0');

    EXPECT_EQ(ReadInTheEnd(OpenOrFail(), buffer), (CallResult{4, 0}));
    EXPECT_EQ(buffer, "rrrr");
}

TEST_F(Exchange, OpenFlagsRestrictNothing)
{
    const int readOnly = static_cast<int>(Open(kName, O_RDONLY).result);

    EXPECT_EQ(Ioctl(readOnly, kEcho), (CallResult{64, 0}));
}

TEST_F(Exchange, ADescriptorThatSentNothingHasNoHooks)
{
    Close(OpenOrFail());
    Close(OpenOrFail());

    const TestCounts counts = CountsOf(OpenOrFail());

    EXPECT_EQ(counts.opens, 1U);
    EXPECT_EQ(counts.closes, 0U);
}

TEST_F(Exchange, TheCloseHookRunsWhenTheConnectionIsUsedAgain)
{
    const int first = OpenOrFail();
    EXPECT_EQ(Ioctl(first, kEcho), (CallResult{64, 0}));
    EXPECT_EQ(Ioctl(first, kEcho), (CallResult{64, 0}));
    Close(first);

    const TestCounts counts = CountsOf(OpenOrFail());

    EXPECT_EQ(counts.opens, 2U);
    EXPECT_EQ(counts.closes, 1U);
    EXPECT_EQ(counts.ioctls, 3U);
}

TEST_F(Exchange, TakesNoNewDescriptorAndNoNewThreadInTheSteadyState)
{
    const int warmUp = OpenOrFail();
    CountsOf(warmUp);
    Close(warmUp);
    const size_t before = OpenDescriptors();
    const int first = OpenOrFail();
    const TestCounts ownerBefore = CountsOf(first);
    Close(first);

    for (int i = 0; i < 1000; ++i) {
        const int fd = OpenOrFail();
        ASSERT_EQ(Ioctl(fd, kEcho), (CallResult{64, 0}));
        ASSERT_EQ(Close(fd), (CallResult{0, 0}));
        ASSERT_EQ(OpenDescriptors(), before);
    }

    const TestCounts ownerAfter = CountsOf(OpenOrFail());
    EXPECT_EQ(ownerAfter.descriptors, ownerBefore.descriptors);
    EXPECT_LE(ownerAfter.threads, ownerBefore.threads + 1);
}

TEST_F(Exchange, KeepsEightConnectionsOfANameAtMost)
{
    std::vector<int> descriptors;
    const size_t before = OpenDescriptors();
    for (int i = 0; i < 10; ++i) {
        descriptors.push_back(OpenOrFail());
        EXPECT_EQ(Ioctl(descriptors.back(), kEcho), (CallResult{64, 0}));
    }
    EXPECT_EQ(OpenDescriptors(), before + 10);

    for (const int fd : descriptors) {
        Close(fd);
    }

    EXPECT_EQ(OpenDescriptors(), before + 8);
}

TEST_F(Exchange, GivesTheLowestFreeNumberOfItsRangeFirst)
{
    const int base = FirstOf(hosted::DescriptorRange::kReadWrite);
    EXPECT_EQ(OpenOrFail(), base);
    EXPECT_EQ(OpenOrFail(), base + 1);
    EXPECT_EQ(OpenOrFail(), base + 2);
    Close(base + 1);
    Close(base);

    EXPECT_EQ(OpenOrFail(), base);
    EXPECT_EQ(OpenOrFail(), base + 1);
    EXPECT_EQ(OpenOrFail(), base + 3);
}

TEST_F(Exchange, ReadOnlyDescriptorsHaveARangeOfTheirOwn)
{
    EXPECT_EQ(OpenOrFail(), FirstOf(hosted::DescriptorRange::kReadWrite));
    EXPECT_EQ(Open(kName, O_RDONLY).result, FirstOf(hosted::DescriptorRange::kReadOnly));
    EXPECT_EQ(Open(kName, O_RDWR).result, FirstOf(hosted::DescriptorRange::kReadWrite) + 1);
}

TEST_F(Exchange, AClosedOrForeignNumberIsEBADF)
{
    const int fd = OpenOrFail();
    Close(fd);
    std::string buffer(4, '\0');

    for (const int number : {fd, 0, -1, FirstOf(hosted::DescriptorRange::kQueue)}) {
        EXPECT_EQ(Ioctl(number, kEcho), (CallResult{-1, EBADF}));
        EXPECT_EQ(Read(number, buffer), (CallResult{-1, EBADF}));
        EXPECT_EQ(Close(number), (CallResult{-1, EBADF}));
        EXPECT_EQ(IAMResetFileConfig(number, 100), -1);
        EXPECT_EQ(errno, EBADF);
    }
}

TEST_F(Exchange, ATimeOutOfZeroOrBelowMinusOneIsRefused)
{
    const int fd = OpenOrFail();

    EXPECT_EQ(IAMResetFileConfig(fd, 0), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(IAMResetFileConfig(fd, -2), -1);
    EXPECT_EQ(IAMResetFileConfig(fd, 60000), 0);
    EXPECT_EQ(IAMResetFileConfig(fd, -1), 0);
}

TEST_F(Exchange, TimesOutAndLeavesTheDescriptorUsable)
{
    const int fd = OpenOrFail();
    for (const int timeoutMs : {20, 100}) {
        IAMResetFileConfig(fd, timeoutMs);
        const int64_t elapsed = MillisecondsOf([&] {
            EXPECT_EQ(Ioctl(fd, kBlock), (CallResult{-1, ETIMEDOUT}));
        });
        EXPECT_GE(elapsed, timeoutMs);
    }
    IAMResetFileConfig(fd, -1);

    std::string buffer(16, 'a');
    EXPECT_EQ(Ioctl(fd, kEcho, buffer), (CallResult{16, 0}));
    EXPECT_EQ(buffer, std::string(16, 'b'));
}

TEST_F(Exchange, ALateAnswerIsNeverTakenForTheNext)
{
    const int fd = OpenOrFail();
    IAMResetFileConfig(fd, 60);
    EXPECT_EQ(Ioctl(fd, kBlock), (CallResult{-1, ETIMEDOUT}));
    EXPECT_EQ(owner_.Tell("release"), "released");
    IAMResetFileConfig(fd, -1);

    for (int i = 0; i < 100; ++i) {
        std::string buffer(32, static_cast<char>(i));
        ASSERT_EQ(Ioctl(fd, kEcho, buffer), (CallResult{32, 0}));
        ASSERT_EQ(buffer, std::string(32, static_cast<char>(i + 1)));
    }
}

TEST_F(Exchange, ATimedOutConnectionIsNotPooled)
{
    const size_t before = OpenDescriptors();
    const int fd = OpenOrFail();
    IAMResetFileConfig(fd, 60);
    EXPECT_EQ(Ioctl(fd, kBlock), (CallResult{-1, ETIMEDOUT}));

    Close(fd);

    EXPECT_EQ(OpenDescriptors(), before);
}

TEST_F(Exchange, MinusOneGoesBackToTheServicesOwnTimeOut)
{
    OwnerProcess quick("dp:/res/test/quick", "80");
    const int fd = OpenOrFail("dp:/res/test/quick");
    IAMResetFileConfig(fd, 60000);
    IAMResetFileConfig(fd, -1);

    const int64_t elapsed = MillisecondsOf([&] {
        EXPECT_EQ(Ioctl(fd, kBlock), (CallResult{-1, ETIMEDOUT}));
    });

    EXPECT_GE(elapsed, 80);
    EXPECT_LT(elapsed, 20000);
}

TEST_F(Exchange, AnExceptionThatLeavesTheHookIsEIOAndTheOwnerLives)
{
    const int fd = OpenOrFail();

    EXPECT_EQ(Ioctl(fd, kThrow), (CallResult{-1, EIO}));
    EXPECT_EQ(Ioctl(fd, kThrowInt), (CallResult{-1, EIO}));
    EXPECT_EQ(Ioctl(fd, kEcho), (CallResult{64, 0}));
    EXPECT_THAT(owner_.Log(), testing::HasSubstr("exception left the ioctl hook of "
                                                 "dp:/res/test/owner: thrown by the test"));
}

TEST_F(Exchange, CloseWaitsForAnotherThreadsCall)
{
    const int fd = OpenOrFail();
    auto call = std::async(std::launch::async, [&] { return Ioctl(fd, kBlock); });
    ASSERT_EQ(owner_.Tell("blocked 1"), "blocked");
    auto closing = std::async(std::launch::async, [&] { return Close(fd); });
    EXPECT_TRUE(Eventually([&] { return Ioctl(fd, kEcho) == CallResult{-1, EBADF}; }));
    EXPECT_EQ(closing.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);

    owner_.Tell("release");

    EXPECT_EQ(call.get(), (CallResult{0, 0}));
    EXPECT_EQ(closing.get(), (CallResult{0, 0}));
}

TEST_F(Exchange, ASecondCallOnADescriptorWaitsNoLongerThanItsTimeOut)
{
    const int fd = OpenOrFail();
    auto call = std::async(std::launch::async, [&] { return Ioctl(fd, kBlock); });
    ASSERT_EQ(owner_.Tell("blocked 1"), "blocked");
    IAMResetFileConfig(fd, 80);

    EXPECT_EQ(Ioctl(fd, kEcho), (CallResult{-1, ETIMEDOUT}));

    owner_.Tell("release");
    EXPECT_EQ(call.get(), (CallResult{0, 0}));
}

TEST_F(Exchange, SignalsDoNotEndACallEarly)
{
    struct sigaction action = {};
    action.sa_handler = [](int) {
    };
    sigaction(SIGUSR1, &action, nullptr);
    const int fd = OpenOrFail();
    std::atomic<bool> done{false};
    const pthread_t self = pthread_self();
    std::thread pest([&] {
        while (!done) {
            pthread_kill(self, SIGUSR1);
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    });

    std::string buffer(8, '\0');
    buffer[0] = 100;
    const int64_t elapsed = MillisecondsOf([&] {
        EXPECT_EQ(Ioctl(fd, kPause, buffer), (CallResult{8, 0}));
    });
    IAMResetFileConfig(fd, 70);
    EXPECT_EQ(Ioctl(fd, kBlock), (CallResult{-1, ETIMEDOUT}));

    done = true;
    pest.join();
    EXPECT_GE(elapsed, 100);
}

TEST_F(Exchange, ManyThreadsEachGetTheirOwnAnswers)
{
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 8; ++thread) {
        threads.emplace_back([thread] {
            for (int i = 0; i < 200; ++i) {
                const int fd = OpenOrFail();
                std::string buffer(512, static_cast<char>(thread + i));
                ASSERT_EQ(Ioctl(fd, kEcho, buffer), (CallResult{512, 0}));
                ASSERT_EQ(buffer, std::string(512, static_cast<char>(thread + i + 1)));
                ASSERT_EQ(Close(fd), (CallResult{0, 0}));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}
