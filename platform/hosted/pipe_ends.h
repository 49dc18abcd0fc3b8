// How pipes and the names that take them come to be, and how they go. Each answers a number of the
// pipes' range, or an errno number.
#ifndef OWNERLINK_PLATFORM_HOSTED_PIPE_ENDS_H
#define OWNERLINK_PLATFORM_HOSTED_PIPE_ENDS_H

#include <string_view>

#include "platform/hosted/outcome.h"
#include "platform/hosted/pipe_listener.h"

namespace hosted {

Outcome<int> ListenForPipes(std::string_view name);
Outcome<int> AcceptPipe(const PipeListener& listener, const TimeLimit& limit);
Outcome<int> ConnectPipe(std::string_view name);

// `*peer` becomes the other end's socket, which is the caller's.
Outcome<int> MakePipe(int* peer);

// `socket` is closed when this succeeds, and stays the caller's when it fails.
Outcome<int> AdoptPipe(int socket);

// EBADF; EBUSY while a call runs.
int ClosePipe(int number);

}  // namespace hosted

#endif
