#include "platform/hosted/queue_ring_memory.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace hosted {

// The kernel compares the word and puts the thread to sleep in one step: a flag that has been taken
// down in between ends the call at once. Not the private form, since two processes share the word.
void SharedRingMemory::Sleep()
{
    syscall(SYS_futex, &header_->flag, FUTEX_WAIT, kAsleep, nullptr, nullptr, 0);
}

void SharedRingMemory::Wake()
{
    syscall(SYS_futex, &header_->flag, FUTEX_WAKE, 1, nullptr, nullptr, 0);
}

}  // namespace hosted
