// An input taken as a script: each step takes the bytes that it needs.
#ifndef OWNERLINK_FUZZ_SCRIPT_H
#define OWNERLINK_FUZZ_SCRIPT_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

namespace fuzz {

inline void Require(bool condition)
{
    if (!condition) {
        std::abort();
    }
}

// What is left of the input; zeroes when there is nothing left.
class Script {
public:
    Script(const uint8_t* data, size_t size) : data_(data), size_(size) {}

    bool IsOver() const { return at_ >= size_; }

    template <typename T>
    T Take()
    {
        T value = {};
        const size_t count = std::min(sizeof value, Left());
        if (count > 0) {
            std::memcpy(&value, data_ + at_, count);
        }
        at_ += sizeof value;
        return value;
    }

    // Fewer at the end.
    std::string TakeBytes(size_t count)
    {
        const size_t taken = std::min(count, Left());
        const std::string bytes(reinterpret_cast<const char*>(data_) + (taken > 0 ? at_ : 0),
                                taken);
        at_ += count;
        return bytes;
    }

private:
    size_t Left() const { return size_ - std::min(at_, size_); }

    const uint8_t* data_;
    size_t size_;
    size_t at_ = 0;
};

}  // namespace fuzz

#endif
