#include "platform/hosted/owner_service.h"

#include <cerrno>
#include <climits>
#include <cstring>
#include <exception>

#include "platform/hosted/hosted_log.h"

namespace hosted {
namespace {

// What a hook said, or that it threw. A null hook counts as one that fails.
struct Verdict {
    long result = -1;
    bool threw = false;
};

template <typename Hook>
Verdict Call(const IAMMgrFile& file, const char* which, Hook hook)
{
    const char* const name = file.service->name.c_str();
    try {
        return {hook(), false};
    } catch (const std::exception& error) {
        HOSTED_LOG(kLogError, "exception left the %s hook of %.128s: %s", which, name,
                   error.what());
    } catch (...) {
        HOSTED_LOG(kLogError, "exception left the %s hook of %.128s", which, name);
    }
    return {-1, true};
}

// Whether the file is open. A refusal stands for all messages of the file, and its close hook runs.
bool Open(IAMMgrFile& file)
{
    if (file.isOpen || file.isRefused) {
        return file.isOpen;
    }
    const auto hook = file.service->ops.open;
    const Verdict verdict =
        Call(file, "open", [&]() -> long { return hook != nullptr ? hook(&file) : -1; });
    file.isOpen = true;
    file.isRefused = verdict.threw || verdict.result < 0;
    if (file.isRefused) {
        RunCloseHook(file);
    }
    return file.isOpen;
}

Verdict RunIoctlHook(IAMMgrFile& file, const MessageHeader& header, std::byte* payload)
{
    const auto hook = file.service->ops.ioctl;
    return Call(file, "ioctl", [&]() -> long {
        IAMIoctlArg argument{header.size, payload};
        return hook != nullptr ? hook(&file, header.command, &argument) : -1;
    });
}

Verdict RunReadHook(IAMMgrFile& file, const MessageHeader& header, std::byte* payload)
{
    const auto hook = file.service->ops.read;
    // What the hook claims to have read and has not must be nobody else's bytes.
    std::memset(payload, 0, header.command);
    return Call(file, "read", [&]() -> long {
        long out = 0;
        return hook != nullptr ? hook(&file, reinterpret_cast<char*>(payload), header.command, &out)
                               : -1;
    });
}

void Fail(MessageHeader& header, int error)
{
    header.size = 0;
    header.result = -1;
    header.error = error;
}

// A negative result is the owner's own verdict and travels with the buffer; its errno number tells
// it from the layer's failures.
void SetVerdict(MessageHeader& header, const Verdict& verdict, uint32_t size)
{
    if (verdict.threw) {
        Fail(header, EIO);
        return;
    }
    header.result = static_cast<int32_t>(verdict.result);
    header.error = header.result < 0 ? EREMOTEIO : 0;
    header.size = size;
}

void AnswerRead(IAMMgrFile& file, MessageHeader& header, std::byte* payload)
{
    Verdict verdict = RunReadHook(file, header, payload);
    if (verdict.result > static_cast<long>(header.command)) {
        HOSTED_LOG(kLogError, "the read hook of %.128s claims %ld of %u bytes",
                   file.service->name.c_str(), verdict.result, header.command);
        verdict.threw = true;
    }
    SetVerdict(header, verdict, static_cast<uint32_t>(verdict.result < 0 ? 0 : verdict.result));
}

}  // namespace

void RunHooks(IAMMgrFile& file, MessageHeader& header, std::byte* payload)
{
    if ((header.flags & kFlagOpen) != 0 || file.isStale) {
        RunCloseHook(file);
        file.isStale = false;
        file.isRefused = false;
    }
    if (!Open(file)) {
        Fail(header, EIO);
    } else if ((header.flags & kFlagRead) != 0) {
        AnswerRead(file, header, payload);
    } else {
        SetVerdict(header, RunIoctlHook(file, header, payload), header.size);
    }
}

void RunCloseHook(IAMMgrFile& file)
{
    if (!file.isOpen) {
        return;
    }
    file.isOpen = false;
    const auto hook = file.service->ops.close;
    Call(file, "close", [&]() -> long { return hook != nullptr ? hook(&file) : -1; });
}

}  // namespace hosted
