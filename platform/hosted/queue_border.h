// What the C calls of queues and pools share: a failure is a negative errno number, and no
// exception passes.
#ifndef OWNERLINK_PLATFORM_HOSTED_QUEUE_BORDER_H
#define OWNERLINK_PLATFORM_HOSTED_QUEUE_BORDER_H

#include <cerrno>
#include <exception>
#include <new>

#define HOSTED_EXPORT __attribute__((visibility("default")))

namespace hosted {

// `body` answers 0 or an errno number.
template <typename Body>
int Guarded(Body body)
{
    try {
        return -body();
    } catch (const std::bad_alloc&) {
        return -ENOMEM;
    } catch (const std::exception&) {
        return -EIO;
    }
}

}  // namespace hosted

#endif
