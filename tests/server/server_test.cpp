#include "tests/server/server_test.h"

#include <algorithm>
#include <chrono>

namespace {

using ProcMgr::OwnerlinkRequestMsg;
using ProcMgr::OwnerlinkServerImpl;

constexpr size_t kTimeoutOffset = 8;
constexpr size_t kPayloadOffset = 12;

}  // namespace

uint64_t Answer::Size() const
{
    uint64_t size = 0;
    std::memcpy(&size, buffer.data(), sizeof(size));
    return size;
}

int32_t Answer::Timeout() const
{
    int32_t timeout = 0;
    std::memcpy(&timeout, buffer.data() + kTimeoutOffset, sizeof(timeout));
    return timeout;
}

std::string Answer::Payload() const
{
    return Bytes(kPayloadOffset, Size());
}

std::string Answer::Bytes(size_t offset, size_t count) const
{
    return std::string(buffer.data(), buffer.size()).substr(offset, count);
}

OwnerlinkRequestMsg RequestOf(const std::string& payload, int32_t timeout)
{
    OwnerlinkRequestMsg request;
    request.size = payload.size();
    request.timeout = timeout;
    std::copy_n(payload.begin(), std::min(payload.size(), sizeof(request.data)), request.data);
    return request;
}

Answer Send(unsigned int command, const OwnerlinkRequestMsg& request)
{
    OwnerlinkRequestMsg buffer = request;
    IAMIoctlArg arg{sizeof(buffer), &buffer};
    Answer answer;
    answer.result = OwnerlinkServerImpl::MyIoctl(platform::AnyFile(), command, &arg);
    const char* const bytes = reinterpret_cast<const char*>(&buffer);
    answer.buffer.assign(bytes, bytes + sizeof(buffer));
    return answer;
}

Answer Send(unsigned int command, const std::string& payload, int32_t timeout)
{
    return Send(command, RequestOf(payload, timeout));
}

ProcMgr::OwnerlinkResponseMsg Handle(unsigned int command, const OwnerlinkRequestMsg& request)
{
    ProcMgr::OwnerlinkResponseMsg response;
    OwnerlinkServerImpl::HandleRequestFromClient(command, &request, response);
    return response;
}

std::vector<platform::LogRecord> ServerRecords()
{
    std::vector<platform::LogRecord> records = platform::Records();
    const auto isOther = [](const platform::LogRecord& record) {
        return record.unit != "ownerlink_server_impl";
    };
    records.erase(std::remove_if(records.begin(), records.end(), isOther), records.end());
    return records;
}

std::string BootTraced(const std::string& text)
{
    return "[12.345678s][BOOT_TRACE][SS_SERVER] " + text;
}

void SetBootTrace()
{
    platform::SetBootClock(std::chrono::microseconds(12345678));
}
