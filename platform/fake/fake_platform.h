/// \file
/// A scriptable double of the platform, for tests of managers, of owners and of the library itself.
///
/// A program that links libownerlink-fake.so in the place of libownerlink.so runs the whole library
/// with nothing behind it: no owner process, no file in /etc, no privilege and no real sleep. Each
/// call that the library makes and each log record that it writes is kept in order; each result can
/// be set. Exchanges are answered by a script, or by the server end in the same process.
///
/// There is one double in a process and it is never destroyed, so it may be used in destructors at
/// process exit. Every function may be called from any thread. Scripts, hooks and callbacks run
/// with no lock of the double held, on the thread that makes the call.
///
/// Functions are named by text, as they stand in Calls(): "open", "read", "ioctl", "close",
/// "access", "realpath", "fopen", "usleep", "nanosleep", "clock_gettime", "steady_clock::now",
/// "prctl", "new[]", "std::thread", "memcpy_s", "memset_s", "DlogRecord", "DlogFlush", the names of
/// the IAM* and Ezcom* calls and of libyaml's functions. Another name raises std::invalid_argument.
#ifndef OWNERLINK_PLATFORM_FAKE_FAKE_PLATFORM_H
#define OWNERLINK_PLATFORM_FAKE_FAKE_PLATFORM_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <iosfwd>
#include <string>
#include <vector>

#include "platform/ezcom.h"
#include "platform/iam_file.h"
#include "platform/iam_queue.h"

/// Stands before a declaration that libownerlink-fake.so exports.
#define OWNERLINK_FAKE_EXPORT __attribute__((visibility("default")))

namespace OwnerlinkFake {

/// Back to the state of a fresh process: no history, no results, no scripts, no registrations, no
/// descriptors, no configuration, real clocks, instant sleeps. Threads that are held go on.
OWNERLINK_FAKE_EXPORT void Reset();

// ---- What happened ------------------------------------------------------------------------------

/// Where a record went: the platform's log, or syslog.
enum class LogRoute { kDlog, kSyslog };

/// One log record as the library wrote it.
struct LogRecord {
    LogRoute route = LogRoute::kDlog;  ///< where it went
    uint32_t module = 0;               ///< 0 for syslog
    uint32_t level = 0;                ///< for syslog, the priority
    std::string unit;  ///< of the head "[unit:line]"; empty where the record has none
    int line = 0;      ///< of the head; 0 where the record has none
    std::string text;  ///< the formatted message behind the head
};

/// @{
/// Equal in everything but the line, which no test should depend on.
OWNERLINK_FAKE_EXPORT bool operator==(const LogRecord& left, const LogRecord& right);
OWNERLINK_FAKE_EXPORT bool operator!=(const LogRecord& left, const LogRecord& right);
OWNERLINK_FAKE_EXPORT std::ostream& operator<<(std::ostream& out, const LogRecord& record);
/// @}

/// The calls in the order in which they began, such as "open(dp:/res/a,O_RDWR)=7", "close(7)=0",
/// "open(dp:/res/b,O_RDONLY)=-1 ENOENT", "usleep(10000)". One that has not returned has no result
/// yet. Left out unless asked for by name: memcpy_s, memset_s, new[], std::thread, the clocks and
/// libyaml. CheckLogLevel, DlogRecord and syslog are no calls here; see Records and LevelQueries.
OWNERLINK_FAKE_EXPORT std::vector<std::string> Calls();

/// @{
/// The calls of one function, or of several, in order.
OWNERLINK_FAKE_EXPORT std::vector<std::string> Calls(const std::string& function);
OWNERLINK_FAKE_EXPORT std::vector<std::string> Calls(std::initializer_list<const char*> functions);
/// @}

/// The log records of both routes, in order.
OWNERLINK_FAKE_EXPORT std::vector<LogRecord> Records();

/// @{
/// Texts of the records, in order: level 3 or syslog's LOG_ERR; level 2 or LOG_WARNING; level 1 or
/// LOG_INFO without the milestones; those whose module has bit 24 set.
OWNERLINK_FAKE_EXPORT std::vector<std::string> Errors();
OWNERLINK_FAKE_EXPORT std::vector<std::string> Warnings();
OWNERLINK_FAKE_EXPORT std::vector<std::string> Infos();
OWNERLINK_FAKE_EXPORT std::vector<std::string> Milestones();
/// @}

/// Calls() and Records() in one sequence. A record stands as "log(54,3) text" or "syslog(3) text".
OWNERLINK_FAKE_EXPORT std::vector<std::string> Timeline();

/// One call of CheckLogLevel.
struct LevelQuery {
    uint32_t module = 0;  ///< with bit 24, where it was asked so
    uint32_t level = 0;   ///< as it was asked
};
/// @{
/// The queries in order, and what tests need to compare and print them.
OWNERLINK_FAKE_EXPORT bool operator==(const LevelQuery& left, const LevelQuery& right);
OWNERLINK_FAKE_EXPORT std::ostream& operator<<(std::ostream& out, const LevelQuery& query);
OWNERLINK_FAKE_EXPORT std::vector<LevelQuery> LevelQueries();
/// @}

/// Forgets calls, records, level queries, exchanges and pipe calls; results, scripts and all else
/// stay.
OWNERLINK_FAKE_EXPORT void ClearHistory();

/// Waits until `condition` holds, which is asked again after each thing that happens. False if it
/// has not come about within 30 seconds.
OWNERLINK_FAKE_EXPORT bool WaitUntil(const std::function<bool()>& condition);

// ---- What calls answer --------------------------------------------------------------------------

/// What a call answers; made by `Gives`, `Fails` and `Usual`.
struct Result {
    long value = 0;      ///< what it returns
    int error = 0;       ///< errno is set to this, unless it is 0
    bool usual = false;  ///< the double does what the function is for
};

/// The result `value`. For "open", a number of 0 or more becomes an open descriptor of that name.
inline Result Gives(long value)
{
    return {value, 0, false};
}

/// The function's own way to fail, with errno: -1; a null pointer; false from libyaml; for
/// "std::thread" a std::system_error with this number. memcpy_s and memset_s give `error` itself.
inline Result Fails(int error)
{
    return {-1, error, false};
}

/// What the double does when no result is set: a place holder within a sequence.
inline Result Usual()
{
    return {0, 0, true};
}

/// The same result `count` times.
inline std::vector<Result> Times(std::size_t count, Result result)
{
    std::vector<Result> results;
    results.assign(count, result);
    return results;
}

/// Adds to the results that the next calls of `function` give, one each. With `resource`, only
/// calls on that resource count: the name for the file, queue and pool calls (a descriptor's is the
/// name that it was opened with), the path for the file system's, the pipe's number as text for
/// Ezcom*.
///
/// A call takes the next result of its resource, else the next of the function, else the standing
/// one of its resource, else of the function, else does the usual. With a result set the call does
/// nothing else, but that "close" closes, and prctl and DlogRecord take place.
OWNERLINK_FAKE_EXPORT void SetNext(const std::string& function, const std::vector<Result>& results,
                                   const std::string& resource = {});

/// Sets the result of every call that has no next one; Usual() takes it back.
OWNERLINK_FAKE_EXPORT void SetStanding(const std::string& function, Result result,
                                       const std::string& resource = {});

/// Drops next and standing results of `function` for all resources.
OWNERLINK_FAKE_EXPORT void ClearResults(const std::string& function);

/// @{
/// What CheckLogLevel answers: for all, and for one module and level, which goes before. 1 at
/// first.
OWNERLINK_FAKE_EXPORT void SetLogLevels(int answer);
OWNERLINK_FAKE_EXPORT void SetLogLevel(uint32_t module, uint32_t level, int answer);
/// @}

/// Makes each memcpy_s whose count `which` is true of fail with `error`, copying nothing. Results
/// set for "memcpy_s" go before.
OWNERLINK_FAKE_EXPORT void FailCopies(std::function<bool(std::size_t count)> which, int error);

// ---- Holding threads ----------------------------------------------------------------------------

/// Holds each thread that calls `function` (on `resource`, unless that is empty) at the call's
/// start, until the test lets it go. The result is chosen then, so it may be set while the thread
/// is held. Process exit lets all of them go.
OWNERLINK_FAKE_EXPORT void Hold(const std::string& function, const std::string& resource = {});

/// Waits until `count` threads are held in `function`. False if that takes more than 30 seconds.
OWNERLINK_FAKE_EXPORT bool WaitForHeld(const std::string& function, std::size_t count);

/// The calls that are held now, as in Calls(), the one held longest first.
OWNERLINK_FAKE_EXPORT std::vector<std::string> HeldCalls();

/// @{
/// Lets the thread go that has been held longest, or all; new ones are held on. ReleaseOne is false
/// if none was there.
OWNERLINK_FAKE_EXPORT bool ReleaseOne(const std::string& function,
                                      const std::string& resource = {});
OWNERLINK_FAKE_EXPORT void ReleaseAll(const std::string& function);
/// @}

/// Undoes Hold for `function` and all its resources, and lets all its threads go.
OWNERLINK_FAKE_EXPORT void StopHolding(const std::string& function);

/// Waits until a thread is held in `function`, lets it go, and waits until one is held again; this
/// `steps` times. So a loop that sleeps is taken from one sleep to another.
OWNERLINK_FAKE_EXPORT bool Step(const std::string& function, std::size_t steps = 1);

// ---- Descriptors --------------------------------------------------------------------------------

/// @{
/// `open` succeeds on any name and gives the lowest free number from here on, far from the
/// kernel's.
constexpr int kFirstDescriptor = 100000000;
OWNERLINK_FAKE_EXPORT void SetFirstDescriptor(int number);
/// @}

/// From now on `open` fails with ENOENT on names that have neither a script nor a registration.
OWNERLINK_FAKE_EXPORT void RequireOwners();

/// The numbers that are open now, lowest first.
OWNERLINK_FAKE_EXPORT std::vector<int> OpenDescriptors();

// ---- Exchanges ----------------------------------------------------------------------------------

/// Answers an ioctl: reads the request in `arg` and overwrites it with the response. The return
/// value is the ioctl's; a script that returns -1 sets errno.
using ExchangeScript =
    std::function<int(const std::string& resource, unsigned int command, IAMIoctlArg& arg)>;

/// @{
/// Has `script` answer all resources, or one, which goes before. A resource without a script is
/// answered by the hooks registered for it in this process, with a copy of the buffer; one without
/// those fails with EPIPE. A hook's negative answer is the call's, with EREMOTEIO; an exception, or
/// a refusal of the open hook, which runs ahead of a file's first message, gives -1 and EIO. An
/// empty script takes the former one back.
OWNERLINK_FAKE_EXPORT void AnswerAll(ExchangeScript script);
OWNERLINK_FAKE_EXPORT void Answer(const std::string& resource, ExchangeScript script);
/// @}

/// One ioctl, byte by byte.
struct Exchange {
    std::string resource;           ///< the name that was opened
    int fd = -1;                    ///< the descriptor
    unsigned int command = 0;       ///< the ioctl's request argument
    int timeoutMs = 0;              ///< of the descriptor at that time; -1: the service's own
    std::vector<uint8_t> request;   ///< the whole buffer as it went in
    std::vector<uint8_t> response;  ///< as it came back; empty while the exchange lasts
};

/// @{
/// All exchanges in the order in which they began, or those of one resource.
OWNERLINK_FAKE_EXPORT std::vector<Exchange> Exchanges();
OWNERLINK_FAKE_EXPORT std::vector<Exchange> Exchanges(const std::string& resource);
/// @}

// ---- Registrations ------------------------------------------------------------------------------

/// A registration through IAMRegisterService.
struct Service {
    std::string name;        ///< the resource's name
    uint32_t timeoutMs = 0;  ///< of an exchange
    IAMFileOps ops{};        ///< the hooks
};

/// A registration through IAMRegisterQueueService.
struct QueueService {
    std::string name;        ///< the resource's name
    uint32_t timeoutMs = 0;  ///< of a subscriber's `open`
    uint32_t reserved = 0;   ///< as it was given
    IAMQueueOps ops{};       ///< the hooks
};

/// @{
/// Registrations that succeeded, in order. A later one of the same name takes over.
OWNERLINK_FAKE_EXPORT std::vector<Service> Services();
OWNERLINK_FAKE_EXPORT std::vector<QueueService> QueueServices();
/// @}

/// A file to hand to a service's hooks, for tests that call them as the platform would. Always the
/// same one.
OWNERLINK_FAKE_EXPORT IAMMgrFile* AnyFile();

// ---- Events -------------------------------------------------------------------------------------

/// Makes a file of a queue, with an empty queue behind it and no hook called. `name` may be null.
/// The file is never freed.
OWNERLINK_FAKE_EXPORT IamQfsMgrFile* NewQueueFile(const char* name);

/// @{
/// The entries that IAMDataEnqueue has put into a file's queue and nobody has taken. A block
/// returns to its pool when its entry is taken.
OWNERLINK_FAKE_EXPORT std::vector<std::string> QueuedEvents(const IamQfsMgrFile* file);
OWNERLINK_FAKE_EXPORT std::vector<std::string> TakeEvents(IamQfsMgrFile* file);
/// @}

/// @{
/// Blocks that were handed out and have been neither enqueued nor given back; pools that stand.
OWNERLINK_FAKE_EXPORT std::size_t BlocksInUse();
OWNERLINK_FAKE_EXPORT std::size_t PoolsInUse();
/// @}

/// What IAMFastReadAsync takes.
using ReadCallback = int (*)(int fd, void* buf, unsigned long count);

/// A registration through IAMFastReadAsync.
struct AsyncReader {
    std::string resource;             ///< the name that was opened
    int fd = -1;                      ///< the descriptor
    ReadCallback callback = nullptr;  ///< as it was given
};

/// Registrations through IAMFastReadAsync, in order. They stay in this list after `close`.
OWNERLINK_FAKE_EXPORT std::vector<AsyncReader> AsyncReaders();

/// Calls the callback that was registered last for `resource`, on this thread, with these bytes,
/// and gives its result. Works after `close` too, as for an entry that was under way.
/// std::invalid_argument if there is none.
OWNERLINK_FAKE_EXPORT int DeliverEvent(const std::string& resource, const std::string& bytes);

/// Hands the entries that the server end has enqueued to the readers in this process, on this
/// thread, and returns their number. A descriptor opened on a registered queue has a queue file of
/// its own; its hooks run in `open` and `close`.
OWNERLINK_FAKE_EXPORT std::size_t DeliverQueuedEvents();

// ---- Pipes --------------------------------------------------------------------------------------

/// One call of an Ezcom function. `response` and `timeoutMs` are null and 0 where it has none. All
/// answer 0 unless a result is set.
struct PipeCall {
    std::string function;                     ///< its name
    int pipe = 0;                             ///< as it was given
    const EzcomRequest* request = nullptr;    ///< as it was given
    const EzcomResponse* response = nullptr;  ///< as it was given
    int timeoutMs = 0;                        ///< as it was given
};
/// The calls in order.
OWNERLINK_FAKE_EXPORT std::vector<PipeCall> PipeCalls();

// ---- The configuration file ---------------------------------------------------------------------

/// The one path whose contents the double supplies. Other paths go to the system.
constexpr const char* kConfigPath = "/etc/tnv/ownerlink_vfs_cfg.yaml";

/// @{
/// Puts `text` there; takes the file away (as at first); leaves a file that cannot be opened.
OWNERLINK_FAKE_EXPORT void SetConfig(const std::string& text);
OWNERLINK_FAKE_EXPORT void RemoveConfig();
OWNERLINK_FAKE_EXPORT void SetUnreadableConfig();
/// @}

// ---- Time ---------------------------------------------------------------------------------------

/// @{
/// Stops the library's steady clock; moves it; lets it run again from where it stands in truth.
/// Only a stopped clock can be moved, else std::logic_error. While it is stopped each sleep of the
/// library moves it on by the time slept.
OWNERLINK_FAKE_EXPORT void FreezeClock();
OWNERLINK_FAKE_EXPORT void AdvanceClock(std::chrono::nanoseconds time);
OWNERLINK_FAKE_EXPORT void RunClock();
/// @}

/// What clock_gettime reads, whichever clock is asked for.
OWNERLINK_FAKE_EXPORT void SetBootClock(std::chrono::nanoseconds sinceBoot);

/// Sleeps return at once, unless "usleep" or "nanosleep" is held. So that a thread that does
/// nothing but sleep in a loop does not flood the history, sleeps beyond this number since the last
/// Reset or ClearHistory are held in any case.
constexpr std::size_t kMostInstantSleeps = 100000;

/// The next calls of nanosleep fail with EINTR, each with the time left given here.
OWNERLINK_FAKE_EXPORT void InterruptSleeps(const std::vector<std::chrono::nanoseconds>& left);

}  // namespace OwnerlinkFake

#endif
