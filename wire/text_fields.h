// The fields of a text payload, from a reader or from a stream of the caller's. Nothing here looks
// at the stream's state: a payload that ends early leaves the remaining numbers 0 and the remaining
// texts empty.
#ifndef OWNERLINK_WIRE_TEXT_FIELDS_H
#define OWNERLINK_WIRE_TEXT_FIELDS_H

#include <string>

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

// The same into a string that has been read into before, and keeps its room. Empty where there is
// nothing left to read, as a new one would be.
template <typename Source>
void ReadTextInto(Source& source, std::string& text)
{
    text.clear();
    getline(source, text, '#');
}

}  // namespace ProcMgr

#endif
