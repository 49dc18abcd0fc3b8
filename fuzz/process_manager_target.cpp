#include "fuzz/process_manager_target.h"

#include <algorithm>
#include <cctype>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <string_view>
#include <utility>

namespace fuzz {
namespace {

std::vector<Record> written;

bool IsNumber(std::string_view text)
{
    return !text.empty() && text.size() <= 20 &&
           text.find_first_not_of("0123456789") == std::string_view::npos;
}

void Write(int priority, const char* format, va_list arguments)
{
    char text[512];  // longer than any record of the unpackers
    std::vsnprintf(text, sizeof text, format, arguments);
    written.push_back({priority, text});
}

void Print(const char* title, const std::vector<Record>& records)
{
    std::cerr << title << "\n";
    for (const Record& record : records) {
        std::cerr << "  " << record.priority << " " << record.text << "\n";
    }
}

}  // namespace

std::unique_ptr<const RequestMsg> RecordOf(const uint8_t* input, size_t size)
{
    const std::string_view text(reinterpret_cast<const char*>(input), size);
    const size_t lineEnd = std::min(text.find('\n'), text.size());
    const std::string line(text.substr(0, lineEnd));
    const std::string_view payload = text.substr(std::min(lineEnd + 1, text.size()));
    auto msg = std::make_unique<RequestMsg>();
    msg->size = IsNumber(line) ? std::strtoull(line.c_str(), nullptr, 10) : payload.size();
    std::copy_n(payload.begin(), std::min(payload.size(), sizeof msg->data), msg->data);
    std::memcpy(&msg->reserved3980, "9#9#", sizeof msg->reserved3980);  // to be seen if it is read
    return msg;
}

std::string TextOf(const RequestMsg& msg)
{
    return {msg.data, static_cast<size_t>(std::min<uint64_t>(msg.size, 3964))};
}

std::vector<Record> TakeSyslog()
{
    return std::exchange(written, {});
}

void CompareSyslog(const std::vector<Record>& expected)
{
    const auto got = TakeSyslog();
    if (got != expected) {
        Print("syslog has:", got);
        Print("and should have:", expected);
        std::abort();
    }
}

void RequireSameOutput(bool isSame)
{
    if (!isSame) {
        std::cerr << "the outputs differ\n";
        std::abort();
    }
}

}  // namespace fuzz

// In the place of the system's, and of its fortified form, which some builds call instead.
extern "C" void syslog(int priority, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    fuzz::Write(priority, format, arguments);
    va_end(arguments);
}

// NOLINTNEXTLINE(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
extern "C" void __syslog_chk(int priority, int /*flag*/, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    fuzz::Write(priority, format, arguments);
    va_end(arguments);
}
