// The fields of a text payload, from a reader or from a stream of the caller's. Nothing here looks
// at the stream's state: a payload that ends early leaves the remaining numbers 0 and the remaining
// texts empty.
#ifndef OWNERLINK_WIRE_TEXT_FIELDS_H
#define OWNERLINK_WIRE_TEXT_FIELDS_H

#include <string>
#include <string_view>

#include "foundation/text_reader.h"

namespace ProcMgr {

// Extracts a number and one separator, whatever that is.
template <typename Number, typename Source>
Number ReadNumber(Source& source)
{
    Number number = 0;
    char separator = 0;
    source >> number >> separator;
    return number;
}

// Reads up to the next '#', which is dropped.
template <typename Source>
std::string ReadText(Source& source)
{
    std::string text;
    getline(source, text, '#');
    return text;
}

// The same as a view of what the reader looks at.
inline std::string_view ReadTextView(TextReader& reader)
{
    std::string_view text;
    getline(reader, text, '#');
    return text;
}

inline std::string ReadText(TextReader& reader)
{
    return std::string(ReadTextView(reader));
}

}  // namespace ProcMgr

#endif
