// How a sorted list of items is cut into records: next-fit, with no look ahead and no re-packing.
#ifndef OWNERLINK_WIRE_WINDOWS_H
#define OWNERLINK_WIRE_WINDOWS_H

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace ProcMgr {

// The length of an item's text, and the text.
using PackedItem = std::pair<unsigned int, std::string>;

// Appends to `windows` how many items go into each record of `capacity` bytes. Stops at the first
// item that no record takes and returns it; the list is sorted, so that none behind it would fit.
inline const PackedItem* CutWindows(const std::vector<PackedItem>& items, uint64_t capacity,
                                    std::vector<unsigned int>& windows)
{
    const PackedItem* oversized = nullptr;
    uint64_t total = 0;
    unsigned int count = 0;
    for (const PackedItem& item : items) {
        if (item.first > capacity) {
            oversized = &item;
            break;
        }
        if (total + item.first > capacity) {
            windows.push_back(count);
            total = 0;
            count = 0;
        }
        total += item.first;
        ++count;
    }
    if (count != 0) {
        windows.push_back(count);
    }
    return oversized;
}

// Calls `makeRecord` with the count and the joined texts of each window.
template <typename MakeRecord>
void JoinWindows(const std::vector<PackedItem>& items, const std::vector<unsigned int>& windows,
                 const MakeRecord& makeRecord)
{
    auto item = items.begin();
    for (const unsigned int count : windows) {
        std::string text;
        for (unsigned int i = 0; i < count; ++i) {
            text += (item++)->second;
        }
        makeRecord(count, text);
    }
}

}  // namespace ProcMgr

#endif
