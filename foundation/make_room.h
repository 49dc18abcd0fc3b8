// Room in a vector of the caller's, which may be kept over many calls.
#ifndef OWNERLINK_FOUNDATION_MAKE_ROOM_H
#define OWNERLINK_FOUNDATION_MAKE_ROOM_H

#include <algorithm>
#include <cstddef>
#include <vector>

namespace ProcMgr {

// For `count` entries more. At least doubles what it enlarges: exact room would have each call move
// all that stands.
template <typename Entry>
void MakeRoom(std::vector<Entry>& entries, size_t count)
{
    const size_t needed = entries.size() + count;
    if (needed > entries.capacity()) {
        entries.reserve(std::max(needed, 2 * entries.capacity()));
    }
}

}  // namespace ProcMgr

#endif
