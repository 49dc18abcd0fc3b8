// What the tests of the client end share: a client over three owners, records that are the client's
// own, and owners that answer as told.
#ifndef OWNERLINK_TESTS_CLIENT_CLIENT_TEST_H
#define OWNERLINK_TESTS_CLIENT_CLIENT_TEST_H

#include <cstdint>
#include <future>
#include <string>
#include <vector>

#include "client/OwnerlinkClientImpl.h"
#include "tests/support/platform_test.h"

inline constexpr char kDataMaster[] = "dp:/res/dm";
inline constexpr char kIam[] = "dp:/res/iam";
inline constexpr char kAppMgr[] = "dp:/res/app";

// One entry of the configuration file.
struct ConfigEntry {
    int os;
    int group;
    std::string resFileName;
};

std::string ConfigOf(const std::vector<ConfigEntry>& entries);

// A client whose table holds the three groups of domain 0. Descriptors are numbered from 7. The
// watch, where a test starts it, stands still in its first sleep until it is stepped.
class ClientTest : public PlatformTest {
protected:
    ClientTest();
    // Lets every thread go that the client's destructor is about to join.
    ~ClientTest() override { platform::Reset(); }

    Ownerlink::OwnerlinkClientImpl client;
};

// ---- Log records ----

inline RecordMatcher OfClient(const RecordMatcher& record)
{
    return FromUnit("OwnerlinkClientImpl", record);
}
inline RecordMatcher Info(const TextMatcher& text)
{
    return OfClient(InfoRecord(kClientModule, text));
}
inline RecordMatcher Warning(const TextMatcher& text)
{
    return OfClient(WarningRecord(kClientModule, text));
}
inline RecordMatcher Error(const TextMatcher& text)
{
    return OfClient(ErrorRecord(kClientModule, text));
}
inline RecordMatcher Milestone(const TextMatcher& text)
{
    return OfClient(MilestoneRecord(kClientModule, text));
}

// Records of the unit OwnerlinkClientImpl alone, without those of the codecs and of syslog.
std::vector<platform::LogRecord> ClientRecords();

// Those of them that `text` matches.
std::vector<platform::LogRecord> ClientRecords(const TextMatcher& text);

// ---- Exchanges ----

// Overwrites the size and the payload of the request, and nothing else, as an owner's end does.
platform::ExchangeScript Replies(const std::string& payload);

// The same with a size that need not be the payload's.
platform::ExchangeScript RepliesWithSize(uint64_t size, const std::string& payload);

// Fails the exchange with `error`.
platform::ExchangeScript FailsWith(int error);

// Answers one exchange after the other; the last script goes on answering.
platform::ExchangeScript InTurn(const std::vector<platform::ExchangeScript>& scripts);

// The whole record of 3904 bytes that carries `payload`.
std::vector<uint8_t> RecordBytes(const std::string& payload, int32_t timeout);

// What the request of an exchange carried.
std::string PayloadOf(const platform::Exchange& exchange);
int32_t TimeoutOf(const platform::Exchange& exchange);
std::vector<std::string> Payloads(const std::string& resource);

// The commands of all exchanges as "resource command", in the order in which they began.
std::vector<std::string> Commands();

// The calls that make up exchanges: open, IAMResetFileConfig, ioctl, close and usleep.
std::vector<std::string> ExchangeCalls();

// Runs a call that a test keeps waiting. The future's destructor waits for its end.
template <typename Call>
auto InBackground(Call call)
{
    return std::async(std::launch::async, call);
}

// `text` behind the boot trace of the client end at 12.345678 seconds since boot.
std::string BootTraced(const std::string& text);
void SetBootTrace();

#endif
