// One thread at a time, by a flag and no lock: work that logs and opens files, which a fork must
// not have to wait for.
#ifndef OWNERLINK_PLATFORM_HOSTED_TURNS_H
#define OWNERLINK_PLATFORM_HOSTED_TURNS_H

#include "platform/hosted/condition.h"
#include "platform/hosted/mutex.h"

namespace hosted {

// Guarded by the mutex of the class whose work it is, which a fork already holds.
class Turns {
public:
    explicit Turns(Mutex& mutex) : mutex_(mutex) {}

    // In the child of a fork, whose turns were another process's.
    void Forget() HOSTED_TSA(no_thread_safety_analysis) { isTaken_ = false; }

private:
    friend class Turn;

    Mutex& mutex_;
    Condition ended_;
    bool isTaken_ HOSTED_GUARDED_BY(mutex_) = false;
};

class Turn {
public:
    explicit Turn(Turns& turns) : turns_(turns)
    {
        const MutexLock lock(turns_.mutex_);
        while (turns_.isTaken_) {
            turns_.ended_.Wait(turns_.mutex_);
        }
        turns_.isTaken_ = true;
    }
    ~Turn()
    {
        const MutexLock lock(turns_.mutex_);
        turns_.isTaken_ = false;
        turns_.ended_.NotifyAll();
    }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

private:
    Turns& turns_;
};

}  // namespace hosted

#endif
