// What the tests of the server end share: a server, requests to it as the platform hands them in,
// and the records that are the server's own.
#ifndef OWNERLINK_TESTS_SERVER_SERVER_TEST_H
#define OWNERLINK_TESTS_SERVER_SERVER_TEST_H

#include <ownerlink/wire.h>

#include <cstdint>
#include <cstring>
#include <future>
#include <string>
#include <vector>

#include "server/ownerlink_server_impl.h"
#include "tests/server/server_internals.h"
#include "tests/support/platform_test.h"

inline constexpr char kResFile[] = "dp:/res/app";
inline constexpr int kNotRegistered = 15794954;
inline constexpr int kBadArgument = -15794176;
inline constexpr int kCopyFailed = -15794179;

// What stands in the client's buffer after a request, and the hook's result.
struct Answer {
    int result = 0;
    std::vector<char> buffer;

    uint64_t Size() const;
    int32_t Timeout() const;
    std::string Payload() const;                           // of the size that it claims
    std::string Bytes(size_t offset, size_t count) const;  // of the whole buffer
};

class ServerTest : public PlatformTest {
protected:
    ProcMgr::OwnerlinkServerImpl server;
};

ProcMgr::OwnerlinkRequestMsg RequestOf(const std::string& payload, int32_t timeout = 5000);

// Sends a request through the hook on a buffer of its own.
Answer Send(unsigned int command, const ProcMgr::OwnerlinkRequestMsg& request);
Answer Send(unsigned int command, const std::string& payload = "", int32_t timeout = 5000);

// Lets the handler work on a response that the test sees whole.
ProcMgr::OwnerlinkResponseMsg Handle(unsigned int command,
                                     const ProcMgr::OwnerlinkRequestMsg& request);

// ---- Log records ----

inline RecordMatcher OfServer(const RecordMatcher& record)
{
    return FromUnit("ownerlink_server_impl", record);
}
inline RecordMatcher Info(const TextMatcher& text)
{
    return OfServer(InfoRecord(kServerModule, text));
}
inline RecordMatcher Warning(const TextMatcher& text)
{
    return OfServer(WarningRecord(kServerModule, text));
}
inline RecordMatcher Error(const TextMatcher& text)
{
    return OfServer(ErrorRecord(kServerModule, text));
}

// The codecs' records.
inline RecordMatcher CodecInfo(const TextMatcher& text)
{
    return FromUnit("ownerlink_serialization", InfoRecord(kServerModule, text));
}
inline RecordMatcher CodecError(const TextMatcher& text)
{
    return FromUnit("ownerlink_serialization", ErrorRecord(kServerModule, text));
}
inline RecordMatcher CodecMilestone(const TextMatcher& text)
{
    return FromUnit("ownerlink_serialization", MilestoneRecord(kServerModule, text));
}

// Records of the unit ownerlink_server_impl alone, without those of the codecs and of syslog.
std::vector<platform::LogRecord> ServerRecords();

// `text` behind the boot trace of the server end at 12.345678 seconds since boot.
std::string BootTraced(const std::string& text);
void SetBootTrace();

// Runs a call that a test keeps waiting. The future's destructor waits for its end.
template <typename Call>
auto InBackground(Call call)
{
    return std::async(std::launch::async, call);
}

#endif
