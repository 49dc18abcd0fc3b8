/* A user of the platform's C interface alone, in C: a pipe to itself by its two ends. */
#include "platform/dlog.h"
#include "platform/ezcom.h"
#include "platform/iam_file.h"
#include "platform/iam_queue.h"
#include "platform/securec.h"

int main(void)
{
    int socket = -1;
    const int sender = EzcomMakePipe(&socket);
    const int receiver = EzcomAdoptPipe(socket);
    EzcomRequest* const sent = EzcomMakeRequest();
    EzcomRequest* const received = EzcomMakeRequest();
    const int filled = EzcomFillRequest(sent, 9, "abc", 3);
    const int code = EzcomSendRequest(sender, sent);
    const int answer = EzcomReceiveRequest(receiver, received, 2000);
    const int isWhole = EzcomRequestType(received) == 9 && EzcomRequestSize(received) == 3;
    EzcomFreeRequest(received);
    EzcomFreeRequest(sent);
    EzcomClosePipe(receiver);
    EzcomClosePipe(sender);
    return sender >= 0 && receiver >= 0 && filled == 0 && code >= 0 && answer >= 0 && isWhole ? 0
                                                                                              : 1;
}
