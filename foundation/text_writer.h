// Puts texts and numbers together as a string stream in the classic locale would, without one.
#ifndef OWNERLINK_FOUNDATION_TEXT_WRITER_H
#define OWNERLINK_FOUNDATION_TEXT_WRITER_H

#include <algorithm>
#include <charconv>
#include <limits>
#include <memory>
#include <string_view>
#include <type_traits>
#include <utility>

namespace ProcMgr {

// Its own buffer instead of a string: most of what is written is a few bytes long, and a string
// takes longer to find out where they go than to copy them.
class TextWriter {
public:
    TextWriter& operator<<(char character)
    {
        *RoomFor(1) = character;
        ++size_;
        return *this;
    }

    TextWriter& operator<<(std::string_view text)
    {
        text.copy(RoomFor(text.size()), text.size());
        size_ += text.size();
        return *this;
    }

    template <typename Number,
              typename = std::enable_if_t<std::is_integral_v<Number> && (sizeof(Number) >= 4)>>
    TextWriter& operator<<(Number number)
    {
        constexpr size_t kMost = std::numeric_limits<Number>::digits10 + 2;  // sign and odd digit
        char* const room = RoomFor(kMost);
        size_ += static_cast<size_t>(std::to_chars(room, room + kMost, number).ptr - room);
        return *this;
    }

    // Until the next is written.
    std::string_view Text() const { return {text_.get(), size_}; }

    // The same from `start` on, with a zero behind it.
    const char* CText(size_t start = 0)
    {
        *RoomFor(1) = '\0';
        return text_.get() + start;
    }

    void Clear() { size_ = 0; }

    void Reserve(size_t room)
    {
        if (room > room_) {
            auto text = std::make_unique_for_overwrite<char[]>(room);
            Text().copy(text.get(), size_);
            text_ = std::move(text);
            room_ = room;
        }
    }

private:
    // Where the next `count` characters go.
    char* RoomFor(size_t count)
    {
        if (room_ - size_ < count) {
            Reserve(std::max({kLeast, 2 * room_, size_ + count}));
        }
        return text_.get() + size_;
    }

    static constexpr size_t kLeast = 128;

    std::unique_ptr<char[]> text_;
    size_t size_ = 0;
    size_t room_ = 0;
};

}  // namespace ProcMgr

#endif
