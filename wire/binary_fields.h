// The length-prefixed binary fields of a query: host byte order, unaligned, with a bounds test
// before each. Offsets instead of pointers, so that no length can wrap.
#ifndef OWNERLINK_WIRE_BINARY_FIELDS_H
#define OWNERLINK_WIRE_BINARY_FIELDS_H

#include <algorithm>
#include <concepts>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "platform/securec.h"
#include "wire/record_limits.h"

namespace ProcMgr {

// Reads the first `size` bytes of a record's payload, and never beyond the record: whatever `size`
// claims, a field there would fail. Between the payload's capacity and the record's end lie four
// bytes that a `size` may still claim. After a false the reader is of no further use.
class FieldReader {
public:
    template <typename Record>
    explicit FieldReader(const Record& record)
        : data_(reinterpret_cast<const char*>(&record) + kDataOffset),
          end_(static_cast<size_t>(std::min<uint64_t>(record.size, kRecordSize - kDataOffset)))
    {
    }

    template <std::integral Number>
    bool Read(Number& number)
    {
        if (Left() < sizeof(number)) {
            return false;
        }
        std::memcpy(&number, data_ + at_, sizeof(number));
        at_ += sizeof(number);
        return true;
    }

    // A view of the record.
    bool Read(std::string_view& text)
    {
        uint32_t length = 0;
        if (!Read(length) || Left() < length) {
            return false;
        }
        text = {data_ + at_, length};
        at_ += length;
        return true;
    }

    bool Read(std::string& text)
    {
        std::string_view view;
        if (!Read(view)) {
            return false;
        }
        text.assign(view);
        return true;
    }

    size_t Left() const { return end_ - at_; }

private:
    const char* data_;
    size_t end_;
    size_t at_ = 0;
};

// Writes fields straight into a record's payload.
class FieldWriter {
public:
    explicit FieldWriter(char* data) : data_(data) {}

    template <std::integral Number>
    bool Write(Number number)
    {
        if (kDataCapacity - at_ < sizeof(number)) {
            return false;
        }
        std::memcpy(data_ + at_, &number, sizeof(number));
        at_ += sizeof(number);
        return true;
    }

    bool Write(const std::string& text)
    {
        if (!Write(static_cast<uint32_t>(text.size())) || kDataCapacity - at_ < text.size()) {
            return false;
        }
        if (!text.empty() && memcpy_s(data_ + at_, text.size(), text.data(), text.size()) != 0) {
            return false;
        }
        at_ += text.size();
        return true;
    }

    size_t Size() const { return at_; }

private:
    char* data_;
    size_t at_ = 0;
};

}  // namespace ProcMgr

#endif
