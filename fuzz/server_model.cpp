#include "fuzz/server_model.h"

#include <algorithm>
#include <map>

#include "fuzz/reader_reference.h"

namespace fuzz {
namespace {

using ProcMgr::OwnerlinkRequestMsg;

constexpr size_t kMostPayload = 3888;
constexpr size_t kMostPiece = 3887;
constexpr size_t kPayloadAndPadding = 3892;
constexpr int kWorking = 1;
constexpr int kSuspendPre = 258;
constexpr int64_t kCancelMs = 50;

bool IsGoodSize(const OwnerlinkRequestMsg& request)
{
    return request.size <= kMostPayload;
}

std::string BytesOf(const OwnerlinkRequestMsg& request, size_t most)
{
    const char* const data = reinterpret_cast<const char*>(&request) + 12;
    return std::string(data, static_cast<size_t>(std::min<uint64_t>(request.size, most)));
}

// A text that is too long is not copied, and its size stays.
Response TextResponse(const std::string& text)
{
    return {text.size(), text.size() <= kMostPayload ? text : ""};
}

std::string Digit(bool verdict)
{
    return verdict ? "1" : "0";
}

void Append(std::string& bytes, uint32_t number)
{
    for (unsigned shift = 0; shift < 32; shift += 8) {
        bytes += static_cast<char>(number >> shift);
    }
}

std::vector<AppInfoForServer> AppsOf(const std::vector<AppInfo>& apps, uint32_t optionType)
{
    std::vector<AppInfoForServer> chosen;
    for (const AppInfo& app : apps) {
        if (app.optionType == optionType) {
            chosen.emplace_back(app.appName, app.args);
            if (optionType != 1) {
                chosen.back().dynamicPara = app.dynamicPara;
            }
        }
    }
    return chosen;
}

Response ChangeResponse(bool verdict, const Reply& reply)
{
    std::string text = std::to_string(reply.names.size() + 1) + "#" + Digit(verdict) + "#";
    for (const std::string& name : reply.names) {
        const std::string piece = name + "#" + std::to_string(reply.number) + "#";
        if (piece.size() > kMostPiece) {
            return {};
        }
        text += piece;
    }
    return TextResponse(text);
}

}  // namespace

Response ServerModel::Answer(uint32_t command, const OwnerlinkRequestMsg& request,
                             const Reply& reply, OutcomeText& asked)
{
    const auto plain = [&](bool isRegistered, const char* name) {
        if (isRegistered) {
            asked << std::string(name);
        }
        return TextResponse(Digit(isRegistered && reply.verdict));
    };
    switch (command) {
        case 0:
            return Change(request, reply, asked);
        case 2:
            return State(request, reply, asked);
        case 3:
            return plain(registered_.reload, "reload");
        case 4:
            return plain(registered_.dump, "dump");
        case 5:
            return plain(registered_.stopAll, "stopAll");
        case 6:
            return List(reply, asked);
        case 8:
            return Verify(request, reply, asked);
        case 9:
            return Query(request, reply, asked);
        case 10:
            return Cancel(request, reply, asked);
        default:
            return {};
    }
}

// Whatever a bad request has left is carried out.
Response ServerModel::Change(const OwnerlinkRequestMsg& request, const Reply& reply,
                             OutcomeText& asked) const
{
    std::vector<AppInfo> apps;
    Complaints complaints;
    if (IsGoodSize(request)) {
        ReadChanges(BytesOf(request, kMostPayload), apps, complaints);
    }
    if (!registered_.change && !registered_.changeWithTimeOut) {
        return ChangeResponse(false, {});
    }
    asked << std::string("change") << AppsOf(apps, 1) << AppsOf(apps, 0) << AppsOf(apps, 2)
          << (registered_.changeWithTimeOut ? request.timeout : -77);
    return ChangeResponse(reply.verdict, reply);
}

Response ServerModel::State(const OwnerlinkRequestMsg& request, const Reply& reply,
                            OutcomeText& asked)
{
    int state = -1;
    if (IsGoodSize(request)) {
        ReadState(BytesOf(request, kMostPayload), state);
    }
    state_ = state;
    isCancelPending_ = isCancelPending_ && now_ - cancelledAt_ <= kCancelMs;
    if (state == kSuspendPre && isCancelPending_) {
        isCancelPending_ = false;
        state_ = kWorking;
        return TextResponse("0#");
    }
    if (!registered_.state && !registered_.stateWithTimeOut) {
        return TextResponse("0#");
    }
    asked << std::string("state") << state
          << (registered_.stateWithTimeOut ? request.timeout : -77);
    return TextResponse(Digit(reply.verdict) + "#");
}

Response ServerModel::Cancel(const OwnerlinkRequestMsg& request, const Reply& reply,
                             OutcomeText& asked)
{
    cancelledAt_ = now_;
    isCancelPending_ = true;
    const bool hasSuspend = state_ == kSuspendPre;
    state_ = kWorking;
    if (!hasSuspend || !registered_.cancel) {
        return TextResponse("0#");
    }
    asked << std::string("cancel") << kWorking << request.timeout;
    return TextResponse(Digit(reply.verdict) + "#");
}

Response ServerModel::List(const Reply& reply, OutcomeText& asked) const
{
    if (!registered_.list) {
        return TextResponse("0#");
    }
    asked << std::string("list");
    std::string text = Digit(reply.verdict) + "#";
    for (const std::string& name : reply.names) {
        text += reply.verdict ? name + "#" : "";
    }
    return TextResponse(text);
}

Response ServerModel::Verify(const OwnerlinkRequestMsg& request, const Reply& reply,
                             OutcomeText& asked) const
{
    if (!registered_.verify) {
        return TextResponse("0");
    }
    std::map<std::string, unsigned int> record;
    Complaints complaints;
    if (IsGoodSize(request)) {
        ReadVerifyRecord(BytesOf(request, kMostPayload), record, complaints);
    }
    asked << std::string("verify") << record;
    return TextResponse(Digit(reply.verdict));
}

Response ServerModel::Query(const OwnerlinkRequestMsg& request, const Reply& reply,
                            OutcomeText& asked) const
{
    std::string bytes = {'\0', '\0', '\0', '\0', '\0'};
    if (!registered_.query) {
        return {bytes.size(), bytes};
    }
    QueryAppStatusMsg query;
    if (!ReadQuery(BytesOf(request, kPayloadAndPadding), query)) {
        return {};
    }
    asked << std::string("query") << query.appList << request.timeout << query.queryType;
    bytes = reply.verdict ? "\1" : std::string(1, '\0');
    Append(bytes, static_cast<uint32_t>(reply.names.size()));
    for (const std::string& name : reply.names) {
        Append(bytes, static_cast<uint32_t>(name.size()));
        bytes += name;
        Append(bytes, reply.number);
        Append(bytes, reply.number);
    }
    return bytes.size() <= kMostPayload ? Response{bytes.size(), bytes} : Response{};
}

}  // namespace fuzz
