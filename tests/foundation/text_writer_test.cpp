// A text that outgrows its room, with and without room made ahead.
#include "foundation/text_writer.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

namespace {

using ProcMgr::TextWriter;

}  // namespace

TEST(TextWriter, HoldsNothingAtFirst)
{
    const TextWriter writer;

    EXPECT_EQ(writer.Text(), "");
}

TEST(TextWriter, PutsTextsCharactersAndNumbersBehindEachOther)
{
    TextWriter writer;

    writer << "name" << '#' << 7U << '#' << INT64_MIN << '#' << UINT64_MAX << "" << '#';

    EXPECT_EQ(writer.Text(), "name#7#-9223372036854775808#18446744073709551615#");
}

TEST(TextWriter, KeepsZeroBytes)
{
    TextWriter writer;

    writer << std::string_view("a\0b", 3) << '\0';

    EXPECT_EQ(writer.Text(), std::string_view("a\0b\0", 4));
}

TEST(TextWriter, KeepsWhatItHoldsAsItGrows)
{
    TextWriter writer;
    std::string expected;

    for (int i = 0; i < 1000; ++i) {
        const std::string text(static_cast<size_t>(i % 300), static_cast<char>('a' + i % 26));
        writer << text << i << '#';
        expected += text + std::to_string(i) + '#';
        ASSERT_EQ(writer.Text(), expected);
    }
}

TEST(TextWriter, TakesATextLargerThanTwiceItsRoom)
{
    TextWriter writer;

    writer << "front" << std::string(100000, 'x') << "end";

    EXPECT_EQ(writer.Text(), "front" + std::string(100000, 'x') + "end");
}

TEST(TextWriter, StaysWhereItIsWithinTheRoomThatWasMade)
{
    TextWriter writer;
    writer << "a";
    writer.Reserve(1000);
    const char* const place = writer.Text().data();

    writer.Reserve(10);
    writer << std::string(999, 'x');

    EXPECT_EQ(writer.Text(), "a" + std::string(999, 'x'));
    EXPECT_EQ(writer.Text().data(), place);
}

TEST(TextWriter, BeginsAgainInTheSamePlace)
{
    TextWriter writer;
    writer << "before";
    const char* const place = writer.Text().data();

    writer.Clear();
    EXPECT_EQ(writer.Text(), "");
    writer << "new";

    EXPECT_EQ(writer.Text(), "new");
    EXPECT_EQ(writer.Text().data(), place);
}

TEST(TextWriter, EndsATextForAPrintfWithAZeroThatIsNoPartOfIt)
{
    TextWriter writer;
    EXPECT_STREQ(writer.CText(), "");
    writer << std::string(128, 'x');

    EXPECT_EQ(writer.CText(), std::string(128, 'x'));
    EXPECT_STREQ(writer.CText(127), "x");
    EXPECT_STREQ(writer.CText(128), "");
    EXPECT_EQ(writer.Text(), std::string(128, 'x'));
    writer << 'y';

    EXPECT_STREQ(writer.CText(127), "xy");
}
