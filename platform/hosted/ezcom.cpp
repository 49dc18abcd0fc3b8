// Pipes: not carried yet. Each call says so with ENOTSUP, a code that no caller takes for a passing
// one.
#include "platform/ezcom.h"

#include <cerrno>

#pragma GCC visibility push(default)

int EzcomSendRequest(int /*pipe*/, const EzcomRequest* /*request*/)
{
    return -ENOTSUP;
}

int EzcomSendResponse(int /*pipe*/, const EzcomResponse* /*response*/)
{
    return -ENOTSUP;
}

int EzcomRPCSync(int /*pipe*/, EzcomRequest* /*request*/, EzcomResponse* /*response*/)
{
    return -ENOTSUP;
}

int EzcomTimedRPCSync(int /*pipe*/, EzcomRequest* /*request*/, EzcomResponse* /*response*/,
                      int /*timeout*/)
{
    return -ENOTSUP;
}

int EzcomClosePipe(int /*pipe*/)
{
    return -ENOTSUP;
}

#pragma GCC visibility pop
