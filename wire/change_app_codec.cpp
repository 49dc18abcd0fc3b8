// A list of application changes to an owner, and the state of each application back, as fields that
// each end in '#'. There is no escape: a text with a '#' in it breaks the reader's alignment.

#include <ownerlink/wire.h>

#include <sstream>

#include "foundation/text_reader.h"
#include "foundation/text_writer.h"
#include "platform/securec.h"
#include "wire/change_app_limits.h"
#include "wire/client_unit.h"
#include "wire/dynamic_para.h"
#include "wire/record_limits.h"
#include "wire/server_unit.h"
#include "wire/text_fields.h"

namespace Ownerlink::Serialization {

using ProcMgr::BootStrace;
using ProcMgr::kDataCapacity;
using ProcMgr::kFailure;
using ProcMgr::kItemsCapacity;
using ProcMgr::kMostApps;
using ProcMgr::ReadNumber;
using ProcMgr::ReadText;

namespace {

// Writes to a writer, or to the caller's stream. False at an index that no reader takes.
template <typename Sink>
bool WriteDynamicPara(Sink& sink, const AppInfo& appInfo)
{
    sink << appInfo.dynamicPara.size() << '#';
    for (const auto& [index, values] : appInfo.dynamicPara) {
        if (index > ProcMgr::kLastDynamicPara) {  // signed: a negative index passes both ends
            CLIENT_LOG(kFailure, "ChangeAppState pack request failed, dynamicPara key=%d", index);
            return false;
        }
        sink << index << '#' << values.size() << '#';
        for (const std::string& value : values) {
            sink << value << '#';
        }
    }
    return true;
}

}  // namespace

bool PackChangeAppInfoRequest(const std::vector<AppInfo>& appInfo,
                              std::vector<std::pair<unsigned int, std::string>>& packedRequest)
{
    ProcMgr::TextWriter writer;
    for (const AppInfo& app : appInfo) {
        writer.Clear();
        writer << app.appName << '#' << app.optionType << '#'
               << static_cast<uint32_t>(app.args.size()) << '#';
        for (const std::string& arg : app.args) {
            writer << arg << '#';
        }
        if (!WriteDynamicPara(writer, app)) {
            return false;
        }
        const std::string& text = writer.Text();
        if (text.size() > kItemsCapacity) {
            CLIENT_LOG(kFailure, "ChangeAppState pack request failed, size=%lu beyond %lu!!",
                       text.size(), kDataCapacity);
            return false;
        }
        packedRequest.emplace_back(static_cast<unsigned int>(text.size()), text);
        CLIENT_MILESTONE("ChangeAppState pack request app#(START-0,TERM,RESTART)#argSize#arg: %s",
                         text.c_str());
    }
    return true;
}

bool PackDynamicPara(std::ostringstream& stream, const AppInfo& appInfo)
{
    return WriteDynamicPara(stream, appInfo);
}

bool UnPackChangeAppInfoResponseMsg(const ProcMgr::OwnerlinkResponseMsg& resp, bool& result,
                                    std::map<std::string, AppChangeState>& appState)
{
    if (!ProcMgr::IsResponseSize(resp.size)) {
        CLIENT_LOG(kFailure, "response size=%u bytes is invalid", static_cast<unsigned>(resp.size));
        return false;
    }
    CLIENT_MILESTONE("%s ChangeAppState unpack response: %s",
                     BootStrace(ProcMgr::SS_AGENT_NAME).c_str(),
                     ProcMgr::PayloadText(resp).c_str());
    ProcMgr::TextReader reader(ProcMgr::PayloadView(resp));
    const auto pieces = ReadNumber<uint32_t>(reader);
    char separator = 0;
    reader >> result >> separator;  // ahead of the bound: the verdict counts even where that fails
    if (pieces < 1 || pieces > kMostApps) {
        CLIENT_LOG(kFailure, "ChangeAppState unpack response appSize=%u, should at [1, %zu]",
                   pieces, kMostApps);
        return false;
    }
    for (uint32_t piece = 1; piece < pieces; ++piece) {  // the verdict is the first piece
        const std::string name = ReadText(reader);
        const auto state = ReadNumber<uint32_t>(reader);
        appState[name] = state > START_FAILED_BY_EIO ? INIT : static_cast<AppChangeState>(state);
    }
    return true;
}

}  // namespace Ownerlink::Serialization

namespace ProcMgr::SS {
namespace {

template <typename Source>
bool ReadParameters(Source& source, AppInfo& appInfo)
{
    using End = DynamicParaReading::End;
    const DynamicParaReading reading = ReadDynamicPara(source, appInfo.dynamicPara);
    switch (reading.end) {
        case End::kTooManyEntries:
            SERVER_LOG(GRP_LOG_ERROR,
                       "ChangeAppState unpack request failed, %s dynamicParaSize=%zu invalid",
                       appInfo.appName.c_str(), reading.number);
            return false;
        case End::kBadIndex:
            SERVER_LOG(GRP_LOG_ERROR,
                       "ChangeAppState unpack request failed, %s dynamicPara index=%d invalid",
                       appInfo.appName.c_str(), reading.index);
            return false;
        case End::kTooManyValues:
            SERVER_LOG(GRP_LOG_ERROR,
                       "ChangeAppState unpack dynamicPara fail, %s index=%d valueNum=%zu invalid",
                       appInfo.appName.c_str(), reading.index, reading.number);
            return false;
        case End::kComplete:
            break;
    }
    return true;
}

bool ReadApp(TextReader& reader, AppInfo& app)
{
    app.appName = ReadText(reader);
    app.optionType = ReadNumber<uint32_t>(reader);
    const auto argvSize = ReadNumber<uint64_t>(reader);
    if (argvSize > kMostArgs) {
        SERVER_LOG(GRP_LOG_WARN, "ChangeAppState owner unpack request argvSize=%lu > %lu", argvSize,
                   kMostArgs);
        return false;
    }
    app.args.reserve(argvSize);
    for (uint64_t i = 0; i < argvSize; ++i) {
        app.args.push_back(ReadText(reader));
    }
    return ReadParameters(reader, app);
}

// The verdict and one piece for each application. False if one is too long for any record.
bool MakePieces(bool result, const std::vector<AppChangeInfo>& appChangeInfo,
                std::vector<std::pair<int, std::string>>& pieces)
{
    pieces.emplace_back(2, result ? "1#" : "0#");
    for (const AppChangeInfo& app : appChangeInfo) {
        const std::string piece =
            app.appName + "#" + std::to_string(static_cast<uint32_t>(app.state)) + "#";
        if (piece.size() > kItemsCapacity) {
            SERVER_LOG(GRP_LOG_ERROR,
                       "ChangeAppState owner pack response failed size=%zu beyond %zu!!",
                       piece.size(), kDataCapacity);
            return false;
        }
        pieces.emplace_back(static_cast<int>(piece.size()), piece);
        SERVER_LOG(
            GRP_LOG_INFO,
            "ChangeAppState owner pack response app#(SU-0,TERM_F,START_F,RESTART_F,INIT)#: %s",
            piece.c_str());
    }
    return true;
}

}  // namespace

bool UnPackChangeAppInfoRequestMsg(const OwnerlinkRequestMsg* msg, std::vector<AppInfo>& appInfo)
{
    if (msg->size > kDataCapacity) {
        SERVER_LOG(GRP_LOG_ERROR, "request size=%lu bytes is invalid", msg->size);
        return false;
    }
    SERVER_MILESTONE("%s ChangeAppState owner unpack request:%s timeout=%d ms",
                     BootStrace(SS_SERVER_NAME).c_str(), PayloadText(*msg).c_str(), msg->timeout);
    TextReader reader(PayloadView(*msg));
    const auto appSize = ReadNumber<uint64_t>(reader);
    if (appSize > kMostApps) {
        SERVER_LOG(GRP_LOG_ERROR, "ChangeAppState owner unpack request appSize=%lu > %lu", appSize,
                   kMostApps);
        return false;
    }
    appInfo.resize(appSize);
    for (AppInfo& app : appInfo) {
        if (!ReadApp(reader, app)) {
            return false;
        }
    }
    return true;
}

bool UnPackDynamicPara(std::istringstream& stream, AppInfo& appInfo)
{
    return ReadParameters(stream, appInfo);
}

bool PackChangeAppInfoResponse(bool result, const std::vector<AppChangeInfo>& appChangeInfo,
                               OwnerlinkResponseMsg& resp)
{
    std::vector<std::pair<int, std::string>> pieces;
    if (!MakePieces(result, appChangeInfo, pieces)) {
        return false;
    }
    std::string text = std::to_string(pieces.size()) + "#";
    for (const auto& [length, piece] : pieces) {
        text += piece;
    }
    resp.size = text.size();
    if (memcpy_s(resp.data, kDataCapacity, text.data(), text.size()) != 0) {
        SERVER_LOG(GRP_LOG_ERROR, "memcpy_s failed, copy respStr=%s respStrSize=%lu failed",
                   text.c_str(), text.size());
        return false;
    }
    SERVER_MILESTONE("%s ChangeAppState owner pack response:%s", BootStrace(SS_SERVER_NAME).c_str(),
                     text.c_str());
    return true;
}

}  // namespace ProcMgr::SS
