// The standard mutexes with the annotations that they lack.
#ifndef OWNERLINK_FOUNDATION_MUTEX_H
#define OWNERLINK_FOUNDATION_MUTEX_H

#include <mutex>

#include "foundation/thread_annotations.h"

namespace ProcMgr {

// `Std` is a standard mutex. A lock that fails throws std::system_error.
template <typename Std>
class CAPABILITY("mutex") AnnotatedMutex {
public:
    void lock() ACQUIRE() { mutex_.lock(); }
    void unlock() RELEASE() { mutex_.unlock(); }

private:
    Std mutex_;
};

using Mutex = AnnotatedMutex<std::mutex>;
using RecursiveMutex = AnnotatedMutex<std::recursive_mutex>;

// Holds a mutex for a scope.
template <typename AnMutex>
class SCOPED_CAPABILITY ScopedLock {
public:
    explicit ScopedLock(AnMutex& mutex) ACQUIRE(mutex) : mutex_(mutex) { mutex_.lock(); }
    ~ScopedLock() RELEASE() { mutex_.unlock(); }
    ScopedLock(const ScopedLock&) = delete;
    ScopedLock& operator=(const ScopedLock&) = delete;

private:
    AnMutex& mutex_;
};

using MutexLock = ScopedLock<Mutex>;
using RecursiveMutexLock = ScopedLock<RecursiveMutex>;

}  // namespace ProcMgr

#endif
