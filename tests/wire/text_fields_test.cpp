#include "wire/text_fields.h"

#include <gtest/gtest.h>

#include <cstdint>

#include "foundation/text_reader.h"

namespace {

using namespace ProcMgr;

TEST(NumberFields, TakeOneSeparatorWhateverItIs)
{
    auto stream = TextReader("1#22x333\n4");

    EXPECT_EQ(ReadNumber<uint32_t>(stream), 1U);
    EXPECT_EQ(ReadNumber<uint32_t>(stream), 22U);
    EXPECT_EQ(ReadNumber<uint64_t>(stream), 333U);  // the line's end is skipped, and 4 separates
    EXPECT_EQ(ReadNumber<int>(stream), 0);
}

TEST(NumberFields, SkipWhiteSpaceOnBothSides)
{
    auto stream = TextReader(" \t1 \n# name#");

    EXPECT_EQ(ReadNumber<uint32_t>(stream), 1U);
    EXPECT_EQ(ReadText(stream), " name");
}

TEST(NumberFields, MayLackTheirSeparatorAtTheEnd)
{
    auto stream = TextReader("7");

    EXPECT_EQ(ReadNumber<uint32_t>(stream), 7U);
    EXPECT_FALSE(stream);
}

TEST(NumberFields, TakeASignInFrontOfAnUnsignedNumber)
{
    auto stream = TextReader("-1#+2#-1#");

    EXPECT_EQ(ReadNumber<uint32_t>(stream), UINT32_MAX);
    EXPECT_EQ(ReadNumber<uint32_t>(stream), 2U);
    EXPECT_EQ(ReadNumber<uint64_t>(stream), UINT64_MAX);
}

TEST(NumberFields, BeyondTheirRangeAreTheLimitAndEndAllReading)
{
    auto stream = TextReader("4294967296#1#name#");

    EXPECT_EQ(ReadNumber<uint32_t>(stream), UINT32_MAX);
    EXPECT_EQ(ReadNumber<uint32_t>(stream), 0U);
    EXPECT_EQ(ReadText(stream), "");
}

TEST(NumberFields, WithoutANumberAreZeroAndEndAllReading)
{
    auto stream = TextReader("x#1#name#");

    EXPECT_EQ(ReadNumber<uint32_t>(stream), 0U);
    EXPECT_EQ(ReadNumber<int>(stream), 0);
    EXPECT_EQ(ReadText(stream), "");
}

TEST(TextFields, EndAtTheSeparator)
{
    auto stream = TextReader("a##b c\n#d");

    EXPECT_EQ(ReadText(stream), "a");
    EXPECT_EQ(ReadText(stream), "");
    EXPECT_EQ(ReadText(stream), "b c\n");
    EXPECT_EQ(ReadText(stream), "d");
    EXPECT_EQ(ReadText(stream), "");
}

TEST(TextFields, AreViewedWhereTheyLie)
{
    const std::string text = "a#bc";
    TextReader stream{std::string_view(text)};

    EXPECT_EQ(ReadTextView(stream).data(), text.data());
    EXPECT_EQ(ReadTextView(stream).data(), text.data() + 2);
    EXPECT_EQ(ReadTextView(stream), "");
}

TEST(TextFields, KeepZeroBytes)
{
    TextReader stream(std::string_view("a\0b#", 4));

    EXPECT_EQ(ReadText(stream), std::string("a\0b", 3));
}

}  // namespace
