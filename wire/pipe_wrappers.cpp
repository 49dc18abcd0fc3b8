// The process manager's pipe calls, made again while the pipe library answers with a code that
// passes with time.

#include <ownerlink/process_manager.h>

#include <cerrno>
#include <ctime>
#include <initializer_list>

#include "platform/ezcom.h"

namespace ProcMgr {
namespace {

constexpr int kTryAgain = -EAGAIN;
constexpr int kNoMemory = -ENOMEM;
constexpr int kBusy = -EBUSY;

struct Patience {
    int attempts;
    long pause;  // nanoseconds
};
constexpr Patience kExchange = {401, 5'000'000};
constexpr Patience kClose = {10, 100'000'000};

// An interrupted pause goes on with what is left of it.
void Pause(long nanoseconds)
{
    timespec left{0, nanoseconds};
    while (nanosleep(&left, &left) != 0 && errno == EINTR) {}
}

// Gives the last attempt's result. That attempt, too, is followed by its pause.
template <typename Call>
int Retry(const Patience& patience, std::initializer_list<int> passing, const Call& call)
{
    int result = 0;
    for (int attempt = 0; attempt < patience.attempts; ++attempt) {
        result = call();
        bool isPassing = false;
        for (const int code : passing) {
            isPassing = isPassing || result == code;
        }
        if (!isPassing) {
            break;
        }
        Pause(patience.pause);
    }
    return result;
}

}  // namespace

int ProcMgrEzcomSendRequest(int pipe, const EzcomRequest* request)
{
    return Retry(kExchange, {kTryAgain, kNoMemory},
                 [=] { return EzcomSendRequest(pipe, request); });
}

int ProcMgrEzcomSendResponse(int pipe, const EzcomResponse* response)
{
    return Retry(kExchange, {kTryAgain, kNoMemory},
                 [=] { return EzcomSendResponse(pipe, response); });
}

int ProcMgrEzcomRPCSync(int pipe, EzcomRequest* request, EzcomResponse* response)
{
    return Retry(kExchange, {kTryAgain}, [=] { return EzcomRPCSync(pipe, request, response); });
}

int ProcMgrEzcomTimedRPCSync(int pipe, EzcomRequest* request, EzcomResponse* response, int timeout)
{
    return Retry(kExchange, {kTryAgain},
                 [=] { return EzcomTimedRPCSync(pipe, request, response, timeout); });
}

void ProcMgrEzcomClosePipe(int pipe)
{
    Retry(kClose, {kBusy}, [=] { return EzcomClosePipe(pipe); });
}

}  // namespace ProcMgr
