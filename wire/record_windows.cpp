// The manager's side: how a list of items is cut into records.

#include "wire/record_windows.h"

#include <algorithm>

#include "foundation/make_room.h"
#include "platform/securec.h"
#include "wire/client_unit.h"
#include "wire/record_limits.h"

namespace Ownerlink::Serialization {

using ProcMgr::kDataCapacity;
using ProcMgr::kFailure;
using ProcMgr::kItemsCapacity;
using ProcMgr::kWarning;
using ProcMgr::OwnerlinkRequestMsg;

namespace {

void AppendRecord(std::string_view payload, std::vector<OwnerlinkRequestMsg>& msgs)
{
    OwnerlinkRequestMsg& msg = msgs.emplace_back();
    msg.size = payload.size();
    memset_s(msg.data, kDataCapacity, 0, kDataCapacity);
    const int ret = memcpy_s(msg.data, kDataCapacity, payload.data(), payload.size());
    if (ret != 0) {
        // It stays all the same: the owner refuses the size, and the log here says why.
        CLIENT_LOG(kFailure, "ProcMgrCombineMsg failed memcpy_s failed: strSize=%lu bytes, ret=%d",
                   payload.size(), ret);
    }
}

template <typename Item>
void Cut(const std::vector<Item>& items, std::vector<unsigned int>& windows)
{
    const Item* const oversized = ProcMgr::CutWindows(items, kItemsCapacity, windows);
    if (oversized != nullptr) {
        CLIENT_LOG(kWarning, "CalculateWindows : packedRequest=%ubytes >= %zubytes!",
                   oversized->first, kDataCapacity);
    }
}

template <typename Item>
bool Combine(std::vector<Item>& items, std::vector<OwnerlinkRequestMsg>& msgs)
{
    if (items.empty()) {
        CLIENT_LOG(kFailure, "ProcMgrCombinePiecesMsg failed: packedRequest is empty!!");
        return false;
    }
    if (!std::is_sorted(items.begin(), items.end())) {
        std::sort(items.begin(), items.end());
    }
    std::vector<unsigned int> windows;
    Cut(items, windows);
    ProcMgr::MakeRoom(msgs, windows.size());
    ProcMgr::JoinWindows(items, windows,
                         [&msgs](std::string_view payload) { AppendRecord(payload, msgs); });
    return true;
}

}  // namespace

bool ProcMgrCombinePiecesMsg(std::vector<std::pair<unsigned int, std::string>>& packedRequest,
                             std::vector<OwnerlinkRequestMsg>& msgs)
{
    return Combine(packedRequest, msgs);
}

bool ProcMgrCombinePiecesMsg(std::vector<ProcMgr::ItemView>& items,
                             std::vector<OwnerlinkRequestMsg>& msgs)
{
    return Combine(items, msgs);
}

void CalculateWindows(const std::vector<std::pair<unsigned int, std::string>>& packedRequest,
                      std::vector<unsigned int>& windows)
{
    Cut(packedRequest, windows);
}

void ProcMgrCombineMsg(unsigned int count, const std::string& text,
                       std::vector<OwnerlinkRequestMsg>& msgs)
{
    AppendRecord(std::to_string(count) + "#" + text, msgs);
}

}  // namespace Ownerlink::Serialization
