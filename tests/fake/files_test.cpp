#include <fcntl.h>

#include <cerrno>

#include "tests/fake/bound_calls.h"
#include "tests/support/platform_test.h"

namespace {

using platform::Fails;
using platform::Gives;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class Files : public PlatformTest {
protected:
    Files() { platform::SetFirstDescriptor(7); }
};

TEST_F(Files, NumbersStartFarFromTheKernels)
{
    platform::Reset();

    EXPECT_EQ(Bound::Open("a", O_RDWR), platform::kFirstDescriptor);
}

TEST_F(Files, OpenGivesTheLowestFreeNumber)
{
    Bound::Open("a", O_RDWR);
    Bound::Open("b", O_RDWR);
    Bound::Open("c", O_RDWR);
    Bound::Close(8);
    Bound::Close(7);

    EXPECT_EQ(Bound::Open("d", O_RDWR), 7);
    EXPECT_EQ(Bound::Open("e", O_RDWR), 8);
    EXPECT_EQ(Bound::Open("f", O_RDWR), 10);
    EXPECT_THAT(platform::OpenDescriptors(), ElementsAre(7, 8, 9, 10));
}

TEST_F(Files, ShowsFlagsByName)
{
    Bound::Open("a", O_RDONLY);
    Bound::Open("a", O_WRONLY);
    Bound::Open("a", O_RDWR | O_NONBLOCK);

    EXPECT_THAT(platform::Calls(),
                ElementsAre("open(a,O_RDONLY)=7", "open(a,O_WRONLY)=8", "open(a,O_RDWR|2048)=9"));
}

TEST_F(Files, OpenWithASetNumberOpensThatNumber)
{
    platform::SetNext("open", {Gives(0), Gives(42)});

    EXPECT_EQ(Bound::Open("a", O_RDONLY), 0);
    EXPECT_EQ(Bound::Open("b", O_RDONLY), 42);

    EXPECT_THAT(platform::OpenDescriptors(), ElementsAre(0, 42));
    platform::SetStanding("read", Fails(EPIPE), "b");
    EXPECT_EQ(Bound::Read(42, nullptr, 0), -1);
}

TEST_F(Files, ClosedAndUnknownNumbersAreBad)
{
    const int fd = Bound::Open("a", O_RDWR);
    Bound::Close(fd);
    char buffer[4];
    IAMIoctlArg arg{sizeof(buffer), buffer};

    EXPECT_EQ(Bound::Read(fd, buffer, 4), -1);
    EXPECT_EQ(errno, EBADF);
    EXPECT_EQ(Bound::Ioctl(fd, 2, &arg), -1);
    EXPECT_EQ(errno, EBADF);
    EXPECT_EQ(IAMResetFileConfig(fd, 100), -1);
    EXPECT_EQ(errno, EBADF);
    EXPECT_EQ(Bound::Close(fd), -1);
    EXPECT_EQ(errno, EBADF);
    EXPECT_EQ(Bound::Close(-1), -1);
    EXPECT_EQ(errno, EBADF);
}

TEST_F(Files, ACloseThatFailsClosesAllTheSame)
{
    const int fd = Bound::Open("a", O_RDWR);
    platform::SetNext("close", {Fails(EIO)});

    EXPECT_EQ(Bound::Close(fd), -1);

    EXPECT_EQ(errno, EIO);
    EXPECT_THAT(platform::OpenDescriptors(), IsEmpty());
}

TEST_F(Files, ReadGivesNothingOnAFileWithoutOwner)
{
    const int fd = Bound::Open("a", O_RDONLY);
    char buffer[4];

    EXPECT_EQ(Bound::Read(fd, buffer, 4), 0);
    EXPECT_THAT(platform::Calls("read"), ElementsAre("read(7,4)=0"));
}

TEST_F(Files, RefusesNamesWithoutOwnerOnceOwnersAreRequired)
{
    platform::RequireOwners();
    platform::Answer("scripted", [](auto&&...) { return 0; });

    EXPECT_EQ(Bound::Open("scripted", O_RDWR), 7);
    EXPECT_EQ(Bound::Open("nobody", O_RDWR), -1);
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(Files, SetsTheTimeOutOfADescriptor)
{
    const int fd = Bound::Open("a", O_RDWR);

    EXPECT_EQ(IAMResetFileConfig(fd, 5000), 0);

    EXPECT_THAT(platform::Calls("IAMResetFileConfig"), ElementsAre("IAMResetFileConfig(7,5000)=0"));
}

TEST_F(Files, LeavesErrnoAloneOnSuccess)
{
    errno = EXDEV;
    const int fd = Bound::Open("a", O_RDWR);
    Bound::Read(fd, nullptr, 0);
    IAMResetFileConfig(fd, 1);
    Bound::Close(fd);

    EXPECT_EQ(errno, EXDEV);
}

}  // namespace
