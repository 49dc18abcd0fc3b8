// String streams for texts that other processes and files hold. They keep to the classic locale,
// whatever the host process has made its global one.
#ifndef OWNERLINK_FOUNDATION_TEXT_STREAM_H
#define OWNERLINK_FOUNDATION_TEXT_STREAM_H

#include <locale>
#include <sstream>
#include <string>

namespace ProcMgr {

inline std::istringstream TextReader(const std::string& text)
{
    std::istringstream stream(text);
    stream.imbue(std::locale::classic());
    return stream;
}

inline std::ostringstream TextWriter()
{
    std::ostringstream stream;
    stream.imbue(std::locale::classic());
    return stream;
}

// Extracts the number that `text` starts with: 0 without one, the nearest limit beyond its range.
template <typename Number>
Number LeadingNumber(const std::string& text)
{
    Number number = 0;
    TextReader(text) >> number;
    return number;
}

}  // namespace ProcMgr

#endif
