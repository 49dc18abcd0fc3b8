// The open descriptors of this process on resource files.
#ifndef OWNERLINK_PLATFORM_HOSTED_DESCRIPTOR_TABLE_H
#define OWNERLINK_PLATFORM_HOSTED_DESCRIPTOR_TABLE_H

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "platform/hosted/brief_mutex.h"
#include "platform/hosted/client_connection.h"
#include "platform/hosted/condition.h"
#include "platform/hosted/deadline.h"
#include "platform/hosted/descriptor_numbers.h"
#include "platform/hosted/outcome.h"

namespace hosted {

// What a descriptor stands for. Belongs to the one call that runs on it.
struct OpenFile {
    std::shared_ptr<const Life> life;
    std::unique_ptr<ClientConnection> connection;  // none after an exchange in doubt
    bool lifeIsOver = false;
};

struct Descriptor {
    OpenFile file;
    // The rest belongs to the table.
    int timeoutMs = -1;  // -1: the service's own
    int waiting = 0;     // calls that wait for the one that runs
    bool isOpen = false;
    bool isBusy = false;
    bool isClosing = false;
};

// Thread-safe. Calls on one descriptor run one after the other; calls on several, side by side.
class DescriptorTable {
public:
    // The lowest free number of `range`, or EMFILE.
    Outcome<int> Insert(DescriptorRange range, OpenFile file) HOSTED_EXCLUDES(mutex_);

    // Waits for the call that runs and holds the descriptor until `EndCall`. The time-out is
    // `limitMs` or the descriptor's own, counted from now. EBADF, or ETIMEDOUT.
    struct Call {
        Descriptor* descriptor = nullptr;
        Deadline deadline{0};
        bool hasWaited = false;
    };
    Outcome<Call> BeginCall(int number, std::optional<int> limitMs) HOSTED_EXCLUDES(mutex_);
    void EndCall(Descriptor& descriptor) HOSTED_EXCLUDES(mutex_);

    // Waits for the call that runs, frees the number and hands out what it stood for. EBADF.
    Outcome<OpenFile> Remove(int number) HOSTED_EXCLUDES(mutex_);

    // EBADF; EPIPE when a call has found the life of the owner to be over.
    int SetTimeout(int number, int timeoutMs) HOSTED_EXCLUDES(mutex_);

    void LockForFork();
    void UnlockAfterFork();
    void ForgetInChild();

private:
    struct Range {
        SlotSet slots;
        std::vector<std::unique_ptr<Descriptor>> descriptors;  // by slot; kept for reuse
    };

    static size_t IndexOf(DescriptorRange range)
    {
        return range == DescriptorRange::kReadOnly ? 1 : 0;
    }
    Descriptor* Find(int number) HOSTED_REQUIRES(mutex_);

    BriefMutex mutex_;
    Condition callEnded_;
    std::array<Range, 2> ranges_ HOSTED_GUARDED_BY(mutex_);  // the others have their own
};

}  // namespace hosted

#endif
