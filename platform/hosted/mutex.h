// A mutex and its scoped lock that Clang's thread-safety analysis can check: the standard ones
// carry no annotations. The platform keeps its own because it includes nothing of the core.
#ifndef OWNERLINK_PLATFORM_HOSTED_MUTEX_H
#define OWNERLINK_PLATFORM_HOSTED_MUTEX_H

#include <mutex>

#if defined(__clang__)
#define HOSTED_TSA(attribute) __attribute__((attribute))
#else
#define HOSTED_TSA(attribute)
#endif

#define HOSTED_GUARDED_BY(mutex) HOSTED_TSA(guarded_by(mutex))
#define HOSTED_REQUIRES(...) HOSTED_TSA(requires_capability(__VA_ARGS__))
#define HOSTED_EXCLUDES(...) HOSTED_TSA(locks_excluded(__VA_ARGS__))
#define HOSTED_ACQUIRE(...) HOSTED_TSA(acquire_capability(__VA_ARGS__))
#define HOSTED_TRY_ACQUIRE(...) HOSTED_TSA(try_acquire_capability(__VA_ARGS__))
#define HOSTED_RELEASE(...) HOSTED_TSA(release_capability(__VA_ARGS__))

namespace hosted {

// With the names of std::mutex, as the other kind has them.
class HOSTED_TSA(capability("mutex")) Mutex {
public:
    Mutex() = default;
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    void lock() HOSTED_ACQUIRE() { mutex_.lock(); }
    bool try_lock() HOSTED_TRY_ACQUIRE(true) { return mutex_.try_lock(); }
    void unlock() HOSTED_RELEASE() { mutex_.unlock(); }

private:
    std::mutex mutex_;
};

// Of either kind of mutex.
template <typename AnyMutex>
class HOSTED_TSA(scoped_lockable) MutexLock {
public:
    explicit MutexLock(AnyMutex& mutex) HOSTED_ACQUIRE(mutex) : mutex_(mutex) { mutex_.lock(); }
    ~MutexLock() HOSTED_RELEASE() { mutex_.unlock(); }
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

private:
    AnyMutex& mutex_;
};

}  // namespace hosted

#endif
