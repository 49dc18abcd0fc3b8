// A process that gets no thread any more.
#ifndef OWNERLINK_TESTS_SUPPORT_NO_THREADS_H
#define OWNERLINK_TESTS_SUPPORT_NO_THREADS_H

#include <pthread.h>

#include <cstddef>

// No thread of usual attributes starts while it stands: there is no room for such a stack.
class NoThreads {
public:
    NoThreads()
    {
        pthread_getattr_default_np(&before_);
        pthread_attr_t huge;
        pthread_attr_init(&huge);
        pthread_attr_setstacksize(&huge, std::size_t{1} << 50U);
        pthread_setattr_default_np(&huge);
        pthread_attr_destroy(&huge);
    }
    ~NoThreads()
    {
        pthread_setattr_default_np(&before_);
        pthread_attr_destroy(&before_);
    }
    NoThreads(const NoThreads&) = delete;
    NoThreads& operator=(const NoThreads&) = delete;

private:
    pthread_attr_t before_;
};

#endif
