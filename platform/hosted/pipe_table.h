// The pipes of this process, and the names at which it takes them, by number.
#ifndef OWNERLINK_PLATFORM_HOSTED_PIPE_TABLE_H
#define OWNERLINK_PLATFORM_HOSTED_PIPE_TABLE_H

#include <sys/types.h>

#include <memory>
#include <vector>

#include "platform/hosted/descriptor_numbers.h"
#include "platform/hosted/exit_handler.h"
#include "platform/hosted/mutex.h"
#include "platform/hosted/outcome.h"
#include "platform/hosted/owner_peers.h"
#include "platform/hosted/pipe.h"
#include "platform/hosted/pipe_listener.h"

namespace hosted {

inline constexpr int kPipesPerProcess = 64;  // of a peer, at one name
inline constexpr int kPipesPerUser = 128;    // in sum, of users other than the owner's

// What a number stands for: one of the two, or neither while it is free.
struct PipeSlot {
    std::unique_ptr<Pipe> pipe;
    std::unique_ptr<PipeListener> listener;
    int calls = 0;  // that run; the table's own

    bool IsOpen() const { return pipe != nullptr || listener != nullptr; }
};

// Thread-safe.
class PipeTable {
public:
    // Built once, never destroyed.
    static PipeTable& Instance();

    // The lowest free number. `slot` is moved from at success alone. EMFILE when there is none;
    // ESHUTDOWN for a listener when the process is exiting.
    Outcome<int> Insert(PipeSlot& slot) HOSTED_EXCLUDES(mutex_);

    // The limit that keeps out one more pipe of this origin, if one does.
    Refusal CheckPeer(const PipeOrigin& origin) HOSTED_EXCLUDES(mutex_);

    // Holds the slot until `EndCall`, or null where `number` is none of an open one.
    PipeSlot* BeginCall(int number) HOSTED_EXCLUDES(mutex_);
    void EndCall(PipeSlot& slot) HOSTED_EXCLUDES(mutex_);

    // Frees the number and hands out what it stood for. EBADF; EBUSY while a call runs.
    Outcome<PipeSlot> Remove(int number) HOSTED_EXCLUDES(mutex_);

    // Takes back the names, at the end of the process.
    void Stop() HOSTED_EXCLUDES(mutex_);

    void LockForFork();
    void UnlockAfterFork();
    void ForgetInChild();

private:
    PipeSlot* Find(int number) HOSTED_REQUIRES(mutex_);

    Mutex mutex_;
    SlotSet numbers_ HOSTED_GUARDED_BY(mutex_);
    std::vector<std::unique_ptr<PipeSlot>> slots_ HOSTED_GUARDED_BY(mutex_);  // kept for reuse
    size_t open_ HOSTED_GUARDED_BY(mutex_) = 0;
    ExitHandler exitHandler_ HOSTED_GUARDED_BY(mutex_);  // of a process that listens
    bool stopping_ HOSTED_GUARDED_BY(mutex_) = false;
};

}  // namespace hosted

#endif
