#include "faults/trap.h"

#include <linux/filter.h>
#include <linux/futex.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <initializer_list>
#include <vector>

namespace {

using Program = std::vector<sock_filter>;

void Load(Program& program, size_t offset)
{
    program.push_back(BPF_STMT(BPF_LD | BPF_W | BPF_ABS, static_cast<uint32_t>(offset)));
}

void LoadArgument(Program& program, size_t number)
{
    Load(program, offsetof(seccomp_data, args) + number * sizeof(uint64_t));
}

// Past `skipped` instructions unless the loaded word is `value`.
void Unless(Program& program, uint32_t value, uint8_t skipped)
{
    program.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, value, 0, skipped));
}

void Return(Program& program, uint32_t action)
{
    program.push_back(BPF_STMT(BPF_RET | BPF_K, action));
}

void Install(Program& program)
{
    Return(program, SECCOMP_RET_ALLOW);
    const sock_fprog loaded = {static_cast<unsigned short>(program.size()), program.data()};
    prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
    if (prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &loaded) != 0) {
        _exit(4);  // a trap that does not close is no test
    }
}

void DieAt(std::initializer_list<long> calls)
{
    Program program;
    Load(program, offsetof(seccomp_data, nr));
    for (const long call : calls) {
        Unless(program, static_cast<uint32_t>(call), 1);
        Return(program, SECCOMP_RET_KILL_PROCESS);
    }
    Install(program);
}

// Dies if argument `number` has all of `flags` and argument `other` is not 0.
void DieAtFlags(Program& program, long call, size_t number, uint32_t flags, size_t other)
{
    Load(program, offsetof(seccomp_data, nr));
    Unless(program, static_cast<uint32_t>(call), 5);
    LoadArgument(program, number);
    program.push_back(BPF_JUMP(BPF_JMP | BPF_JSET | BPF_K, flags, 0, 3));
    LoadArgument(program, other);
    program.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, 0, 1, 0));
    Return(program, SECCOMP_RET_KILL_PROCESS);
}

// Dies at a sleep until a time of the wall clock; one for a while does not follow its setting.
void DieAtSleep(Program& program)
{
    Load(program, offsetof(seccomp_data, nr));
    Unless(program, SYS_clock_nanosleep, 5);
    LoadArgument(program, 0);
    Unless(program, CLOCK_REALTIME, 3);
    LoadArgument(program, 1);
    program.push_back(BPF_JUMP(BPF_JMP | BPF_JSET | BPF_K, TIMER_ABSTIME, 0, 1));
    Return(program, SECCOMP_RET_KILL_PROCESS);
}

void DieAtTimer(Program& program, long call)
{
    Load(program, offsetof(seccomp_data, nr));
    Unless(program, static_cast<uint32_t>(call), 3);
    LoadArgument(program, 0);
    Unless(program, CLOCK_REALTIME, 1);
    Return(program, SECCOMP_RET_KILL_PROCESS);
}

}  // namespace

void DieAtNextSend()
{
    DieAt({SYS_sendto, SYS_sendmsg});
}

void DieAtNextReceive()
{
    DieAt({SYS_recvfrom, SYS_recvmsg, SYS_ppoll, SYS_epoll_pwait,
#ifdef SYS_epoll_wait
           SYS_epoll_wait
#endif
    });
}

void DieAtWaitOnWallClock()
{
    Program program;
    // With a time-out, that is: a wait without one names the clock and does not look at it.
    DieAtFlags(program, SYS_futex, 1, FUTEX_CLOCK_REALTIME, 3);
    DieAtSleep(program);
    DieAtTimer(program, SYS_timerfd_create);
    DieAtTimer(program, SYS_timer_create);
    Install(program);
}
