// The process manager's requests: the master's unpackers and the agent's packer. The fields are
// those of application changes, with other bounds and other words.

#include <ownerlink/process_manager.h>

#include <algorithm>
#include <sstream>

#include "foundation/log_routes.h"
#include "foundation/text_reader.h"
#include "foundation/text_writer.h"
#include "platform/securec.h"
#include "wire/dynamic_para.h"
#include "wire/text_fields.h"
#include "wire/windows.h"

namespace ProcMgr::Serialization {
namespace {

using Message::RequestMsg;

constexpr size_t kCapacity = sizeof(RequestMsg::data);
constexpr uint32_t kMostListedApps = 1999;
constexpr uint32_t kMostPairs = 102399;
constexpr size_t kLongestStateItem = 3959;  // four more than a record takes, which drops those
constexpr uint64_t kWindowCapacity = 3955;  // leaves 9 bytes for the count and its '#'

// `size` is the sender's word; a record ends where it ends.
TextReader PayloadReader(const RequestMsg& msg)
{
    return TextReader(std::string_view(msg.data, std::min<uint64_t>(msg.size, kCapacity)));
}

template <typename Source>
bool ReadParameters(Source& source, std::map<int, std::vector<std::string>>& dynamicPara)
{
    using End = DynamicParaReading::End;
    const DynamicParaReading reading = ReadDynamicPara(source, dynamicPara);
    switch (reading.end) {
        case End::kTooManyEntries:
            SYSLOG_RECORD(
                LOG_ERR,
                "ProcMgr : ProcMgrMaster unpack request failed, dynamicParaSize=%zu invalid",
                reading.number);
            return false;
        case End::kBadIndex:
            SYSLOG_RECORD(
                LOG_ERR,
                "ProcMgr : ProcMgrMaster unpack request failed, dynamicPara index=%d invalid",
                reading.index);
            return false;
        case End::kTooManyValues:
            SYSLOG_RECORD(LOG_ERR,
                          "ProcMgr : ProcMgrMaster unpack request failed, dynamicPara index=%d, "
                          "valueNum=%zu invalid",
                          reading.index, reading.number);
            return false;
        case End::kComplete:
            break;
    }
    return true;
}

// Reads start and restart requests. A bad dynamic parameter ends the reading; an application with
// too many arguments does not, although its arguments are then taken for what follows it.
template <typename Info, typename LogTooManyArgs>
void ReadApps(TextReader& reader, std::vector<Info>& appList, const std::string& senderName,
              const LogTooManyArgs& logTooManyArgs)
{
    for (Info& app : appList) {
        app.appName = ReadText(reader);
        const auto argvSize = ReadNumber<uint32_t>(reader);
        if (argvSize > kMostArgs) {
            logTooManyArgs(argvSize);
            continue;
        }
        app.args.resize(argvSize);
        for (std::string& arg : app.args) {
            arg = ReadText(reader);
        }
        if (senderName != IAM_MGR_NAME && !ReadParameters(reader, app.dynamicPara)) {
            return;
        }
    }
}

void ProcMgrCombineMsg(Message::RequestType type, std::string_view payload,
                       std::vector<RequestMsg>& msgs)
{
    RequestMsg msg;
    msg.type = type;
    msg.size = payload.size();
    memset_s(msg.data, kCapacity, 0, kCapacity);
    const int ret = memcpy_s(msg.data, kCapacity, payload.data(), payload.size());
    if (ret != 0) {
        SYSLOG_RECORD(LOG_ERR,
                      "ProcMgrCombineMsg failed memcpy_s failed: strSize=%lu bytes, ret=%d",
                      payload.size(), ret);
    }
    msgs.push_back(msg);
}

}  // namespace

void ProcMgrUnpackStartRequest(const RequestMsg* msg, std::vector<Message::StartAppInfo>& appList,
                               const std::string& senderName)
{
    TextReader reader = PayloadReader(*msg);
    const auto count = ReadNumber<uint32_t>(reader);
    if (count > kMostListedApps) {
        SYSLOG_RECORD(LOG_ERR,
                      "ProcMgr : ProcMgrMaster UnpackStartRequest err: big startAppListSize=%u",
                      count);
        return;
    }
    appList.resize(count);
    ReadApps(reader, appList, senderName, [](uint32_t argvSize) {
        SYSLOG_RECORD(LOG_ERR, "ProcMgr : ProcMgrMaster : UnpackStartRequest err, argvSize=%u",
                      argvSize);
    });
}

void ProcMgrUnpackRestartRequest(const RequestMsg* msg,
                                 std::vector<Message::RestartAppInfo>& appList,
                                 const std::string& senderName)
{
    TextReader reader = PayloadReader(*msg);
    const auto count = ReadNumber<uint32_t>(reader);
    if (count > kMostListedApps) {
        SYSLOG_RECORD(LOG_ERR,
                      "ProcMgr : ProcMgrMaster UnpackRestartRequest err: big restartAppListSize=%u",
                      count);
        return;
    }
    appList.resize(count);
    ReadApps(reader, appList, senderName, [](uint32_t argvSize) {
        SYSLOG_RECORD(LOG_ERR, "ProcMgr : ProcMgrMaster : UnpackRestartRequest err, argvSize=%u",
                      argvSize);
    });
}

void ProcMgrUnpackTermRequest(const RequestMsg* msg, std::vector<Message::TermAppInfo>& appList)
{
    TextReader reader = PayloadReader(*msg);
    const auto count = ReadNumber<uint32_t>(reader);
    if (count > kMostListedApps) {
        SYSLOG_RECORD(LOG_ERR, "ProcMgr : ProcMgrMaster UnpackTermRequest err: big AppListSize=%u",
                      count);
        return;
    }
    appList.resize(count);
    for (Message::TermAppInfo& app : appList) {
        app.appName = ReadText(reader);
    }
}

void ProcMgrUnpackedAppExecInfoRequest(const RequestMsg* msg, Message::AppExecInfo& info)
{
    TextReader reader = PayloadReader(*msg);
    ReadNumber<uint32_t>(reader);  // the count
    info.appName = ReadText(reader);
    info.value0 = ReadNumber<uint32_t>(reader);
    info.value1 = ReadNumber<uint32_t>(reader);
    info.execState = static_cast<Message::AppExecState>(ReadNumber<uint32_t>(reader));
}

void ProcMgrUnpackedBaseServiceStateRequest(const RequestMsg* msg,
                                            Message::BaseServiceStateInfo& info)
{
    TextReader reader = PayloadReader(*msg);
    ReadNumber<uint32_t>(reader);  // the count
    info.state = static_cast<Message::BaseServiceState>(ReadNumber<uint32_t>(reader));
}

void ProcMgrUnpackMatchDataAndPathRequest(const RequestMsg* msg, Message::StartupCfgInfo& info)
{
    TextReader reader = PayloadReader(*msg);
    ReadNumber<uint32_t>(reader);  // the count
    info.path = ReadText(reader);
    const auto pairs = ReadNumber<uint32_t>(reader);
    if (pairs == 0 || pairs > kMostPairs) {
        return;
    }
    for (uint32_t i = 0; i < pairs; ++i) {
        std::string key = ReadText(reader);
        info.matchData.emplace(std::move(key), ReadText(reader));
    }
}

bool UnPackDynamicPara(std::istringstream& stream,
                       std::map<int, std::vector<std::string>>& dynamicPara)
{
    return ReadParameters(stream, dynamicPara);
}

bool ProcMgrPackAppStateRequest(const std::vector<Message::AppStateInfo>& appState,
                                std::vector<std::pair<unsigned int, std::string>>& packedRequest)
{
    TextWriter writer;
    for (const Message::AppStateInfo& app : appState) {
        writer.Clear();
        writer << app.appName << '#' << app.value0 << '#' << app.value1 << '#' << app.value2 << '#'
               << app.value3 << '#';
        const std::string_view text = writer.Text();
        if (text.size() > kLongestStateItem) {
            SYSLOG_RECORD(LOG_ERR,
                          "ProcMgrAgent : PackAppStateRequest failed=%s, size=%lu bytes beyond the "
                          "PM_PIPE_BUF_MAX!!",
                          writer.CText(), text.size());
            return false;
        }
        packedRequest.emplace_back(static_cast<unsigned int>(text.size()), text);
    }
    return true;
}

bool ProcMgrCombinePiecesMsg(Message::RequestType type,
                             std::vector<std::pair<unsigned int, std::string>>& packedRequest,
                             std::vector<RequestMsg>& msgs)
{
    if (packedRequest.empty()) {
        SYSLOG_RECORD(LOG_ERR, "CombinePiecesMsg failed: packedRequest is empty!!");
        return false;
    }
    std::sort(packedRequest.begin(), packedRequest.end());
    std::vector<unsigned int> windows;
    const PackedItem* const oversized = CutWindows(packedRequest, kWindowCapacity, windows);
    if (oversized != nullptr) {
        SYSLOG_RECORD(LOG_WARNING,
                      "ProcMgrAgent : packedRequest=%u bytes beyond the PM_PIPE_BUF_MAX!",
                      oversized->first);
    }
    JoinWindows(packedRequest, windows,
                [&](std::string_view payload) { ProcMgrCombineMsg(type, payload, msgs); });
    return true;
}

}  // namespace ProcMgr::Serialization
