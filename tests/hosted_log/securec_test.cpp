#include "platform/securec.h"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <string>

namespace {

using Buffer = std::array<char, 8>;

std::string Text(const Buffer& buffer)
{
    return {buffer.begin(), buffer.end()};
}

Buffer Digits()
{
    return {'0', '1', '2', '3', '4', '5', '6', '7'};
}

}  // namespace

TEST(MemcpyS, CopiesCountBytesAndNoMore)
{
    Buffer dest = Digits();

    EXPECT_EQ(memcpy_s(dest.data(), dest.size(), "abc", 3), 0);

    EXPECT_EQ(Text(dest), "abc34567");
}

TEST(MemcpyS, FillsTheDestinationExactly)
{
    Buffer dest = Digits();

    EXPECT_EQ(memcpy_s(dest.data(), dest.size(), "abcdefgh", 8), 0);

    EXPECT_EQ(Text(dest), "abcdefgh");
}

TEST(MemcpyS, AnswersZeroForNoBytesWhateverTheRest)
{
    Buffer dest = Digits();

    EXPECT_EQ(memcpy_s(dest.data(), dest.size(), nullptr, 0), 0);
    EXPECT_EQ(memcpy_s(nullptr, 0, nullptr, 0), 0);
    EXPECT_EQ(memcpy_s(dest.data(), 0, dest.data(), 0), 0);
    EXPECT_EQ(memcpy_s(dest.data(), SIZE_MAX, "a", 0), 0);

    EXPECT_EQ(Text(dest), "01234567");
}

TEST(MemcpyS, ClearsTheDestinationWhenTheCountIsTooLarge)
{
    Buffer dest = Digits();

    EXPECT_EQ(memcpy_s(dest.data(), 4, "abcdefgh", 5), ERANGE);

    EXPECT_EQ(Text(dest), std::string("\0\0\0\0004567", 8));
}

TEST(MemcpyS, ClearsNothingOfADestinationWithoutRoom)
{
    Buffer dest = Digits();

    EXPECT_EQ(memcpy_s(dest.data(), 0, "abc", 1), ERANGE);

    EXPECT_EQ(Text(dest), "01234567");
}

TEST(MemcpyS, RefusesNullPointers)
{
    Buffer dest = Digits();

    EXPECT_EQ(memcpy_s(nullptr, 8, "abc", 3), EINVAL);
    EXPECT_EQ(memcpy_s(dest.data(), 4, nullptr, 3), EINVAL);

    EXPECT_EQ(Text(dest), std::string("\0\0\0\0004567", 8));
}

TEST(MemcpyS, RefusesABoundThatNoObjectHas)
{
    Buffer dest = Digits();

    EXPECT_EQ(memcpy_s(dest.data(), SIZE_MAX, "abc", 3), ERANGE);

    EXPECT_EQ(Text(dest), "01234567");
}

TEST(MemcpyS, RefusesOverlapOfEitherKind)
{
    for (const auto& [to, from] : {std::pair{0, 2}, {2, 0}, {0, 0}}) {
        Buffer buffer = Digits();

        EXPECT_EQ(memcpy_s(buffer.data() + to, 4, buffer.data() + from, 3), EINVAL);

        EXPECT_EQ(Text(buffer).substr(static_cast<size_t>(to), 4), std::string(4, '\0'));
    }
}

TEST(MemcpyS, CopiesBetweenNeighbours)
{
    Buffer buffer = Digits();

    EXPECT_EQ(memcpy_s(buffer.data(), 8, buffer.data() + 4, 4), 0);
    EXPECT_EQ(Text(buffer), "45674567");

    buffer = Digits();
    EXPECT_EQ(memcpy_s(buffer.data() + 4, 4, buffer.data(), 4), 0);
    EXPECT_EQ(Text(buffer), "01230123");
}

TEST(MemsetS, SetsCountBytesAndNoMore)
{
    Buffer dest = Digits();

    EXPECT_EQ(memset_s(dest.data(), dest.size(), 'x', 3), 0);
    EXPECT_EQ(Text(dest), "xxx34567");

    EXPECT_EQ(memset_s(dest.data(), dest.size(), 0x100 + 'y', 8), 0);
    EXPECT_EQ(Text(dest), "yyyyyyyy");
}

TEST(MemsetS, SetsNothingForNoBytes)
{
    Buffer dest = Digits();

    EXPECT_EQ(memset_s(dest.data(), dest.size(), 'x', 0), 0);
    EXPECT_EQ(memset_s(dest.data(), 0, 'x', 0), 0);

    EXPECT_EQ(Text(dest), "01234567");
}

TEST(MemsetS, SetsUpToTheBoundWhenTheCountIsTooLarge)
{
    Buffer dest = Digits();

    EXPECT_EQ(memset_s(dest.data(), 4, 'x', 5), ERANGE);
    EXPECT_EQ(Text(dest), "xxxx4567");

    EXPECT_EQ(memset_s(dest.data(), 4, 'y', SIZE_MAX), ERANGE);
    EXPECT_EQ(Text(dest), "yyyy4567");
}

TEST(MemsetS, RefusesNullAndABoundThatNoObjectHas)
{
    Buffer dest = Digits();

    EXPECT_EQ(memset_s(nullptr, 8, 'x', 3), EINVAL);
    EXPECT_EQ(memset_s(dest.data(), SIZE_MAX, 'x', 3), ERANGE);

    EXPECT_EQ(Text(dest), "01234567");
}
