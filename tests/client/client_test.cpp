#include "tests/client/client_test.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <memory>
#include <mutex>

namespace {

constexpr std::size_t kRecordSize = 3904;
constexpr std::size_t kTimeoutOffset = 8;
constexpr std::size_t kPayloadOffset = 12;

template <typename Number>
Number NumberAt(const std::vector<uint8_t>& bytes, std::size_t offset)
{
    Number number = 0;
    std::memcpy(&number, bytes.data() + offset, sizeof(number));
    return number;
}

}  // namespace

std::string ConfigOf(const std::vector<ConfigEntry>& entries)
{
    std::string text;
    int number = 0;
    for (const ConfigEntry& entry : entries) {
        text += "owner" + std::to_string(++number) + ":\n  OsType: " + std::to_string(entry.os) +
                "\n  GroupOwner: " + std::to_string(entry.group) + "\n  SecVfs: \"" +
                entry.resFileName + "\"\n";
    }
    return text;
}

ClientTest::ClientTest()
{
    platform::SetFirstDescriptor(7);
    platform::SetConfig(ConfigOf({{0, 0, kDataMaster}, {0, 1, kIam}, {0, 2, kAppMgr}}));
    platform::Hold("nanosleep");
}

std::vector<platform::LogRecord> ClientRecords()
{
    return ClientRecords(::testing::_);
}

std::vector<platform::LogRecord> ClientRecords(const TextMatcher& text)
{
    std::vector<platform::LogRecord> records = platform::Records();
    const auto isOther = [&](const platform::LogRecord& record) {
        return record.unit != "OwnerlinkClientImpl" || !text.Matches(record.text);
    };
    records.erase(std::remove_if(records.begin(), records.end(), isOther), records.end());
    return records;
}

platform::ExchangeScript Replies(const std::string& payload)
{
    return RepliesWithSize(payload.size(), payload);
}

platform::ExchangeScript RepliesWithSize(uint64_t size, const std::string& payload)
{
    return [size, payload](const std::string&, unsigned, IAMIoctlArg& arg) {
        std::memcpy(arg.buf, &size, sizeof(size));
        std::memcpy(static_cast<char*>(arg.buf) + kPayloadOffset, payload.data(), payload.size());
        return 0;
    };
}

platform::ExchangeScript FailsWith(int error)
{
    return [error](const std::string&, unsigned, IAMIoctlArg&) {
        errno = error;
        return -1;
    };
}

platform::ExchangeScript InTurn(const std::vector<platform::ExchangeScript>& scripts)
{
    struct Turns {
        std::mutex mutex;
        std::size_t next = 0;
    };
    const auto turns = std::make_shared<Turns>();
    return [turns, scripts](const std::string& resource, unsigned command, IAMIoctlArg& arg) {
        std::size_t turn = 0;
        {
            const std::lock_guard<std::mutex> lock(turns->mutex);
            turn = std::min(turns->next++, scripts.size() - 1);
        }
        return scripts[turn](resource, command, arg);
    };
}

std::vector<uint8_t> RecordBytes(const std::string& payload, int32_t timeout)
{
    std::vector<uint8_t> bytes(kRecordSize);
    const uint64_t size = payload.size();
    std::memcpy(bytes.data(), &size, sizeof(size));
    std::memcpy(bytes.data() + kTimeoutOffset, &timeout, sizeof(timeout));
    std::memcpy(bytes.data() + kPayloadOffset, payload.data(), payload.size());
    return bytes;
}

std::string PayloadOf(const platform::Exchange& exchange)
{
    const auto size = NumberAt<uint64_t>(exchange.request, 0);
    const char* const payload =
        reinterpret_cast<const char*>(exchange.request.data()) + kPayloadOffset;
    return std::string(payload, std::min<std::size_t>(size, kRecordSize - kPayloadOffset));
}

int32_t TimeoutOf(const platform::Exchange& exchange)
{
    return NumberAt<int32_t>(exchange.request, kTimeoutOffset);
}

std::vector<std::string> Payloads(const std::string& resource)
{
    std::vector<std::string> payloads;
    for (const platform::Exchange& exchange : platform::Exchanges(resource)) {
        payloads.push_back(PayloadOf(exchange));
    }
    return payloads;
}

std::vector<std::string> Commands()
{
    std::vector<std::string> commands;
    for (const platform::Exchange& exchange : platform::Exchanges()) {
        commands.push_back(exchange.resource + " " + std::to_string(exchange.command));
    }
    return commands;
}

std::vector<std::string> ExchangeCalls()
{
    return platform::Calls({"open", "IAMResetFileConfig", "ioctl", "close", "usleep"});
}

std::string BootTraced(const std::string& text)
{
    return "[12.345678s][BOOT_TRACE][SS_AGENT] " + text;
}

void SetBootTrace()
{
    platform::SetBootClock(std::chrono::microseconds(12345678));
}
