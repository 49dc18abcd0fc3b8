// Payloads made of sound ones by a few steps each, the same in every run.
#ifndef OWNERLINK_TESTS_READERS_MUTATIONS_H
#define OWNERLINK_TESTS_READERS_MUTATIONS_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

class Mutations {
public:
    // `sound` must not be empty.
    Mutations(std::vector<std::string> sound, uint32_t seed)
        : sound_(std::move(sound)), random_(seed)
    {
    }

    std::string Next()
    {
        std::string text = OneOf(sound_);
        for (size_t step = 1 + Below(6); step > 0; --step) {
            Change(text);
        }
        return text;
    }

private:
    static constexpr std::string_view kAlphabet = "0123456789##---+ \n\tax";
    // Around the bounds of counts and of the numbers' types.
    static constexpr std::array<const char*, 18> kNumbers = {"0",
                                                             "1",
                                                             "2",
                                                             "3",
                                                             "4",
                                                             "6",
                                                             "7",
                                                             "-1",
                                                             "1024",
                                                             "1025",
                                                             "1999",
                                                             "2000",
                                                             "2147483648",
                                                             "-2147483648",
                                                             "4294967295",
                                                             "4294967296",
                                                             "18446744073709551615",
                                                             "18446744073709551616"};

    size_t Below(size_t bound) { return random_() % bound; }

    template <typename Values>
    typename Values::const_reference OneOf(const Values& values)
    {
        return values[Below(values.size())];
    }

    size_t Place(const std::string& text) { return Below(text.size() + 1); }

    char Letter() { return Below(8) == 0 ? static_cast<char>(random_()) : OneOf(kAlphabet); }

    void Change(std::string& text)
    {
        const size_t at = Place(text);
        switch (Below(7)) {
            case 0:
                text.resize(at);
                return;
            case 1:
                text.insert(at, 1, Letter());
                return;
            case 2:
                text.erase(at, 1 + Below(4));
                return;
            case 3:
                text.insert(at, OneOf(kNumbers));
                return;
            case 4:
                return Repeat(text, at);
            case 5:
                return ReplaceNumber(text, at);
            default:
                text.replace(at, std::min<size_t>(1, text.size() - at), 1, Letter());
        }
    }

    // A piece of the text, once more at `at`. Two draws, one after the other: arguments of one call
    // are drawn in an order of the compiler's own.
    void Repeat(std::string& text, size_t at)
    {
        const size_t from = Place(text);
        text.insert(at, text.substr(from, 1 + Below(16)));
    }

    // The digits at `at`, or the next behind it.
    void ReplaceNumber(std::string& text, size_t at)
    {
        constexpr std::string_view kDigits = "0123456789";
        const size_t begin = text.find_first_of(kDigits, at);
        if (begin == std::string::npos) {
            text += OneOf(kNumbers);
            return;
        }
        const size_t end = std::min(text.find_first_not_of(kDigits, begin), text.size());
        text.replace(begin, end - begin, OneOf(kNumbers));
    }

    std::vector<std::string> sound_;
    std::mt19937 random_;
};

#endif
