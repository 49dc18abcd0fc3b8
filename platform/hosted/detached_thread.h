// The platform's own threads: nobody joins them, and they take no signals, since the host's
// handlers run on threads that it knows.
#ifndef OWNERLINK_PLATFORM_HOSTED_DETACHED_THREAD_H
#define OWNERLINK_PLATFORM_HOSTED_DETACHED_THREAD_H

#include <functional>

namespace hosted {

// Both return 0 or an errno number. The first asks the heap for nothing.
int StartDetached(void* (*run)(void*), void* argument);
int StartDetached(const char* name, std::function<void()> body);  // 15 characters at most

}  // namespace hosted

#endif
