#include "tools/ctl/decode.h"

#include <ownerlink/wire.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>

#include "tools/ctl/names.h"
#include "tools/ctl/payload_fields.h"
#include "tools/ctl/report_json.h"
#include "tools/ctl/report_table.h"

namespace ctl {
namespace {

using ProcMgr::OwnerlinkRequestMsg;
using ProcMgr::OwnerlinkResponseMsg;

constexpr size_t kRecordSize = sizeof(OwnerlinkRequestMsg);
constexpr size_t kPayloadLimit = sizeof(OwnerlinkRequestMsg::data);
constexpr size_t kInputLimit = 1U << 20;

// One byte more than the limit tells that there is more.
std::string ReadSome(std::istream& from)
{
    std::string bytes(kInputLimit + 1, '\0');
    from.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    bytes.resize(static_cast<size_t>(from.gcount()));
    return bytes;
}

// False: `mistake` says why.
bool ReadInput(const std::string& file, std::string& bytes, std::string& mistake)
{
    if (file == "-") {
        bytes = ReadSome(std::cin);
        return true;
    }
    errno = 0;
    std::ifstream from(file, std::ios::binary);
    bytes = from ? ReadSome(from) : "";
    if (!from.is_open() || (bytes.empty() && errno != 0)) {
        mistake = file + ": " + std::strerror(errno);
        return false;
    }
    return true;
}

// A record starts with its size, whose upper bytes are zero, so it is never taken for digits.
bool IsHex(const std::string& bytes)
{
    return !bytes.empty() && std::all_of(bytes.begin(), bytes.end(), [](unsigned char byte) {
        return std::isxdigit(byte) != 0 || std::isspace(byte) != 0;
    });
}

// False for half a byte.
bool FromHex(const std::string& digits, std::string& to)
{
    std::string pair;
    for (const char digit : digits) {
        if (std::isspace(static_cast<unsigned char>(digit)) == 0) {
            pair += digit;
        }
        if (pair.size() == 2) {
            to += static_cast<char>(std::stoi(pair, nullptr, 16));
            pair.clear();
        }
    }
    return pair.empty();
}

template <typename Record>
Record RecordOf(const std::string& bytes)
{
    Record record;
    std::memcpy(&record, bytes.data(), std::min(bytes.size(), sizeof record));
    return record;
}

std::optional<bool> AcceptedRequest(const std::string& bytes, uint32_t command)
{
    const auto record = RecordOf<OwnerlinkRequestMsg>(bytes);
    int state = 0;
    std::vector<AppInfo> apps;
    std::map<std::string, unsigned int> pairs;
    switch (command) {
        case ProcMgr::SET_SYSTEM_STATE:
        case ProcMgr::CANCEL_SUSPEND:
            return ProcMgr::SS::UnPackSetSystemStateRequest(&record, state);
        case ProcMgr::CHANGE_APP:
            return ProcMgr::SS::UnPackChangeAppInfoRequestMsg(&record, apps);
        case ProcMgr::VERIFY_APP:
            return ProcMgr::SS::UnPackVerifyRequest(&record, pairs);
        default:
            return std::nullopt;
    }
}

std::optional<bool> AcceptedResponse(const std::string& bytes, uint32_t command)
{
    namespace Codec = Ownerlink::Serialization;
    const auto record = RecordOf<OwnerlinkResponseMsg>(bytes);
    bool verdict = false;
    std::map<std::string, AppChangeState> states;
    switch (command) {
        case ProcMgr::SET_SYSTEM_STATE:
        case ProcMgr::CANCEL_SUSPEND:
            return Codec::UnPackSetSystemStateResponse(record, verdict);
        case ProcMgr::CHANGE_APP:
            return Codec::UnPackChangeAppInfoResponseMsg(record, verdict, states);
        default:
            return std::nullopt;
    }
}

void AddHead(DecodedRecord& record)
{
    record.fields.push_back({0, 8, "size", std::to_string(record.size), ""});
    record.fields.push_back({8, 4, "timeout", std::to_string(record.timeOut),
                             record.timeOut == -1 ? "the owner's own" : "milliseconds"});
    if (record.size > kPayloadLimit) {
        record.notes.push_back("size exceeds " + std::to_string(kPayloadLimit) +
                               " bytes, which every reader refuses");
    }
}

std::string PayloadOf(const std::string& bytes, DecodedRecord& record)
{
    const auto wanted = static_cast<size_t>(std::min<uint64_t>(record.size, kPayloadLimit));
    std::string payload = bytes.substr(kPayloadOffset, wanted);
    if (payload.size() < wanted) {
        record.notes.push_back("only " + std::to_string(payload.size()) + " of " +
                               std::to_string(wanted) + " payload bytes were captured");
    }
    return payload;
}

void AddAcceptance(const std::string& bytes, DecodedRecord& record)
{
    if (record.command) {
        record.isAccepted = record.isResponse ? AcceptedResponse(bytes, *record.command)
                                              : AcceptedRequest(bytes, *record.command);
    }
    if (record.isAccepted) {
        record.notes.emplace_back(*record.isAccepted ? "the library reads it"
                                                     : "the library refuses it");
    }
}

std::string LengthMistake(size_t length)
{
    if (length >= kPayloadOffset && length <= kRecordSize) {
        return "";
    }
    return std::to_string(length) + " bytes are no record: it has " + std::to_string(kRecordSize) +
           ", of which those behind the payload may be left out";
}

// Turns hex digits into what they stand for; says what is wrong with it.
std::string TakeDigits(std::string& bytes)
{
    if (IsHex(bytes)) {
        std::string decoded;
        if (!FromHex(bytes, decoded)) {
            return "the last byte has one hex digit alone";
        }
        bytes = std::move(decoded);
    }
    return LengthMistake(bytes.size());
}

}  // namespace

DecodedRecord DecodeRecord(const std::string& bytes, const CommandLine& command)
{
    DecodedRecord record;
    std::memcpy(&record.size, bytes.data(), sizeof record.size);
    std::memcpy(&record.timeOut, bytes.data() + sizeof record.size, sizeof record.timeOut);
    record.command = command.command;
    record.isResponse = command.isResponse;
    AddHead(record);
    AddPayloadFields(PayloadOf(bytes, record), record);
    AddAcceptance(bytes, record);
    return record;
}

ExitCode Decode(const CommandLine& command, Output& output)
{
    std::string bytes;
    std::string mistake;
    if (ReadInput(command.file, bytes, mistake)) {
        mistake = TakeDigits(bytes);
    }
    if (!mistake.empty()) {
        output.Complain(mistake);
        return kFailed;
    }
    const DecodedRecord record = DecodeRecord(bytes, command);
    const bool isGood = record.isAccepted.value_or(true) && record.size <= kPayloadLimit &&
                        bytes.size() - kPayloadOffset >= record.size;
    const ExitCode exitCode = isGood ? kDone : kFailed;
    if (command.isJson) {
        output.Print(RecordToJson(record, exitCode));
    } else if (!command.isQuiet) {
        output.Print(FormatRecord(record, output.IsColoured()));
    }
    return exitCode;
}

}  // namespace ctl
