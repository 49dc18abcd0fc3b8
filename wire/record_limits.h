// The sizes that both ends of the wire agree on.
#ifndef OWNERLINK_WIRE_RECORD_LIMITS_H
#define OWNERLINK_WIRE_RECORD_LIMITS_H

#include <ownerlink/wire.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>

namespace ProcMgr {

inline constexpr size_t kRecordSize = sizeof(OwnerlinkRequestMsg);
inline constexpr size_t kDataOffset = offsetof(OwnerlinkRequestMsg, data);
inline constexpr size_t kDataCapacity = sizeof(OwnerlinkRequestMsg::data);

// The largest item of a list, and the largest total of the items of one record: one less than the
// capacity. The count in front of the items is not reckoned in.
inline constexpr size_t kItemsCapacity = kDataCapacity - 1;

static_assert(std::is_trivially_copyable_v<OwnerlinkRequestMsg>);
static_assert(std::is_trivially_copyable_v<OwnerlinkResponseMsg>);

// The payload of a record whose size has been checked: where it lies, and as a text for the log. An
// owner reads a request where the platform has it, which may be memory that its peer still writes
// to: the size is bounded once more.
template <typename Record>
std::string_view PayloadView(const Record& record)
{
    return {record.data, static_cast<size_t>(std::min<uint64_t>(record.size, kDataCapacity))};
}

template <typename Record>
std::string PayloadText(const Record& record)
{
    return std::string(PayloadView(record));
}

// A reader on the manager's side takes 1 to 3888 bytes; one on the owner's side takes none as well.
inline bool IsResponseSize(uint64_t size)
{
    return size >= 1 && size <= kDataCapacity;
}

}  // namespace ProcMgr

#endif
