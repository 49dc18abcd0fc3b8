// `ownerlinkctl decode`: any capture, as any command's request or response.
//
// The first byte chooses the command and the direction, the second the form of the output; the rest
// is the file. What is printed must be JSON, or have no control characters, and no field may lie
// outside the record.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>

#include "fuzz/script.h"
#include "fuzz/temporary_file.h"
#include "platform/fake/fake_platform.h"
#include "tools/ctl/decode.h"
#include "tools/ctl/report_json.h"
#include "tools/ctl/report_table.h"

namespace {

using fuzz::Require;

constexpr size_t kRecordSize = 3904;
constexpr size_t kPayloadOffset = 12;

ctl::CommandLine CommandOf(uint8_t choice, uint8_t form)
{
    ctl::CommandLine command;
    command.verb = ctl::Verb::kDecode;
    command.name = "decode";
    if (choice % 16 < 12) {
        command.command = choice % 16;
    }
    command.isResponse = (choice & 16U) != 0;
    command.isJson = form % 3 == 1;
    command.isQuiet = form % 3 == 2;
    return command;
}

bool IsPrintable(const std::string& text)
{
    return std::none_of(text.begin(), text.end(),
                        [](unsigned char c) { return (c < 0x20 && c != '\n') || c == 0x7f; });
}

// Standard output goes nowhere while it lives.
class SilentOutput {
public:
    SilentOutput() : saved_(dup(STDOUT_FILENO))
    {
        static const int null = open("/dev/null", O_WRONLY | O_CLOEXEC);
        Require(saved_ >= 0 && dup2(null, STDOUT_FILENO) >= 0);
    }
    SilentOutput(const SilentOutput&) = delete;
    SilentOutput& operator=(const SilentOutput&) = delete;
    ~SilentOutput()
    {
        dup2(saved_, STDOUT_FILENO);
        close(saved_);
    }

private:
    int saved_;
};

// What the program would print is looked at below.
void RunVerb(const ctl::CommandLine& command)
{
    static ctl::Output output;
    const SilentOutput silence;
    const ctl::ExitCode code = ctl::Decode(command, output);
    Require(code == ctl::kDone || code == ctl::kFailed);
}

void DecodeBytes(const std::string& bytes, const ctl::CommandLine& command)
{
    if (bytes.size() < kPayloadOffset || bytes.size() > kRecordSize) {
        return;
    }
    const ctl::DecodedRecord record = ctl::DecodeRecord(bytes, command);
    for (const ctl::Field& field : record.fields) {
        Require(field.offset <= bytes.size() && field.length <= bytes.size() - field.offset);
    }
    if (command.isJson) {
        Require(nlohmann::json::accept(ctl::RecordToJson(record, ctl::kDone)));
    } else {
        Require(IsPrintable(ctl::FormatRecord(record, false)));
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const fuzz::TemporaryFile file;
    fuzz::Script script(data, size);
    const auto choice = script.Take<uint8_t>();
    ctl::CommandLine command = CommandOf(choice, script.Take<uint8_t>());
    const std::string bytes = script.TakeBytes(size);
    file.Fill(bytes);
    command.file = file.Path();
    RunVerb(command);
    DecodeBytes(bytes, command);
    OwnerlinkFake::ClearHistory();
    return 0;
}
