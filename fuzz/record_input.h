// A record made of an input: its first line is the record's `size`, and if that is no number, the
// length of what stands behind the line, as in a sound record. The rest is the payload.
#ifndef OWNERLINK_FUZZ_RECORD_INPUT_H
#define OWNERLINK_FUZZ_RECORD_INPUT_H

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

namespace fuzz {

inline bool IsNumber(std::string_view text)
{
    return !text.empty() && text.size() <= 20 &&
           text.find_first_not_of("0123456789") == std::string_view::npos;
}

// On the heap, where a sanitizer watches both of its ends. The reserved bytes at the record's end
// hold what is to be seen if it is read.
template <typename Record>
std::unique_ptr<Record> RecordOf(std::string_view input)
{
    const size_t lineEnd = std::min(input.find('\n'), input.size());
    const std::string line(input.substr(0, lineEnd));
    const std::string_view payload = input.substr(std::min(lineEnd + 1, input.size()));
    auto record = std::make_unique<Record>();
    record->size = IsNumber(line) ? std::strtoull(line.c_str(), nullptr, 10) : payload.size();
    std::copy_n(payload.begin(), std::min(payload.size(), sizeof record->data), record->data);
    std::memcpy(reinterpret_cast<char*>(record.get()) + sizeof(Record) - 4, "9#9#", 4);
    return record;
}

}  // namespace fuzz

#endif
