// A list of application changes to an owner, and the state of each application back, as fields that
// each end in '#'. There is no escape: a text with a '#' in it breaks the reader's alignment.

#include "wire/change_app_codec.h"

#include <sstream>

#include "foundation/make_room.h"
#include "foundation/ordered_walk.h"
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

size_t SizeOf(const std::vector<std::string>& texts)
{
    size_t size = 0;
    for (const std::string& text : texts) {
        size += text.size() + 1;
    }
    return size;
}

// About as much as the items take. A text that grows by doubling would hold as much again, and what
// it has outgrown; the allocator gives that much back to the system, to be mapped anew next time.
size_t RoomFor(const ChangeShare& share)
{
    constexpr size_t kNumbers = 10;
    size_t size = 0;
    for (const AppInfo* const app : share) {
        size += app->appName.size() + kNumbers + SizeOf(app->args);
        for (const auto& [index, values] : app->dynamicPara) {
            size += kNumbers + SizeOf(values);
        }
    }
    return size;
}

// Appends the item of an application to the writer's text. False if no record takes it.
bool WriteItem(ProcMgr::TextWriter& writer, const AppInfo& app)
{
    const size_t start = writer.Text().size();
    writer << app.appName << '#' << app.optionType << '#' << static_cast<uint32_t>(app.args.size())
           << '#';
    for (const std::string& arg : app.args) {
        writer << arg << '#';
    }
    if (!WriteDynamicPara(writer, app)) {
        return false;
    }
    const size_t size = writer.Text().size() - start;
    if (size > kItemsCapacity) {
        CLIENT_LOG(kFailure, "ChangeAppState pack request failed, size=%lu beyond %lu!!", size,
                   kDataCapacity);
        return false;
    }
    CLIENT_MILESTONE("ChangeAppState pack request app#(START-0,TERM,RESTART)#argSize#arg: %s",
                     writer.CText(start));
    return true;
}

// Calls `setState` with each application that the owner names.
template <typename SetState>
bool ReadResponse(const ProcMgr::OwnerlinkResponseMsg& resp, bool& result, const SetState& setState)
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
        const std::string_view name = ProcMgr::ReadTextView(reader);
        const auto state = ReadNumber<uint32_t>(reader);
        setState(name, state > START_FAILED_BY_EIO ? INIT : static_cast<AppChangeState>(state));
    }
    return true;
}

}  // namespace

bool PackChangeAppInfoRequest(const std::vector<AppInfo>& appInfo,
                              std::vector<std::pair<unsigned int, std::string>>& packedRequest)
{
    ProcMgr::TextWriter writer;
    ProcMgr::MakeRoom(packedRequest, appInfo.size());
    for (const AppInfo& app : appInfo) {
        writer.Clear();
        if (!WriteItem(writer, app)) {
            return false;
        }
        const std::string_view text = writer.Text();
        packedRequest.emplace_back(static_cast<unsigned int>(text.size()), text);
    }
    return true;
}

bool PackChangeShare(const ChangeShare& share, ProcMgr::TextWriter& writer,
                     std::vector<ProcMgr::ItemView>& items)
{
    writer.Reserve(RoomFor(share));
    items.reserve(share.size());
    for (const AppInfo* const app : share) {
        const size_t start = writer.Text().size();
        if (!WriteItem(writer, *app)) {
            return false;
        }
        items.emplace_back(static_cast<unsigned int>(writer.Text().size() - start), "");
    }
    std::string_view left = writer.Text();  // which moves no more
    for (ProcMgr::ItemView& item : items) {
        item.second = left.substr(0, item.first);
        left.remove_prefix(item.first);
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
    ProcMgr::OrderedWalk states(appState);
    return ReadResponse(resp, result, [&states](std::string_view name, AppChangeState state) {
        states.ValueOf(name) = state;
    });
}

bool UnPackChangeStates(const ProcMgr::OwnerlinkResponseMsg& resp, bool& result,
                        ChangeStates& states)
{
    return ReadResponse(resp, result, [&states](std::string_view name, AppChangeState state) {
        states.Set(name, state);
    });
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
        app.args.emplace_back(ReadTextView(reader));
    }
    return ReadParameters(reader, app);
}

// How many pieces there are, then the verdict, then one piece for each application. False if one is
// too long for any record.
bool WriteResponse(bool result, const std::vector<AppChangeInfo>& appChangeInfo, TextWriter& writer)
{
    writer << appChangeInfo.size() + 1 << '#' << static_cast<uint32_t>(result) << '#';
    for (const AppChangeInfo& app : appChangeInfo) {
        const size_t start = writer.Text().size();
        writer << app.appName << '#' << static_cast<uint32_t>(app.state) << '#';
        const size_t size = writer.Text().size() - start;
        if (size > kItemsCapacity) {
            SERVER_LOG(GRP_LOG_ERROR,
                       "ChangeAppState owner pack response failed size=%zu beyond %zu!!", size,
                       kDataCapacity);
            return false;
        }
        SERVER_LOG(
            GRP_LOG_INFO,
            "ChangeAppState owner pack response app#(SU-0,TERM_F,START_F,RESTART_F,INIT)#: %s",
            writer.CText(start));
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
    TextWriter writer;
    if (!WriteResponse(result, appChangeInfo, writer)) {
        return false;
    }
    const std::string_view text = writer.Text();
    resp.size = text.size();
    if (memcpy_s(resp.data, kDataCapacity, text.data(), text.size()) != 0) {
        SERVER_LOG(GRP_LOG_ERROR, "memcpy_s failed, copy respStr=%s respStrSize=%lu failed",
                   writer.CText(), text.size());
        return false;
    }
    SERVER_MILESTONE("%s ChangeAppState owner pack response:%s", BootStrace(SS_SERVER_NAME).c_str(),
                     writer.CText());
    return true;
}

}  // namespace ProcMgr::SS
