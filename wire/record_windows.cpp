// The manager's side: how a list of items is cut into records.

#include <ownerlink/wire.h>

#include <algorithm>

#include "platform/securec.h"
#include "wire/client_unit.h"
#include "wire/record_limits.h"
#include "wire/windows.h"

namespace Ownerlink::Serialization {

using ProcMgr::kDataCapacity;
using ProcMgr::kFailure;
using ProcMgr::kItemsCapacity;
using ProcMgr::kWarning;
using ProcMgr::OwnerlinkRequestMsg;

bool ProcMgrCombinePiecesMsg(std::vector<std::pair<unsigned int, std::string>>& packedRequest,
                             std::vector<OwnerlinkRequestMsg>& msgs)
{
    if (packedRequest.empty()) {
        CLIENT_LOG(kFailure, "ProcMgrCombinePiecesMsg failed: packedRequest is empty!!");
        return false;
    }
    if (!std::is_sorted(packedRequest.begin(), packedRequest.end())) {
        std::sort(packedRequest.begin(), packedRequest.end());
    }
    std::vector<unsigned int> windows;
    CalculateWindows(packedRequest, windows);
    msgs.reserve(msgs.size() + windows.size());
    ProcMgr::JoinWindows(packedRequest, windows,
                         [&msgs](unsigned int count, const std::string& text) {
                             ProcMgrCombineMsg(count, text, msgs);
                         });
    return true;
}

void CalculateWindows(const std::vector<std::pair<unsigned int, std::string>>& packedRequest,
                      std::vector<unsigned int>& windows)
{
    const auto* const oversized = ProcMgr::CutWindows(packedRequest, kItemsCapacity, windows);
    if (oversized != nullptr) {
        CLIENT_LOG(kWarning, "CalculateWindows : packedRequest=%ubytes >= %zubytes!",
                   oversized->first, kDataCapacity);
    }
}

void ProcMgrCombineMsg(unsigned int count, const std::string& text,
                       std::vector<OwnerlinkRequestMsg>& msgs)
{
    const std::string payload = std::to_string(count) + "#" + text;
    OwnerlinkRequestMsg msg;
    msg.size = payload.size();
    memset_s(msg.data, kDataCapacity, 0, kDataCapacity);
    const int ret = memcpy_s(msg.data, kDataCapacity, payload.data(), payload.size());
    if (ret != 0) {
        // Appended all the same: the owner refuses the size, and the log here says why.
        CLIENT_LOG(kFailure, "ProcMgrCombineMsg failed memcpy_s failed: strSize=%lu bytes, ret=%d",
                   payload.size(), ret);
    }
    msgs.push_back(msg);
}

}  // namespace Ownerlink::Serialization
