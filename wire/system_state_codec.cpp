// A system state to an owner, and one verdict back: a number and a '#' each way.

#include <ownerlink/enum_text.h>
#include <ownerlink/wire.h>

#include "foundation/text_reader.h"
#include "platform/securec.h"
#include "wire/client_unit.h"
#include "wire/record_limits.h"
#include "wire/server_unit.h"

namespace Ownerlink::Serialization {

using ProcMgr::GetSysState;
using ProcMgr::IsResponseSize;
using ProcMgr::kDataCapacity;
using ProcMgr::kFailure;
using ProcMgr::kProgress;

bool PackSetSystemStateRequest(int state, ProcMgr::OwnerlinkRequestMsg& msg)
{
    CLIENT_LOG(kProgress, "PackSetSystemStateRequest state=%d(%s) begin", state,
               GetSysState(static_cast<unsigned long>(state)).c_str());
    const std::string text = std::to_string(state) + "#";
    msg.size = text.size();
    const int err = memcpy_s(msg.data, kDataCapacity, text.data(), text.size());
    if (err != 0) {
        CLIENT_LOG(kFailure, "PackSetSystemStateRequest memcpy_s failed, err=%d", err);
        return false;
    }
    CLIENT_MILESTONE("PackSetSystemStateRequest str=%s", text.c_str());
    return true;
}

bool UnPackSetSystemStateResponse(const ProcMgr::OwnerlinkResponseMsg& resp, bool& result)
{
    if (!IsResponseSize(resp.size)) {
        CLIENT_LOG(kFailure, "UnPackSetSystemStateResponse failed resp size=%u bytes",
                   static_cast<unsigned>(resp.size));
        return false;
    }
    ProcMgr::TextReader(ProcMgr::PayloadView(resp)) >> result;
    CLIENT_MILESTONE("UnPackSetSystemStateResponse ssRespMsgStr=%s ret=%u(%s)",
                     ProcMgr::PayloadText(resp).c_str(), static_cast<unsigned>(result),
                     result ? "SUCCESS" : "FAILED");
    return true;
}

}  // namespace Ownerlink::Serialization

namespace ProcMgr::SS {

bool UnPackSetSystemStateRequest(const OwnerlinkRequestMsg* msg, int& state)
{
    if (msg->size > kDataCapacity) {
        SERVER_LOG(GRP_LOG_ERROR, "request size=%lu bytes is invalid", msg->size);
        return false;
    }
    // Ahead of the extraction: the record shows the state that the caller held until now beside the
    // text that replaces it.
    SERVER_LOG(GRP_LOG_INFO, "UnPackSetSystemStateRequest ssMsgStr=%s, state=%d(%s)",
               PayloadText(*msg).c_str(), state,
               GetSysState(static_cast<unsigned long>(state)).c_str());
    TextReader(PayloadView(*msg)) >> state;
    return true;
}

bool PackSetSystemStateResponse(bool result, OwnerlinkResponseMsg& resp)
{
    const std::string text = result ? "1#" : "0#";
    resp.size = text.size();
    if (memcpy_s(resp.data, kDataCapacity, text.data(), text.size()) != 0) {
        resp.size = 0;
        SERVER_LOG(GRP_LOG_ERROR, "PackSetSystemStateResponse failed respStr=%s respStrSize=%zu",
                   text.c_str(), text.size());
        return false;
    }
    return true;
}

}  // namespace ProcMgr::SS
