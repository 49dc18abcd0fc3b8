// Reads numbers and fields from a text that another process or a file holds, by the rules of the
// standard string streams in the classic locale: white space in front is skipped, a number ends at
// the first character that does not fit, a sign turns an unsigned number round, an overflow gives
// the nearest limit, and a reader that has failed or met the end stays so.
//
// Those rules are the wire's. A string stream costs half a microsecond to make, more than all that
// is read from it here; this one is a view and costs nothing.
#ifndef OWNERLINK_FOUNDATION_TEXT_READER_H
#define OWNERLINK_FOUNDATION_TEXT_READER_H

#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <type_traits>

namespace ProcMgr {

// Looks at `text`, which must outlive it. Belongs to one thread.
class TextReader {
public:
    explicit TextReader(std::string_view text) : text_(text) {}
    // Not at a text that is gone behind this line.
    template <typename Text, typename = std::enable_if_t<std::is_same_v<Text, std::string>>>
    explicit TextReader(Text&& text) = delete;

    // 0 for a text without a number. Untouched where the reader has nothing left.
    template <typename Number,
              typename = std::enable_if_t<std::is_integral_v<Number> && (sizeof(Number) >= 4)>>
    TextReader& operator>>(Number& number)
    {
        if (Begin()) {
            hasFailed_ = !Fit(ReadDigits(), number);
        }
        return *this;
    }

    // 0 or 1; any other number is true, and a failure.
    TextReader& operator>>(bool& flag)
    {
        if (Begin()) {
            int64_t number = 0;
            const bool isNumber = Fit(ReadDigits(), number);
            flag = number != 0;
            hasFailed_ = !isNumber || number < 0 || number > 1;
        }
        return *this;
    }

    // One character, white space aside.
    TextReader& operator>>(char& character)
    {
        if (Begin()) {
            character = text_[at_++];
        }
        return *this;
    }

    explicit operator bool() const { return !hasFailed_; }

    // Up to the next `end`, which is dropped, or to the end of the text. Fails if that leaves
    // nothing at all to take; a reader that has failed before leaves the line as it is.
    friend TextReader& getline(TextReader& reader, std::string_view& line, char end)
    {
        reader.TakeLine(line, end);
        return reader;
    }

    friend TextReader& getline(TextReader& reader, std::string& line, char end)
    {
        std::string_view view = line;
        reader.TakeLine(view, end);
        line.assign(view);
        return reader;
    }

private:
    struct Digits {
        uint64_t magnitude = 0;
        bool isNegative = false;
        bool isAny = false;
        bool isTooLarge = false;
    };

    bool IsGood() const { return !hasFailed_ && !hasEnded_; }

    static bool IsSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

    // Skips white space. False, and a failure, with nothing left behind it.
    bool Begin()
    {
        while (IsGood() && at_ < text_.size() && IsSpace(text_[at_])) {
            ++at_;
        }
        hasEnded_ = hasEnded_ || at_ == text_.size();
        hasFailed_ = !IsGood();
        return !hasFailed_;
    }

    Digits ReadDigits()
    {
        Digits digits;
        digits.isNegative = text_[at_] == '-';
        if (digits.isNegative || text_[at_] == '+') {
            ++at_;
        }
        for (; at_ < text_.size() && text_[at_] >= '0' && text_[at_] <= '9'; ++at_) {
            const auto digit = static_cast<uint64_t>(text_[at_] - '0');
            digits.isAny = true;
            digits.isTooLarge = digits.isTooLarge ||
                                __builtin_mul_overflow(digits.magnitude, 10U, &digits.magnitude) ||
                                __builtin_add_overflow(digits.magnitude, digit, &digits.magnitude);
        }
        hasEnded_ = at_ == text_.size();
        return digits;
    }

    // Gives the number that the digits stand for, or the limit next to it and false.
    template <typename Number>
    static bool Fit(const Digits& digits, Number& number)
    {
        using Unsigned = std::make_unsigned_t<Number>;
        using Limits = std::numeric_limits<Number>;
        const bool isBelowZero = std::is_signed_v<Number> && digits.isNegative;
        const uint64_t most = static_cast<uint64_t>(Limits::max()) + (isBelowZero ? 1U : 0U);
        if (digits.isTooLarge || digits.magnitude > most) {
            number = isBelowZero ? Limits::min() : Limits::max();
            return false;
        }
        const auto magnitude = static_cast<Unsigned>(digits.magnitude);
        number = static_cast<Number>(digits.isNegative ? Unsigned{0} - magnitude : magnitude);
        return digits.isAny;
    }

    void TakeLine(std::string_view& line, char end)
    {
        if (!IsGood()) {
            hasFailed_ = true;
            return;
        }
        const size_t found = text_.find(end, at_);
        line = text_.substr(at_, found - at_);
        if (found == std::string_view::npos) {
            hasEnded_ = true;
            hasFailed_ = line.empty();
            at_ = text_.size();
        } else {
            at_ = found + 1;
        }
    }

    std::string_view text_;
    size_t at_ = 0;
    bool hasFailed_ = false;
    bool hasEnded_ = false;
};

// The number that `text` starts with: 0 without one, the nearest limit beyond its range.
template <typename Number>
Number LeadingNumber(std::string_view text)
{
    Number number = 0;
    TextReader(text) >> number;
    return number;
}

}  // namespace ProcMgr

#endif
