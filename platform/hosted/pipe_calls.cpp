// The C border of pipes: arguments are checked, and no exception passes.
#include "platform/hosted/pipe_ends.h"
#include "platform/hosted/pipe_table.h"
#include "platform/hosted/queue_border.h"

namespace hosted {
namespace {

// The caller's errno stays as it was.
class KeptErrno {
public:
    KeptErrno() = default;
    ~KeptErrno() { errno = kept_; }
    KeptErrno(const KeptErrno&) = delete;
    KeptErrno& operator=(const KeptErrno&) = delete;

private:
    const int kept_ = errno;
};

// `body` answers 0 or an errno number.
template <typename Body>
int Answer(Body body)
{
    const KeptErrno kept;
    return Guarded(body);
}

// A call on the slot of a number, which cannot be closed meanwhile.
class SlotCall {
public:
    explicit SlotCall(int number) : slot_(PipeTable::Instance().BeginCall(number)) {}
    ~SlotCall()
    {
        if (slot_ != nullptr) {
            PipeTable::Instance().EndCall(*slot_);
        }
    }
    SlotCall(const SlotCall&) = delete;
    SlotCall& operator=(const SlotCall&) = delete;

    const PipeSlot* Slot() const { return slot_; }

private:
    PipeSlot* const slot_;
};

bool IsTimeout(int timeoutMs)
{
    return timeoutMs >= -1;
}

TimeLimit LimitOf(int timeoutMs)
{
    return timeoutMs < 0 ? TimeLimit() : Deadline(timeoutMs);
}

// `body(pipe)` answers 0 or an errno number.
template <typename Body>
int WithPipe(int number, Body body)
{
    return Answer([&] {
        const SlotCall call(number);
        if (call.Slot() == nullptr) {
            return EBADF;
        }
        return call.Slot()->pipe != nullptr ? body(*call.Slot()->pipe) : EOPNOTSUPP;
    });
}

int ShutDown(int number)
{
    const SlotCall call(number);
    if (call.Slot() == nullptr) {
        return EBADF;
    }
    if (call.Slot()->pipe != nullptr) {
        call.Slot()->pipe->ShutDown();
    } else {
        call.Slot()->listener->ShutDown();
    }
    return 0;
}

Outcome<int> Accept(int number, int timeoutMs)
{
    const SlotCall call(number);
    if (call.Slot() == nullptr) {
        return Outcome<int>::Failed(EBADF);
    }
    if (call.Slot()->listener == nullptr) {
        return Outcome<int>::Failed(EOPNOTSUPP);
    }
    if (!IsTimeout(timeoutMs)) {
        return Outcome<int>::Failed(EINVAL);
    }
    return AcceptPipe(*call.Slot()->listener, LimitOf(timeoutMs));
}

// `body` answers a number, or an errno number.
template <typename Body>
int GuardedNumber(Body body)
{
    int number = -1;
    const int result = Answer([&] {
        const Outcome<int> made = body();
        number = made.value;
        return made.error;
    });
    return result == 0 ? number : result;
}

}  // namespace
}  // namespace hosted

using hosted::Outcome;
using hosted::Pipe;

extern "C" {

HOSTED_EXPORT int EzcomSendRequest(int pipe, const EzcomRequest* request)
{
    return hosted::WithPipe(pipe, [=](Pipe& to) {
        return request != nullptr ? to.SendRequest(request->record) : EFAULT;
    });
}

HOSTED_EXPORT int EzcomSendResponse(int pipe, const EzcomResponse* response)
{
    return hosted::WithPipe(
        pipe, [=](Pipe& to) { return response != nullptr ? to.SendResponse(*response) : EFAULT; });
}

HOSTED_EXPORT int EzcomRPCSync(int pipe, EzcomRequest* request, EzcomResponse* response)
{
    return EzcomTimedRPCSync(pipe, request, response, -1);
}

HOSTED_EXPORT int EzcomTimedRPCSync(int pipe, EzcomRequest* request, EzcomResponse* response,
                                    int timeout)
{
    return hosted::WithPipe(pipe, [=](Pipe& to) {
        if (request == nullptr || response == nullptr) {
            return EFAULT;
        }
        if (timeout == 0 || !hosted::IsTimeout(timeout)) {
            return EINVAL;
        }
        return to.Call(request->record, response->record, hosted::LimitOf(timeout));
    });
}

HOSTED_EXPORT int EzcomClosePipe(int pipe)
{
    return hosted::Answer([=] { return hosted::ClosePipe(pipe); });
}

HOSTED_EXPORT int EzcomListen(const char* name)
{
    return hosted::GuardedNumber([=] {
        return name != nullptr ? hosted::ListenForPipes(name) : Outcome<int>::Failed(EFAULT);
    });
}

HOSTED_EXPORT int EzcomAcceptPipe(int listener, int timeout)
{
    return hosted::GuardedNumber([=] { return hosted::Accept(listener, timeout); });
}

HOSTED_EXPORT int EzcomConnectPipe(const char* name)
{
    return hosted::GuardedNumber(
        [=] { return name != nullptr ? hosted::ConnectPipe(name) : Outcome<int>::Failed(EFAULT); });
}

HOSTED_EXPORT int EzcomMakePipe(int* peerSocket)
{
    return hosted::GuardedNumber([=] {
        return peerSocket != nullptr ? hosted::MakePipe(peerSocket) : Outcome<int>::Failed(EFAULT);
    });
}

HOSTED_EXPORT int EzcomAdoptPipe(int socket)
{
    return hosted::GuardedNumber([=] { return hosted::AdoptPipe(socket); });
}

HOSTED_EXPORT int EzcomReceiveRequest(int pipe, EzcomRequest* request, int timeout)
{
    return hosted::WithPipe(pipe, [=](Pipe& from) {
        if (request == nullptr) {
            return EFAULT;
        }
        return hosted::IsTimeout(timeout) ? from.Receive(*request, hosted::LimitOf(timeout))
                                          : EINVAL;
    });
}

HOSTED_EXPORT int EzcomShutDownPipe(int pipe)
{
    return hosted::Answer([=] { return hosted::ShutDown(pipe); });
}

}  // extern "C"
