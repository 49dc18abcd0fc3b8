#include "tools/ctl/payload_fields.h"

#include <ownerlink/enum_text.h>
#include <ownerlink/wire.h>

#include <cctype>
#include <cstring>

#include "tools/ctl/names.h"

namespace ctl {
namespace {

constexpr size_t kHexLine = 16;

// Takes one field after the other. Reading beyond the end is noted once and gives nothing.
class PayloadReader {
public:
    PayloadReader(const std::string& payload, DecodedRecord& record)
        : payload_(payload), record_(record)
    {
    }

    bool HasMore() const { return at_ < payload_.size(); }
    bool IsWhole() const { return isWhole_; }

    std::string Text(const std::string& name);
    long Number(const std::string& name, std::string (*meaning)(unsigned long) = nullptr);
    void Verdict(const std::string& name);

    uint32_t Binary(const std::string& name, size_t width = sizeof(uint32_t));
    void Bytes(const std::string& name, size_t length);
    void Hex();

private:
    void Add(const std::string& name, size_t length, const std::string& text);
    void EndEarly(const std::string& name);
    Field& Last() { return record_.fields.back(); }

    const std::string& payload_;
    DecodedRecord& record_;
    size_t at_ = 0;
    bool isWhole_ = true;
};

void PayloadReader::Add(const std::string& name, size_t length, const std::string& text)
{
    record_.fields.push_back({kPayloadOffset + at_, length, name, text, ""});
    at_ += length;
}

void PayloadReader::EndEarly(const std::string& name)
{
    if (isWhole_) {
        record_.notes.push_back("the payload ends before: " + name);
        isWhole_ = false;
    }
}

std::string PayloadReader::Text(const std::string& name)
{
    if (!HasMore()) {
        EndEarly(name);
        return "";
    }
    const size_t end = payload_.find('#', at_);
    std::string text = payload_.substr(at_, end - at_);
    if (end == std::string::npos) {
        record_.notes.push_back("no '#' ends: " + name);
    }
    Add(name, text.size() + (end == std::string::npos ? 0 : 1), text);
    return text;
}

long PayloadReader::Number(const std::string& name, std::string (*meaning)(unsigned long))
{
    const size_t before = record_.fields.size();
    const std::string text = Text(name);
    char* end = nullptr;
    const long number = std::strtol(text.c_str(), &end, 10);
    if (record_.fields.size() != before) {
        if (text.empty() || *end != '\0') {
            record_.notes.push_back("no number: " + name + " \"" + text + '"');
        } else if (meaning != nullptr) {
            Last().meaning = meaning(static_cast<unsigned long>(number));
        }
    }
    return number;
}

std::string VerdictText(unsigned long number)
{
    return number == 0 ? "refused" : "accepted";
}

void PayloadReader::Verdict(const std::string& name)
{
    Number(name, VerdictText);
}

uint32_t PayloadReader::Binary(const std::string& name, size_t width)
{
    if (!isWhole_ || payload_.size() - at_ < width) {
        EndEarly(name);
        return 0;
    }
    uint32_t number = 0;
    std::memcpy(&number, payload_.data() + at_, width);
    Add(name, width, std::to_string(number));
    return number;
}

void PayloadReader::Bytes(const std::string& name, size_t length)
{
    if (!isWhole_ || payload_.size() - at_ < length) {
        EndEarly(name);
    } else if (length != 0) {
        Add(name, length, payload_.substr(at_, length));
    }
}

void PayloadReader::Hex()
{
    while (HasMore()) {
        const std::string line = payload_.substr(at_, kHexLine);
        std::string digits;
        std::string text;
        for (const char character : line) {
            const auto byte = static_cast<unsigned char>(character);
            constexpr char kDigits[] = "0123456789abcdef";
            digits += {kDigits[byte >> 4], kDigits[byte & 0xf], ' '};
            text += std::isprint(byte) != 0 ? character : '.';
        }
        Add("bytes", line.size(), digits);
        Last().meaning = text;
    }
}

std::string Nth(const std::string& name, long index)
{
    return name + ' ' + std::to_string(index + 1);
}

void ReadDynamic(PayloadReader& reader)
{
    const long entries = reader.Number("parameters");
    for (long entry = 0; entry < entries && reader.IsWhole(); ++entry) {
        reader.Number("  index");
        const long values = reader.Number("  values");
        for (long value = 0; value < values && reader.IsWhole(); ++value) {
            reader.Text("    " + Nth("value", value));
        }
    }
}

void ReadChangeRequest(PayloadReader& reader)
{
    const long apps = reader.Number("applications");
    for (long app = 0; app < apps && reader.IsWhole(); ++app) {
        reader.Text(Nth("application", app));
        reader.Number("option", ProcMgr::GetOptionType);
        const long args = reader.Number("arguments");
        for (long arg = 0; arg < args && reader.IsWhole(); ++arg) {
            reader.Text("  " + Nth("argument", arg));
        }
        ReadDynamic(reader);
    }
}

void ReadChangeResponse(PayloadReader& reader)
{
    const long pieces = reader.Number("pieces (one more than applications)");
    reader.Verdict("verdict");
    for (long app = 0; app + 1 < pieces && reader.IsWhole(); ++app) {
        reader.Text(Nth("application", app));
        reader.Number("state", ProcMgr::GetAppState);
    }
}

void ReadVerifyRequest(PayloadReader& reader)
{
    const long pairs = reader.Number("pairs");
    for (long pair = 0; pair < pairs && reader.IsWhole(); ++pair) {
        reader.Text(Nth("application", pair));
        reader.Number("option", ProcMgr::GetOptionType);
    }
}

void ReadList(PayloadReader& reader)
{
    reader.Verdict("verdict");
    for (long app = 0; reader.HasMore(); ++app) {
        reader.Text(Nth("application", app));
    }
}

void ReadQueryRequest(PayloadReader& reader)
{
    const uint32_t names = reader.Binary("names");
    for (uint32_t name = 0; name < names && reader.IsWhole(); ++name) {
        reader.Bytes(Nth("name", name), reader.Binary("  length"));
    }
    reader.Binary("query type");
}

void ReadQueryResponse(PayloadReader& reader, DecodedRecord& record)
{
    reader.Binary("verdict", 1);
    if (reader.IsWhole()) {
        record.fields.back().meaning = VerdictText(record.fields.back().text == "0" ? 0 : 1);
    }
    const uint32_t entries = reader.Binary("applications");
    for (uint32_t entry = 0; entry < entries && reader.IsWhole(); ++entry) {
        reader.Bytes(Nth("application", entry), reader.Binary("  length"));
        const auto pid = static_cast<int32_t>(reader.Binary("  pid"));
        if (reader.IsWhole()) {
            record.fields.back().text = std::to_string(pid);
        }
        const uint32_t status = reader.Binary("  status");
        if (reader.IsWhole()) {
            record.fields.back().meaning = ProcMgr::GetAppExecStateStr(status);
        }
    }
}

void ReadRequest(PayloadReader& reader, uint32_t command)
{
    switch (command) {
        case ProcMgr::CHANGE_APP:
            return ReadChangeRequest(reader);
        case ProcMgr::SET_SYSTEM_STATE:
        case ProcMgr::CANCEL_SUSPEND:
            reader.Number("state", ProcMgr::GetSysState);
            return;
        case ProcMgr::VERIFY_APP:
            return ReadVerifyRequest(reader);
        case ProcMgr::QUERY_APP_STATE:
            return ReadQueryRequest(reader);
        default:
            return;
    }
}

void ReadResponse(PayloadReader& reader, uint32_t command, DecodedRecord& record)
{
    switch (command) {
        case ProcMgr::CHANGE_APP:
            return ReadChangeResponse(reader);
        case ProcMgr::SET_SYSTEM_STATE:
        case ProcMgr::CANCEL_SUSPEND:
            return reader.Verdict("verdict");
        case ProcMgr::RELOAD_CFG:
        case ProcMgr::DUMP_APP:
        case ProcMgr::STOP_ALL_APP:
        case ProcMgr::VERIFY_APP:
            reader.Bytes("result", 1);
            if (reader.IsWhole()) {
                record.fields.back().meaning =
                    VerdictText(record.fields.back().text == "0" ? 0 : 1);
            }
            return;
        case ProcMgr::QUERY_APP_LIST:
            return ReadList(reader);
        case ProcMgr::QUERY_APP_STATE:
            return ReadQueryResponse(reader, record);
        default:
            return;
    }
}

}  // namespace

void AddPayloadFields(const std::string& payload, DecodedRecord& record)
{
    PayloadReader reader(payload, record);
    if (!record.command) {
        reader.Hex();
        return;
    }
    if (record.isResponse) {
        ReadResponse(reader, *record.command, record);
    } else {
        ReadRequest(reader, *record.command);
    }
    if (reader.HasMore()) {
        record.notes.emplace_back("bytes behind the last field:");
        reader.Hex();
    }
}

}  // namespace ctl
