// The threads of the queue layer.
#ifndef OWNERLINK_PLATFORM_HOSTED_QUEUE_THREAD_H
#define OWNERLINK_PLATFORM_HOSTED_QUEUE_THREAD_H

#include <functional>

namespace hosted {

// Runs `body` on a detached thread called `name` (15 characters at most) that takes no signals:
// those are the host's. 0 or an errno number.
int StartThread(const char* name, std::function<void()> body);

}  // namespace hosted

#endif
