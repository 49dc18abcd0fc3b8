// Trace points: places where a tool for probes (bpftrace, perf) can look into a running process.
// docs/tracing.md lists them.
//
// They are probes of the provider `ownerlink` where the build has found their header; elsewhere
// nothing is left of them. One that nobody looks at is a no-operation instruction, with its
// arguments described beside the code. `resource` is a resource's name, `command` a request's
// number. None changes errno.
#ifndef OWNERLINK_FOUNDATION_TRACE_POINTS_H
#define OWNERLINK_FOUNDATION_TRACE_POINTS_H

#include <cstdint>

#ifdef OWNERLINK_TRACE_POINTS

#include <sys/sdt.h>

#include <cerrno>

namespace ProcMgr::trace {

// Tools read an argument from a register or beside one, but not from the address of a symbol, where
// an optimised build finds the name of a file that never changes; and not all read a constant.
template <typename Argument>
Argument InRegister(Argument argument)
{
    asm("" : "+r"(argument));
    return argument;
}

inline void Open(const char* resource, int fd)
{
    const int error = fd < 0 ? errno : 0;
    DTRACE_PROBE3(ownerlink, open, InRegister(resource), fd, error);
}

inline void Send(const char* resource, uint32_t command, int fd, int timeOut)
{
    DTRACE_PROBE4(ownerlink, send, InRegister(resource), command, fd, timeOut);
}

inline void Receive(const char* resource, uint32_t command, int fd, long result)
{
    const int error = result < 0 ? errno : 0;
    DTRACE_PROBE5(ownerlink, receive, InRegister(resource), command, fd, result, error);
}

inline void CallbackBegin(const char* resource, uint32_t command)
{
    DTRACE_PROBE2(ownerlink, callback_begin, InRegister(resource), InRegister(command));
}

inline void CallbackEnd(const char* resource, uint32_t command, bool verdict)
{
    const int result = verdict ? 1 : 0;
    DTRACE_PROBE3(ownerlink, callback_end, InRegister(resource), InRegister(command), result);
}

inline void EventReport(const char* resource, uint32_t state)
{
    DTRACE_PROBE2(ownerlink, event_report, InRegister(resource), state);
}

inline void EventDelivery(const char* resource, uint32_t state)
{
    DTRACE_PROBE2(ownerlink, event_delivery, InRegister(resource), state);
}

}  // namespace ProcMgr::trace

#else

namespace ProcMgr::trace {

inline void Open(const char* /*resource*/, int /*fd*/)
{
}
inline void Send(const char* /*resource*/, uint32_t /*command*/, int /*fd*/, int /*timeOut*/)
{
}
inline void Receive(const char* /*resource*/, uint32_t /*command*/, int /*fd*/, long /*result*/)
{
}
inline void CallbackBegin(const char* /*resource*/, uint32_t /*command*/)
{
}
inline void CallbackEnd(const char* /*resource*/, uint32_t /*command*/, bool /*verdict*/)
{
}
inline void EventReport(const char* /*resource*/, uint32_t /*state*/)
{
}
inline void EventDelivery(const char* /*resource*/, uint32_t /*state*/)
{
}

}  // namespace ProcMgr::trace

#endif

#endif
