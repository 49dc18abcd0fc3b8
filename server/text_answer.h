// How a handler answers by a text.
#ifndef OWNERLINK_SERVER_TEXT_ANSWER_H
#define OWNERLINK_SERVER_TEXT_ANSWER_H

#include <ownerlink/wire.h>

#include <string_view>

#include "platform/securec.h"
#include "wire/record_limits.h"

namespace ProcMgr {

// The copy's outcome. Sets the size whatever it is: a list that is too long keeps its full length
// there.
inline int WriteText(std::string_view text, OwnerlinkResponseMsg& response)
{
    response.size = text.size();
    return memcpy_s(response.data, kDataCapacity, text.data(), text.size());
}

}  // namespace ProcMgr

#endif
