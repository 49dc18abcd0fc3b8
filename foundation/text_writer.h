// Puts texts and numbers together as a string stream in the classic locale would, without one.
#ifndef OWNERLINK_FOUNDATION_TEXT_WRITER_H
#define OWNERLINK_FOUNDATION_TEXT_WRITER_H

#include <charconv>
#include <limits>
#include <string>
#include <type_traits>

namespace ProcMgr {

class TextWriter {
public:
    TextWriter& operator<<(char character)
    {
        text_ += character;
        return *this;
    }

    TextWriter& operator<<(const std::string& text)
    {
        text_ += text;
        return *this;
    }

    template <typename Number,
              typename = std::enable_if_t<std::is_integral_v<Number> && (sizeof(Number) >= 4)>>
    TextWriter& operator<<(Number number)
    {
        char digits[std::numeric_limits<Number>::digits10 + 2];  // the sign and the odd digit
        text_.append(digits, std::to_chars(digits, digits + sizeof(digits), number).ptr);
        return *this;
    }

    const std::string& Text() const { return text_; }
    void Clear() { text_.clear(); }
    void Reserve(size_t size) { text_.reserve(size); }

private:
    std::string text_;
};

}  // namespace ProcMgr

#endif
