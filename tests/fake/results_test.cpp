#include <fcntl.h>

#include <cerrno>

#include "tests/fake/bound_calls.h"
#include "tests/support/platform_test.h"

namespace {

using platform::Fails;
using platform::Gives;
using platform::Usual;
using ::testing::ElementsAre;

constexpr int kFirst = platform::kFirstDescriptor;

class Results : public PlatformTest {};

TEST_F(Results, NextOnesAreGivenOnceAndInOrder)
{
    platform::SetNext("open", {Fails(ETIMEDOUT), Usual(), Fails(ENOENT)});

    EXPECT_EQ(Bound::Open("a", O_RDWR), -1);
    EXPECT_EQ(errno, ETIMEDOUT);
    EXPECT_EQ(Bound::Open("a", O_RDWR), kFirst);
    EXPECT_EQ(Bound::Open("a", O_RDWR), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(Bound::Open("a", O_RDWR), kFirst + 1);
}

TEST_F(Results, LaterNextOnesQueueUpBehindEarlierOnes)
{
    platform::SetNext("usleep", {Gives(1)});
    platform::SetNext("usleep", platform::Times(2, Gives(2)));

    EXPECT_EQ(Bound::Usleep(1), 1);
    EXPECT_EQ(Bound::Usleep(1), 2);
    EXPECT_EQ(Bound::Usleep(1), 2);
    EXPECT_EQ(Bound::Usleep(1), 0);
}

TEST_F(Results, StandingOneIsGivenUntilTakenBack)
{
    platform::SetStanding("open", Fails(EACCES));
    EXPECT_EQ(Bound::Open("a", O_RDWR), -1);
    EXPECT_EQ(Bound::Open("b", O_RDWR), -1);

    platform::SetStanding("open", Usual());

    EXPECT_EQ(Bound::Open("a", O_RDWR), kFirst);
}

TEST_F(Results, OneOfAResourceLeavesOthersAlone)
{
    platform::SetStanding("open", Fails(ENOENT), "b");

    EXPECT_EQ(Bound::Open("a", O_RDWR), kFirst);
    EXPECT_EQ(Bound::Open("b", O_RDWR), -1);
}

TEST_F(Results, DescriptorsCountAsTheirResource)
{
    const int a = Bound::Open("a", O_RDWR);
    const int b = Bound::Open("b", O_RDWR);
    platform::SetNext("close", {Fails(EIO)}, "b");

    EXPECT_EQ(Bound::Close(a), 0);
    EXPECT_EQ(Bound::Close(b), -1);
}

TEST_F(Results, NextOfResourceGoesBeforeNextOfFunctionBeforeStandingOnes)
{
    platform::SetStanding("open", Fails(1));
    platform::SetStanding("open", Fails(2), "a");
    platform::SetNext("open", {Fails(3)});
    platform::SetNext("open", {Fails(4)}, "a");

    const auto errorOfOpen = [](const char* name) {
        EXPECT_EQ(Bound::Open(name, O_RDWR), -1);
        return errno;
    };
    EXPECT_EQ(errorOfOpen("a"), 4);
    EXPECT_EQ(errorOfOpen("a"), 3);
    EXPECT_EQ(errorOfOpen("a"), 2);
    EXPECT_EQ(errorOfOpen("b"), 1);
}

TEST_F(Results, ClearingDropsThoseOfTheFunctionAlone)
{
    platform::SetNext("open", {Fails(1)}, "a");
    platform::SetStanding("open", Fails(2));
    platform::SetStanding("close", Fails(EIO));

    platform::ClearResults("open");

    const int fd = Bound::Open("a", O_RDWR);
    EXPECT_EQ(fd, kFirst);
    EXPECT_EQ(Bound::Close(fd), -1);
}

TEST_F(Results, AnErrorOfZeroLeavesErrnoAlone)
{
    platform::SetNext("usleep", {Gives(-1)});
    errno = EXDEV;

    EXPECT_EQ(Bound::Usleep(1), -1);

    EXPECT_EQ(errno, EXDEV);
}

TEST_F(Results, ResetTakesBackEverything)
{
    platform::SetNext("open", {Fails(1)});
    platform::SetStanding("open", Fails(2));
    platform::SetFirstDescriptor(3);
    platform::SetLogLevels(0);
    platform::SetConfig("a: b");
    platform::RequireOwners();
    platform::AnswerAll([](auto&&...) { return 0; });

    platform::Reset();

    EXPECT_EQ(Bound::Open("a", O_RDWR), kFirst);
    EXPECT_EQ(Bound::Access(platform::kConfigPath), -1);
    EXPECT_THAT(platform::Calls(),
                ElementsAre("open(a,O_RDWR)=100000000",
                            "access(/etc/tnv/ownerlink_vfs_cfg.yaml,F_OK)=-1 ENOENT"));
}

}  // namespace
