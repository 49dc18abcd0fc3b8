// Pipes: results as set, and 0 otherwise.
#include <string>

#include "platform/fake/call.h"

namespace OwnerlinkFake {

namespace detail {
namespace {

struct Pipes {
    std::vector<PipeCall> calls;
};

int CallPipe(const PipeCall& pipeCall, const std::string& arguments)
{
    {
        const Lock lock = LockState();
        Immortal<Pipes>().calls.push_back(pipeCall);
    }
    Call call(pipeCall.function, arguments, std::to_string(pipeCall.pipe));
    return static_cast<int>(call.Return(call.Set().value_or(Gives(0))));
}

int CallPipe(const PipeCall& pipeCall)
{
    return CallPipe(pipeCall, std::to_string(pipeCall.pipe));
}

}  // namespace

void ForgetPipeCalls()
{
    Immortal<Pipes>().calls.clear();
}

void ResetPipes()
{
    ForgetPipeCalls();
}

}  // namespace detail

std::vector<PipeCall> PipeCalls()
{
    const detail::Lock lock = detail::LockState();
    return detail::Immortal<detail::Pipes>().calls;
}

}  // namespace OwnerlinkFake

using OwnerlinkFake::detail::CallPipe;

extern "C" {

OWNERLINK_FAKE_EXPORT int EzcomSendRequest(int pipe, const EzcomRequest* request)
{
    return CallPipe({"EzcomSendRequest", pipe, request, nullptr, 0});
}

OWNERLINK_FAKE_EXPORT int EzcomSendResponse(int pipe, const EzcomResponse* response)
{
    return CallPipe({"EzcomSendResponse", pipe, nullptr, response, 0});
}

OWNERLINK_FAKE_EXPORT int EzcomRPCSync(int pipe, EzcomRequest* request, EzcomResponse* response)
{
    return CallPipe({"EzcomRPCSync", pipe, request, response, 0});
}

OWNERLINK_FAKE_EXPORT int EzcomTimedRPCSync(int pipe, EzcomRequest* request,
                                            EzcomResponse* response, int timeout)
{
    return CallPipe({"EzcomTimedRPCSync", pipe, request, response, timeout},
                    std::to_string(pipe) + "," + std::to_string(timeout));
}

OWNERLINK_FAKE_EXPORT int EzcomClosePipe(int pipe)
{
    return CallPipe({"EzcomClosePipe", pipe, nullptr, nullptr, 0});
}

}  // extern "C"
