#include <cerrno>
#include <cstring>
#include <memory>
#include <string>

#include "platform/securec.h"
#include "tests/fake/bound_calls.h"
#include "tests/support/platform_test.h"

namespace {

using ::testing::ElementsAre;

class Copies : public PlatformTest {
protected:
    std::string Dest() const { return {dest_, sizeof(dest_)}; }

    char dest_[4] = {'a', 'b', 'c', 'd'};
};

TEST_F(Copies, CopyWhatFits)
{
    EXPECT_EQ(memcpy_s(dest_, 4, "1234", 4), 0);
    EXPECT_EQ(Dest(), "1234");
}

TEST_F(Copies, OfNothingAreASuccess)
{
    EXPECT_EQ(memcpy_s(dest_, 4, nullptr, 0), 0);
    EXPECT_EQ(memcpy_s(nullptr, 0, nullptr, 0), 0);
    EXPECT_EQ(memset_s(nullptr, 0, 0, 0), 0);
    EXPECT_EQ(Dest(), "abcd");
}

TEST_F(Copies, TooLargeClearTheDestination)
{
    EXPECT_EQ(memcpy_s(dest_, 3, "1234", 4), ERANGE);
    EXPECT_EQ(Dest(), std::string("\0\0\0d", 4));
}

TEST_F(Copies, FromOrToNullAreInvalid)
{
    EXPECT_EQ(memcpy_s(nullptr, 4, "1234", 4), EINVAL);
    EXPECT_EQ(memcpy_s(dest_, 4, nullptr, 4), EINVAL);
    EXPECT_EQ(Dest(), std::string(4, '\0'));
    EXPECT_EQ(memset_s(nullptr, 4, 0, 4), EINVAL);
}

TEST_F(Copies, MayNotOverlap)
{
    EXPECT_EQ(memcpy_s(dest_ + 1, 3, dest_, 3), ERANGE);
}

TEST_F(Copies, SettingTooMuchSetsWhatFits)
{
    EXPECT_EQ(memset_s(dest_, 3, 'x', 4), ERANGE);
    EXPECT_EQ(Dest(), "xxxd");
    EXPECT_EQ(memset_s(dest_, 4, 'y', 2), 0);
    EXPECT_EQ(Dest(), "yyxd");
}

TEST_F(Copies, FailAtTheCallThatIsSet)
{
    platform::SetNext("memcpy_s", {platform::Usual(), platform::Fails(EFAULT)});

    EXPECT_EQ(memcpy_s(dest_, 4, "1", 1), 0);
    EXPECT_EQ(memcpy_s(dest_, 4, "2", 1), EFAULT);

    EXPECT_EQ(errno, EFAULT);
    EXPECT_EQ(Dest(), "1bcd");
    EXPECT_THAT(platform::Calls("memcpy_s"),
                ElementsAre("memcpy_s(4,1)=0", "memcpy_s(4,1)=14 EFAULT"));
}

TEST_F(Copies, FailByCount)
{
    platform::FailCopies([](std::size_t count) { return count == 2; }, ERANGE);

    EXPECT_EQ(memcpy_s(dest_, 4, "1", 1), 0);
    EXPECT_EQ(memcpy_s(dest_, 4, "12", 2), ERANGE);
    EXPECT_EQ(Dest(), "1bcd");
}

TEST_F(Copies, SettingFailsWhereItIsSet)
{
    platform::SetNext("memset_s", {platform::Fails(ENOMEM)});

    EXPECT_EQ(memset_s(dest_, 4, 0, 4), ENOMEM);
    EXPECT_EQ(Dest(), "abcd");
}

class Allocation : public PlatformTest {};

TEST_F(Allocation, GivesMemory)
{
    const std::unique_ptr<char[]> memory(Bound::NewArray(3904));

    EXPECT_NE(memory, nullptr);
    EXPECT_THAT(platform::Calls("new[]"), ElementsAre("new[](3904)"));
}

TEST_F(Allocation, FailsWhereItIsSet)
{
    platform::SetNext("new[]", {platform::Fails(ENOMEM)});

    EXPECT_EQ(Bound::NewArray(3904), nullptr);
    EXPECT_THAT(platform::Calls("new[]"), ElementsAre("new[](3904)=null"));
}

}  // namespace
