#include "fuzz/reader_reference.h"

#include "fuzz/plain_text.h"

namespace fuzz {
namespace {

std::string TextOf(uint64_t number)
{
    return std::to_string(number);
}

// Fields of 32 bits, lowest byte first, and byte strings with their length ahead of them.
class Bytes {
public:
    explicit Bytes(const std::string& bytes) : bytes_(bytes) {}

    bool HasLeft(uint64_t count) const { return bytes_.size() - at_ >= count; }

    bool TakeByte(unsigned& byte)
    {
        if (!HasLeft(1)) {
            return false;
        }
        byte = static_cast<unsigned char>(bytes_[at_]);
        ++at_;
        return true;
    }

    bool TakeNumber(uint32_t& number)
    {
        if (!HasLeft(4)) {
            return false;
        }
        number = 0;
        for (unsigned shift = 0; shift < 32; shift += 8) {
            unsigned byte = 0;
            TakeByte(byte);
            number += byte << shift;
        }
        return true;
    }

    bool TakeName(std::string& name)
    {
        uint32_t length = 0;
        if (!TakeNumber(length) || !HasLeft(length)) {
            return false;
        }
        name = bytes_.substr(at_, length);
        at_ += length;
        return true;
    }

private:
    const std::string bytes_;
    size_t at_ = 0;
};

bool ReadParametersFrom(PlainText& text, AppInfo& app, Complaints& complaints)
{
    const auto entries = text.Decimal<uint64_t>();
    const std::string name = app.appName.c_str();  // the log ends a text at its first zero byte
    const std::string failed = "ChangeAppState unpack request failed, " + name;
    if (entries > 3) {
        complaints.push_back(failed + " dynamicParaSize=" + TextOf(entries) + " invalid");
        return false;
    }
    app.dynamicPara = {};
    for (uint64_t entry = 1; entry <= entries; ++entry) {
        const int index = text.Decimal<int>();
        if (index > 2) {
            complaints.push_back(failed + " dynamicPara index=" + std::to_string(index) +
                                 " invalid");
            return false;
        }
        const auto values = text.Decimal<uint64_t>();
        if (values > 1024) {
            complaints.push_back("ChangeAppState unpack dynamicPara fail, " + name +
                                 " index=" + std::to_string(index) + " valueNum=" + TextOf(values) +
                                 " invalid");
            return false;
        }
        for (uint64_t value = 1; value <= values; ++value) {
            app.dynamicPara[index].push_back(text.UpToHash());
        }
    }
    return true;
}

bool ReadChange(PlainText& text, AppInfo& app, Complaints& complaints)
{
    app.appName = text.UpToHash();
    app.optionType = text.Decimal<uint32_t>();
    const auto args = text.Decimal<uint64_t>();
    if (args > 1024) {
        complaints.push_back("ChangeAppState owner unpack request argvSize=" + TextOf(args) +
                             " > 1024");
        return false;
    }
    for (uint64_t arg = 1; arg <= args; ++arg) {
        app.args.push_back(text.UpToHash());
    }
    return ReadParametersFrom(text, app, complaints);
}

}  // namespace

void ReadState(const std::string& text, int& state)
{
    PlainText(text).Extract(state);
}

bool ReadChanges(const std::string& text, std::vector<AppInfo>& apps, Complaints& complaints)
{
    PlainText fields(text);
    const auto count = fields.Decimal<uint64_t>();
    if (count > 1024) {
        complaints.push_back("ChangeAppState owner unpack request appSize=" + TextOf(count) +
                             " > 1024");
        return false;
    }
    apps.resize(count);
    for (AppInfo& app : apps) {
        if (!ReadChange(fields, app, complaints)) {
            return false;
        }
    }
    return true;
}

bool ReadParameters(const std::string& text, AppInfo& app, Complaints& complaints)
{
    PlainText fields(text);
    return ReadParametersFrom(fields, app, complaints);
}

bool ReadVerifyRecord(const std::string& text, std::map<std::string, unsigned int>& record,
                      Complaints& complaints)
{
    PlainText fields(text);
    const auto pairs = fields.Decimal<uint64_t>();
    if (pairs > 1024) {
        complaints.push_back("UnPackVerifyRequest appInfo size=" + TextOf(pairs) + " > 1024");
        return false;
    }
    for (uint64_t pair = 1; pair <= pairs; ++pair) {
        const std::string name = fields.UpToHash();
        const auto optionType = fields.Decimal<uint32_t>();
        record[name] = optionType;
    }
    return true;
}

bool ReadQuery(const std::string& bytes, QueryAppStatusMsg& query)
{
    Bytes fields(bytes);
    uint32_t count = 0;
    if (!fields.TakeNumber(count) || !fields.HasLeft(count)) {
        return false;
    }
    for (uint32_t name = 1; name <= count; ++name) {
        query.appList.emplace_back();
        if (!fields.TakeName(query.appList.back())) {
            return false;
        }
    }
    return fields.TakeNumber(query.queryType);
}

void ReadStateVerdict(const std::string& text, bool& verdict)
{
    PlainText(text).Extract(verdict);
}

bool ReadChangeStates(const std::string& text, bool& verdict,
                      std::map<std::string, AppChangeState>& states, Complaints& complaints)
{
    PlainText fields(text);
    const auto pieces = fields.Decimal<uint32_t>();
    fields.Extract(verdict);
    fields.SkipOne();
    if (pieces < 1 || pieces > 1024) {
        complaints.push_back("ChangeAppState unpack response appSize=" + TextOf(pieces) +
                             ", should at [1, 1024]");
        return false;
    }
    for (uint32_t pair = 1; pair <= pieces - 1; ++pair) {
        const std::string name = fields.UpToHash();
        const auto state = fields.Decimal<uint32_t>();
        states[name] = state > 6 ? INIT : AppChangeState{state};
    }
    return true;
}

bool ReadResult(const std::string& text)
{
    bool result = false;
    PlainText(text).Extract(result);
    return result;
}

bool ReadAppNames(const std::string& text, std::vector<std::string>& names)
{
    PlainText fields(text);
    bool verdict = true;
    fields.Extract(verdict);
    std::string name;
    while (fields.NextUpToHash(name)) {
        if (!name.empty()) {
            names.push_back(name);
        }
    }
    return verdict;
}

bool ReadAnswers(const std::string& bytes, bool& verdict, std::vector<AppStatus>& answers)
{
    Bytes fields(bytes);
    unsigned byte = 0;
    uint32_t count = 0;
    if (!fields.TakeByte(byte) || !fields.TakeNumber(count) || !fields.HasLeft(count)) {
        return false;
    }
    verdict = byte != 0;
    answers.resize(count);
    for (AppStatus& answer : answers) {
        uint32_t pid = 0;
        if (!fields.TakeName(answer.appName) || !fields.TakeNumber(pid)) {
            return false;
        }
        answer.pid = static_cast<int32_t>(pid);
        if (!fields.TakeNumber(answer.status)) {
            return false;
        }
    }
    return true;
}

uint32_t ReadEvent(const std::string& text)
{
    uint32_t state = 0;
    PlainText(text).Extract(state);
    return state;
}

}  // namespace fuzz
