// Numbers read from texts and written to them, host locale or not.
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

#include "foundation/text_reader.h"
#include "foundation/text_writer.h"
#include "tests/support/grouping_locale.h"

namespace {

using namespace ProcMgr;

template <typename Number>
struct NumberRow {
    const char* name;
    std::string text;
    Number number;
};

template <typename Number>
void PrintTo(const NumberRow<Number>& row, std::ostream* out)
{
    *out << row.name << " '" << row.text << "'";
}

constexpr auto rowName = [](const auto& row) {
    return row.param.name;
};

using Signed = NumberRow<int>;

class LeadingInt : public ::testing::TestWithParam<Signed> {};

TEST_P(LeadingInt, FollowsTheRulesOfStreams)
{
    EXPECT_EQ(LeadingNumber<int>(GetParam().text), GetParam().number);
}

constexpr int kLeastInt = std::numeric_limits<int>::min();
constexpr int kMostInt = std::numeric_limits<int>::max();

INSTANTIATE_TEST_SUITE_P(
    Texts, LeadingInt,
    ::testing::Values(
        Signed{"Number", "42", 42}, Signed{"Negative", "-5", -5}, Signed{"Plus", "+5", 5},
        Signed{"SignAlone", "-", 0}, Signed{"SignApart", "- 5", 0}, Signed{"Empty", "", 0},
        Signed{"BlankAlone", " ", 0}, Signed{"BlankInFront", " 7", 7},
        Signed{"WhiteSpaceInFront", "\t\r\n\v\f 7", 7}, Signed{"LettersBehind", "12abc", 12},
        Signed{"LettersInFront", "abc", 0}, Signed{"Hexadecimal", "0x10", 0},
        Signed{"LeadingZero", "010", 10}, Signed{"Fraction", "1.9", 1},
        Signed{"Grouped", "1,234", 1}, Signed{"Most", "2147483647", kMostInt},
        Signed{"BeyondMost", "2147483648", kMostInt}, Signed{"Least", "-2147483648", kLeastInt},
        Signed{"BeyondLeast", "-2147483649", kLeastInt},
        Signed{"FarBeyondMost", std::string(100, '9'), kMostInt}),
    rowName);

using Unsigned32 = NumberRow<uint32_t>;

class LeadingUint32 : public ::testing::TestWithParam<Unsigned32> {};

TEST_P(LeadingUint32, FollowsTheRulesOfStreams)
{
    EXPECT_EQ(LeadingNumber<uint32_t>(GetParam().text), GetParam().number);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, LeadingUint32,
    ::testing::Values(Unsigned32{"Most", "4294967295", UINT32_MAX},
                      Unsigned32{"BeyondMost", "4294967296", UINT32_MAX},
                      Unsigned32{"SignTurnsItRound", "-1", UINT32_MAX},
                      Unsigned32{"SignTurnsTheMostRound", "-4294967295", 1},
                      Unsigned32{"BeyondMostWithSign", "-4294967296", UINT32_MAX},
                      Unsigned32{"LettersBehind", "7x", 7}, Unsigned32{"Letters", "x", 0}),
    rowName);

using Unsigned64 = NumberRow<uint64_t>;

class LeadingUint64 : public ::testing::TestWithParam<Unsigned64> {};

TEST_P(LeadingUint64, FollowsTheRulesOfStreams)
{
    EXPECT_EQ(LeadingNumber<uint64_t>(GetParam().text), GetParam().number);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, LeadingUint64,
    ::testing::Values(Unsigned64{"Most", "18446744073709551615", UINT64_MAX},
                      Unsigned64{"BeyondMost", "18446744073709551616", UINT64_MAX},
                      Unsigned64{"SignTurnsItRound", "-2", UINT64_MAX - 1},
                      Unsigned64{"LettersBehind", "7x", 7}, Unsigned64{"Empty", "", 0}),
    rowName);

TEST(TextStreams, IgnoreTheGroupingOfTheHostsLocale)
{
    const GroupingLocale locale;
    TextWriter writer;

    writer << 1234567;

    EXPECT_EQ(writer.Text(), "1234567");
    EXPECT_EQ(LeadingNumber<int>("1234567"), 1234567);
    EXPECT_EQ(LeadingNumber<int>("1.234"), 1);
}

}  // namespace
