// What was last changed through a manager, replayed to an owner: application names and option types
// in the order of the names. Cut by a method of its own, not by the windows of a change.

#include <ownerlink/wire.h>

#include "foundation/text_reader.h"
#include "platform/securec.h"
#include "wire/change_app_limits.h"
#include "wire/client_unit.h"
#include "wire/record_limits.h"
#include "wire/server_unit.h"
#include "wire/text_fields.h"

namespace Ownerlink::Serialization {
namespace {

using ProcMgr::kFailure;
using ProcMgr::kProgress;
using ProcMgr::OwnerlinkRequestMsg;

constexpr size_t kPairsCapacity = 3872;  // leaves 15 bytes for the count and its '#'
constexpr size_t kCopyBound = 3887;      // one less than every other writer's

bool ConstructVerifyRequest(unsigned int count, const std::string& pairs,
                            std::vector<OwnerlinkRequestMsg>& msgs)
{
    const std::string text = std::to_string(count) + "#" + pairs;
    OwnerlinkRequestMsg msg;
    msg.size = text.size();
    const int err = memcpy_s(msg.data, kCopyBound, text.data(), text.size());
    if (err != 0) {
        CLIENT_LOG(kFailure, "ConstructVerifyRequest memcpy_s failed, err=%d", err);
        return false;
    }
    CLIENT_MILESTONE("ConstructVerifyRequest str=<%s,%zu>", text.c_str(), text.size());
    msgs.push_back(msg);
    return true;
}

}  // namespace

bool PackVerifyRequest(const std::map<std::string, unsigned int>& appInfo,
                       std::vector<OwnerlinkRequestMsg>& msgs)
{
    CLIENT_LOG(kProgress, "PackVerifyRequest begin.");
    std::string pairs;
    unsigned int count = 0;
    for (const auto& [name, optionType] : appInfo) {
        const std::string pair = name + "#" + std::to_string(optionType) + "#";
        if (pairs.size() + pair.size() > kPairsCapacity) {
            // Whatever the count: an oversized first pair sends an empty record ahead of itself.
            if (!ConstructVerifyRequest(count, pairs, msgs)) {
                return false;
            }
            pairs.clear();
            count = 0;
        }
        pairs += pair;
        ++count;
    }
    return count == 0 || ConstructVerifyRequest(count, pairs, msgs);
}

}  // namespace Ownerlink::Serialization

namespace ProcMgr::SS {

bool UnPackVerifyRequest(const OwnerlinkRequestMsg* msg,
                         std::map<std::string, unsigned int>& appInfo)
{
    if (msg->size > kDataCapacity) {
        SERVER_LOG(GRP_LOG_ERROR, "request size=%lu bytes is invalid", msg->size);
        return false;
    }
    SERVER_LOG(GRP_LOG_INFO, "UnPackVerifyRequest ssMsgStr=<%s,%zu>", PayloadText(*msg).c_str(),
               msg->size);
    TextReader reader(PayloadView(*msg));
    const auto count = ReadNumber<uint64_t>(reader);
    if (count > kMostApps) {
        SERVER_LOG(GRP_LOG_ERROR, "UnPackVerifyRequest appInfo size=%zu > %zu", count, kMostApps);
        return false;
    }
    SERVER_LOG(GRP_LOG_INFO, "UnPackVerifyRequest appInfo size=%zu", count);
    for (uint64_t i = 0; i < count; ++i) {
        const std::string name = ReadText(reader);
        appInfo[name] = ReadNumber<uint32_t>(reader);
    }
    return true;
}

}  // namespace ProcMgr::SS
