// The reader of texts against the standard streams whose rules it follows: every short text, and a
// million longer ones, each read by the same operations on both.
#include "foundation/text_reader.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <locale>
#include <random>
#include <sstream>
#include <string>

namespace {

using ProcMgr::TextReader;

constexpr std::string_view kAlphabet("0159-+# x\n", 10);

// What one reading leaves: every value, whether it was touched, and the failed state after each.
template <typename Source>
class Reading {
public:
    explicit Reading(Source& source) : source_(source) {}

    void Do(char operation)
    {
        switch (operation) {
            case 'i':
                return Number<int>();
            case 'u':
                return Number<uint32_t>();
            case 'l':
                return Number<uint64_t>();
            case 'b':
                return Flag();
            case 'c':
                return Character();
            default:
                return Line();
        }
    }

    std::string result;

private:
    template <typename T>
    void Number()
    {
        T number = 77;  // stays where nothing is extracted
        source_ >> number;
        Note(std::to_string(number));
    }

    void Flag()
    {
        for (const bool before : {false, true}) {
            bool flag = before;
            source_ >> flag;
            Note(flag ? "true" : "false");
        }
    }

    void Character()
    {
        char character = '~';
        source_ >> character;
        Note(std::string(1, character));
    }

    void Line()
    {
        std::string line;
        getline(source_, line, '#');
        Note(line);
    }

    void Note(const std::string& value) { result += value + (source_ ? "|" : "!"); }

    Source& source_;
};

std::string ByReader(const std::string& text, std::string_view operations)
{
    TextReader reader{std::string_view(text)};
    Reading reading(reader);
    for (const char operation : operations) {
        reading.Do(operation);
    }
    return reading.result;
}

std::string ByStream(const std::string& text, std::string_view operations)
{
    std::istringstream stream(text);
    stream.imbue(std::locale::classic());
    Reading<std::istream> reading(stream);
    for (const char operation : operations) {
        reading.Do(operation);
    }
    return reading.result;
}

void ExpectTheSame(const std::string& text, std::string_view operations)
{
    ASSERT_EQ(ByReader(text, operations), ByStream(text, operations))
        << "text '" << text << "' read by " << operations;
}

class EveryShortText : public ::testing::TestWithParam<const char*> {};

TEST_P(EveryShortText, IsReadAsByAStream)
{
    for (size_t length = 0; length <= 5; ++length) {
        size_t texts = 1;
        for (size_t i = 0; i < length; ++i) {
            texts *= kAlphabet.size();
        }
        for (size_t n = 0; n < texts; ++n) {
            std::string text;
            for (size_t i = 0, left = n; i < length; ++i, left /= kAlphabet.size()) {
                text += kAlphabet[left % kAlphabet.size()];
            }
            ExpectTheSame(text, GetParam());
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Operations, EveryShortText,
                         ::testing::Values("icic", "ucuc", "lclc", "bcg", "ggg", "icgg", "gucg",
                                           "bgg", "cicu"));

class AMillionTexts : public ::testing::TestWithParam<unsigned> {
protected:
    char Letter()
    {
        const unsigned kind = random_() % 16;
        if (kind == 0) {
            return static_cast<char>(random_());
        }
        return kind < 9 ? static_cast<char>('0' + random_() % 10)
                        : kAlphabet[random_() % kAlphabet.size()];
    }

    std::string Text()
    {
        std::string text(random_() % 40, '\0');
        for (char& letter : text) {
            letter = Letter();
        }
        return text;
    }

    std::string Operations()
    {
        std::string operations(1 + random_() % 8, '\0');
        for (char& operation : operations) {
            operation = "iulbcgg"[random_() % 7];
        }
        return operations;
    }

    // The same texts in every run.
    std::mt19937 random_{GetParam()};
};

// Four times a quarter of a million, so that they can be shared out.
TEST_P(AMillionTexts, AreReadAsByAStream)
{
    for (int i = 0; i < 250000; ++i) {
        ExpectTheSame(Text(), Operations());
    }
}

INSTANTIATE_TEST_SUITE_P(Quarters, AMillionTexts, ::testing::Values(1u, 2u, 3u, 4u));

TEST(NumbersAtTheLimits, AreReadAsByAStream)
{
    for (const char* digits :
         {"2147483647", "2147483648", "2147483649", "4294967295", "4294967296",
          "9223372036854775807", "9223372036854775808", "9223372036854775809",
          "18446744073709551615", "18446744073709551616", "99999999999999999999999", "0", "1",
          "00000000000000000000000000000001"}) {
        for (const char* sign : {"", "-", "+", "--", "-+", "- "}) {
            for (const char* end : {"", "#", " #", "x#1#"}) {
                for (const char* operations : {"icg", "ucg", "lcg", "bcg"}) {
                    ExpectTheSame(std::string(sign) + digits + end, operations);
                }
            }
        }
    }
}

}  // namespace
