#include <fcntl.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <thread>
#include <vector>

#include "tests/fake/bound_calls.h"
#include "tests/support/platform_test.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using Bytes = std::vector<uint8_t>;

// Answers with the command number in each byte, and with the buffer's size as the result.
int FillWithCommand(const std::string& /*resource*/, unsigned int command, IAMIoctlArg& arg)
{
    std::memset(arg.buf, static_cast<int>(command), arg.size);
    return static_cast<int>(arg.size);
}

int ExchangeOn(int fd, unsigned int command, Bytes& buffer)
{
    IAMIoctlArg arg{buffer.size(), buffer.data()};
    return Bound::Ioctl(fd, command, &arg);
}

class Exchanges : public PlatformTest {
protected:
    Exchanges() { platform::SetFirstDescriptor(7); }
};

TEST_F(Exchanges, AreAnsweredByTheScript)
{
    platform::AnswerAll(FillWithCommand);
    const int fd = Bound::Open("a", O_RDWR);
    Bytes buffer{1, 2, 3};

    EXPECT_EQ(ExchangeOn(fd, 9, buffer), 3);

    EXPECT_THAT(buffer, ElementsAre(9, 9, 9));
    EXPECT_THAT(platform::Calls("ioctl"), ElementsAre("ioctl(7,9)=3"));
}

TEST_F(Exchanges, AreKeptWithTheirBytes)
{
    platform::AnswerAll(FillWithCommand);
    const int fd = Bound::Open("a", O_RDWR);
    IAMResetFileConfig(fd, 250);
    Bytes buffer{1, 2, 3};

    ExchangeOn(fd, 9, buffer);

    ASSERT_THAT(platform::Exchanges(), SizeIs(1));
    const platform::Exchange exchange = platform::Exchanges()[0];
    EXPECT_EQ(exchange.resource, "a");
    EXPECT_EQ(exchange.fd, fd);
    EXPECT_EQ(exchange.command, 9U);
    EXPECT_EQ(exchange.timeoutMs, 250);
    EXPECT_THAT(exchange.request, ElementsAre(1, 2, 3));
    EXPECT_THAT(exchange.response, ElementsAre(9, 9, 9));
}

TEST_F(Exchanges, GoToTheScriptOfTheirResourceFirst)
{
    platform::AnswerAll(FillWithCommand);
    platform::Answer("b", [](const std::string& resource, unsigned int, IAMIoctlArg&) {
        return resource == "b" ? 77 : -1;
    });
    Bytes buffer{1};

    EXPECT_EQ(ExchangeOn(Bound::Open("a", O_RDWR), 2, buffer), 1);
    EXPECT_EQ(ExchangeOn(Bound::Open("b", O_RDWR), 2, buffer), 77);
    EXPECT_THAT(platform::Exchanges("b"), SizeIs(1));

    platform::Answer("b", nullptr);
    EXPECT_EQ(ExchangeOn(Bound::Open("b", O_RDWR), 2, buffer), 1);
}

TEST_F(Exchanges, AScriptFailsWithItsErrno)
{
    platform::AnswerAll([](auto&&...) {
        errno = ETIMEDOUT;
        return -1;
    });
    Bytes buffer{1};

    EXPECT_EQ(ExchangeOn(Bound::Open("a", O_RDWR), 2, buffer), -1);

    EXPECT_EQ(errno, ETIMEDOUT);
    EXPECT_THAT(platform::Calls("ioctl"), ElementsAre("ioctl(7,2)=-1 ETIMEDOUT"));
}

TEST_F(Exchanges, ASetResultKeepsTheScriptOut)
{
    platform::AnswerAll(FillWithCommand);
    platform::SetNext("ioctl", {platform::Fails(EPIPE)});
    const int fd = Bound::Open("a", O_RDWR);
    Bytes buffer{1};

    EXPECT_EQ(ExchangeOn(fd, 2, buffer), -1);

    EXPECT_EQ(errno, EPIPE);
    EXPECT_THAT(buffer, ElementsAre(1));
    EXPECT_THAT(platform::Exchanges(), SizeIs(1));
}

TEST_F(Exchanges, WithoutAnOwnerMeetABrokenPipe)
{
    Bytes buffer{1};

    EXPECT_EQ(ExchangeOn(Bound::Open("a", O_RDWR), 2, buffer), -1);

    EXPECT_EQ(errno, EPIPE);
}

TEST_F(Exchanges, BearNullPointers)
{
    platform::AnswerAll([](const std::string&, unsigned int, IAMIoctlArg& arg) {
        return arg.buf == nullptr ? 5 : 6;
    });
    const int fd = Bound::Open("a", O_RDWR);
    IAMIoctlArg arg{3904, nullptr};

    EXPECT_EQ(Bound::Ioctl(fd, 2, nullptr), -1);
    EXPECT_EQ(errno, EFAULT);
    EXPECT_EQ(Bound::Ioctl(fd, 2, &arg), 5);
}

TEST_F(Exchanges, OverlapUntilTheTestLetsThemGo)
{
    platform::AnswerAll(FillWithCommand);
    platform::Hold("ioctl");
    const int a = Bound::Open("a", O_RDWR);
    const int b = Bound::Open("b", O_RDWR);
    Bytes first{0};
    Bytes second{0};
    std::thread one([&] { ExchangeOn(a, 2, first); });
    std::thread other([&] { ExchangeOn(b, 10, second); });
    ASSERT_TRUE(platform::WaitForHeld("ioctl", 2));
    EXPECT_THAT(platform::Exchanges("a")[0].response, IsEmpty());

    EXPECT_TRUE(platform::ReleaseOne("ioctl", "b"));
    other.join();
    EXPECT_THAT(second, ElementsAre(10));
    EXPECT_THAT(platform::HeldCalls(), ElementsAre("ioctl(7,2)"));

    platform::ReleaseAll("ioctl");
    one.join();
    EXPECT_THAT(first, ElementsAre(2));
}

// ---- The server end in the same process ---------------------------------------------------------

std::vector<std::string> hookCalls;

int OpenHook(IAMMgrFile* file)
{
    hookCalls.push_back(file != nullptr ? "open" : "open null");
    return 0;
}

int RefusingOpenHook(IAMMgrFile* /*file*/)
{
    hookCalls.push_back("refuse");
    return -5;
}

int CloseHook(IAMMgrFile* /*file*/)
{
    hookCalls.push_back("close");
    return 0;
}

long ReadHook(IAMMgrFile* /*file*/, char* buf, unsigned long size, long* /*out*/)
{
    std::memset(buf, 'r', size);
    return static_cast<long>(size);
}

int IoctlHook(IAMMgrFile* /*file*/, unsigned int cmd, IAMIoctlArg* arg)
{
    hookCalls.push_back("ioctl " + std::to_string(cmd));
    static_cast<uint8_t*>(arg->buf)[0] = 200;
    return 12;
}

int ThrowingIoctlHook(IAMMgrFile* /*file*/, unsigned int /*cmd*/, IAMIoctlArg* /*arg*/)
{
    throw std::runtime_error("left the hook");
}

class ServiceInProcess : public Exchanges {
protected:
    ServiceInProcess() { hookCalls.clear(); }

    int Register(const char* name)
    {
        const IAMServiceDesc desc{name, &ops_, 5000};
        return IAMRegisterService(&desc);
    }

    IAMFileOps ops_{ReadHook, nullptr, IoctlHook, OpenHook, CloseHook, nullptr};
};

TEST_F(ServiceInProcess, SeesOpenExchangeAndClose)
{
    EXPECT_EQ(Register("a"), 0);
    const int fd = Bound::Open("a", O_RDWR);
    Bytes buffer{1, 2};

    EXPECT_EQ(ExchangeOn(fd, 2, buffer), 12);
    EXPECT_EQ(Bound::Close(fd), 0);

    EXPECT_THAT(buffer, ElementsAre(200, 2));
    EXPECT_THAT(hookCalls, ElementsAre("open", "ioctl 2", "close"));
}

TEST_F(ServiceInProcess, IsKeptAsACopy)
{
    Register("a");
    ops_ = {};

    ASSERT_THAT(platform::Services(), SizeIs(1));
    EXPECT_EQ(platform::Services()[0].name, "a");
    EXPECT_EQ(platform::Services()[0].timeoutMs, 5000U);
    EXPECT_EQ(platform::Services()[0].ops.open(platform::AnyFile()), 0);
    EXPECT_THAT(hookCalls, ElementsAre("open"));
}

TEST_F(ServiceInProcess, AnswersReads)
{
    Register("a");
    char buffer[4];

    EXPECT_EQ(Bound::Read(Bound::Open("a", O_RDONLY), buffer, 4), 4);
    EXPECT_EQ(buffer[3], 'r');
}

TEST_F(ServiceInProcess, MayRefuseAFileAndServesNoMessageOfItThen)
{
    ops_.open = RefusingOpenHook;
    Register("a");
    const int fd = Bound::Open("a", O_RDWR);
    Bytes buffer{1};
    char byte = 0;

    EXPECT_EQ(ExchangeOn(fd, 2, buffer), -1);
    EXPECT_EQ(errno, EIO);
    EXPECT_EQ(ExchangeOn(fd, 2, buffer), -1);
    EXPECT_EQ(Bound::Read(fd, &byte, 1), -1);
    EXPECT_EQ(errno, EIO);
    EXPECT_EQ(Bound::Close(fd), 0);

    EXPECT_THAT(hookCalls, ElementsAre("refuse", "close"));
    EXPECT_THAT(buffer, ElementsAre(1));
}

TEST_F(ServiceInProcess, SeesNothingOfAFileThatSentNothing)
{
    Register("a");

    EXPECT_EQ(Bound::Close(Bound::Open("a", O_RDWR)), 0);

    EXPECT_THAT(hookCalls, IsEmpty());
}

TEST_F(ServiceInProcess, AnExceptionOrAMissingHookIsAnErrorOfTheExchange)
{
    ops_.ioctl = ThrowingIoctlHook;
    Register("throws");
    ops_.ioctl = nullptr;
    ops_.read = nullptr;
    Register("lacks");
    Bytes buffer{1};

    EXPECT_EQ(ExchangeOn(Bound::Open("throws", O_RDWR), 2, buffer), -1);
    EXPECT_EQ(errno, EIO);
    const int lacking = Bound::Open("lacks", O_RDWR);
    EXPECT_EQ(ExchangeOn(lacking, 2, buffer), -1);
    EXPECT_EQ(errno, EREMOTEIO);
    EXPECT_EQ(Bound::Read(lacking, nullptr, 0), -1);
    EXPECT_EQ(errno, EREMOTEIO);
}

TEST_F(ServiceInProcess, WhatIsThrownIsAnErrorOfTheExchangeWhateverItsType)
{
    ops_.ioctl = [](IAMMgrFile*, unsigned int, IAMIoctlArg*) -> int {
        throw 7;
    };
    ops_.read = [](IAMMgrFile*, char*, unsigned long, long*) -> long {
        throw 7;
    };
    Register("a");
    const int fd = Bound::Open("a", O_RDWR);
    Bytes buffer{1};

    EXPECT_EQ(ExchangeOn(fd, 2, buffer), -1);
    EXPECT_EQ(errno, EIO);
    errno = 0;
    EXPECT_EQ(Bound::Read(fd, nullptr, 0), -1);
    EXPECT_EQ(errno, EIO);
}

TEST_F(ServiceInProcess, ANegativeAnswerIsTheCallersAsItStands)
{
    ops_.ioctl = [](IAMMgrFile*, unsigned int, IAMIoctlArg* arg) {
        static_cast<uint8_t*>(arg->buf)[0] = 9;
        return -15794176;
    };
    ops_.read = [](IAMMgrFile*, char*, unsigned long, long*) {
        return -7L;
    };
    Register("a");
    const int fd = Bound::Open("a", O_RDWR);
    Bytes buffer{1};

    EXPECT_EQ(ExchangeOn(fd, 2, buffer), -15794176);
    EXPECT_EQ(errno, EREMOTEIO);
    EXPECT_THAT(buffer, ElementsAre(9));
    errno = 0;
    EXPECT_EQ(Bound::Read(fd, nullptr, 0), -7);
    EXPECT_EQ(errno, EREMOTEIO);
}

TEST_F(ServiceInProcess, AReadThatClaimsMoreThanWasAskedForFails)
{
    ops_.read = [](IAMMgrFile*, char*, unsigned long size, long*) {
        return static_cast<long>(size) + 1;
    };
    Register("a");
    char bytes[2] = {'.', '.'};

    EXPECT_EQ(Bound::Read(Bound::Open("a", O_RDWR), bytes, 1), -1);
    EXPECT_EQ(errno, EIO);
}

TEST_F(ServiceInProcess, AScriptGoesBeforeTheHooks)
{
    Register("a");
    platform::Answer("a", FillWithCommand);
    Bytes buffer{1};

    EXPECT_EQ(ExchangeOn(Bound::Open("a", O_RDWR), 2, buffer), 1);

    EXPECT_THAT(hookCalls, IsEmpty());
}

TEST_F(ServiceInProcess, ARegistrationThatFailsIsNotKept)
{
    platform::SetNext("IAMRegisterService", {platform::Gives(-7)});

    EXPECT_EQ(Register("a"), -7);
    EXPECT_EQ(Register(""), -EINVAL);
    EXPECT_EQ(IAMRegisterService(nullptr), -EINVAL);

    EXPECT_THAT(platform::Services(), IsEmpty());
    EXPECT_THAT(platform::Calls(),
                ElementsAre("IAMRegisterService(a)=-7", "IAMRegisterService()=-22",
                            "IAMRegisterService()=-22"));
}

}  // namespace
