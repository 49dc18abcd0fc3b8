// How a sorted list of items is cut into records: next-fit, with no look ahead and no re-packing.
#ifndef OWNERLINK_WIRE_WINDOWS_H
#define OWNERLINK_WIRE_WINDOWS_H

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "foundation/text_writer.h"

namespace ProcMgr {

// The length of an item's text, and the text: its own, or one that lies elsewhere.
using PackedItem = std::pair<unsigned int, std::string>;
using ItemView = std::pair<unsigned int, std::string_view>;

// Appends to `windows` how many of the items go into each record of `capacity` bytes. Stops at the
// first that no record takes and returns it; the list is sorted, so that none behind it would fit.
template <typename Item>
const Item* CutWindows(const std::vector<Item>& items, uint64_t capacity,
                       std::vector<unsigned int>& windows)
{
    const Item* oversized = nullptr;
    uint64_t total = 0;
    unsigned int count = 0;
    for (const Item& item : items) {
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

// Calls `makeRecord` with the payload of each window: the count, a '#' and the joined texts.
template <typename Item, typename MakeRecord>
void JoinWindows(const std::vector<Item>& items, const std::vector<unsigned int>& windows,
                 const MakeRecord& makeRecord)
{
    TextWriter payload;
    auto item = items.begin();
    for (const unsigned int count : windows) {
        payload.Clear();
        payload << count << '#';
        for (unsigned int i = 0; i < count; ++i) {
            payload << (item++)->second;
        }
        makeRecord(payload.Text());
    }
}

}  // namespace ProcMgr

#endif
