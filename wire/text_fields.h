// The fields of a text payload. Nothing here looks at the stream's state: a payload that ends early
// leaves the remaining numbers 0 and the remaining texts empty.
#ifndef OWNERLINK_WIRE_TEXT_FIELDS_H
#define OWNERLINK_WIRE_TEXT_FIELDS_H

#include <istream>
#include <string>

namespace ProcMgr {

// Extracts a number and one separator, whatever that is.
template <typename Number>
Number ReadNumber(std::istream& stream)
{
    Number number = 0;
    char separator = 0;
    stream >> number >> separator;
    return number;
}

// Reads up to the next '#', which is dropped.
inline std::string ReadText(std::istream& stream)
{
    std::string text;
    std::getline(stream, text, '#');
    return text;
}

}  // namespace ProcMgr

#endif
