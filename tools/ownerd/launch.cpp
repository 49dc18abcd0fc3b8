// Between its birth and the new program a child runs on a copy of a process that has threads: no
// lock that another thread held will ever be released. So it makes system calls and nothing else.
// For the same reason it is not made by fork(), whose handlers run the library's code in the child,
// and it changes its user by plain system calls: the C library's would wait for threads that the
// copy does not have.
#include "tools/ownerd/launch.h"

#include <fcntl.h>
#include <linux/close_range.h>
#include <linux/sched.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>

namespace ownerd {
namespace {

enum Step : int {
    kOpenOutput,
    kMakePipe,
    kClone,
    kSession,
    kDeathSignal,
    kOutput,
    kLimits,
    kUser,
    kDirectory,
    kExec
};

const char* const kStepNames[] = {
    "opening its output",        "making a pipe",      "making a process",   "making a session",
    "tying it to the owner",     "setting its output", "setting its limits", "changing its user",
    "changing to its directory", "running its program"};

// All that the child needs, laid out before it is born.
struct ChildPlan {
    std::vector<char*> arguments;
    std::vector<char*> environment;
    std::vector<std::pair<int, rlimit>> limits;
    const LaunchConfig* config = nullptr;
    bool diesWithOwner = true;
    pid_t owner = -1;
    int input = -1;
    int output = -1;  // -1: keeps the owner's
    int report = -1;
};

struct Descriptors {
    UniqueFd input;
    UniqueFd childOutput;
    UniqueFd report;
};

std::vector<char*> Pointers(const std::vector<std::string>& texts)
{
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (const std::string& text : texts) {
        pointers.push_back(const_cast<char*>(text.c_str()));
    }
    return pointers;
}

template <typename... Arguments>
void Must(const ChildPlan& plan, int step, long number, Arguments... arguments)
{
    if (syscall(number, arguments...) < 0) {
        const LaunchFailure failure{step, errno};
        syscall(SYS_write, plan.report, &failure, sizeof failure);
        syscall(SYS_exit_group, 127);
    }
}

void SetOutput(const ChildPlan& plan)
{
    Must(plan, kOutput, SYS_dup3, plan.input, STDIN_FILENO, 0);
    if (plan.output >= 0) {
        Must(plan, kOutput, SYS_dup3, plan.output, STDOUT_FILENO, 0);
        Must(plan, kOutput, SYS_dup3, plan.output, STDERR_FILENO, 0);
    }
}

void SetLimits(const ChildPlan& plan)
{
    for (const auto& [number, limit] : plan.limits) {
        Must(plan, kLimits, SYS_prlimit64, 0, number, &limit, nullptr);
    }
}

void ChangeUser(const ChildPlan& plan)
{
    if (!plan.config->identity) {
        return;
    }
    const Identity& identity = *plan.config->identity;
    Must(plan, kUser, SYS_setgroups, identity.groups.size(), identity.groups.data());
    Must(plan, kUser, SYS_setresgid, identity.gid, identity.gid, identity.gid);
    Must(plan, kUser, SYS_setresuid, identity.uid, identity.uid, identity.uid);
}

// Behind the change of user, which takes the signal back.
void DieWithOwner(const ChildPlan& plan)
{
    if (!plan.diesWithOwner) {
        return;
    }
    Must(plan, kDeathSignal, SYS_prctl, PR_SET_PDEATHSIG, SIGKILL, 0, 0, 0);
    if (syscall(SYS_getppid) != plan.owner) {
        syscall(SYS_exit_group, 127);  // it died before the signal was asked for
    }
}

[[noreturn]] void RunChild(const ChildPlan& plan)
{
    const uint64_t noSignals = 0;
    Must(plan, kSession, SYS_setsid);
    SetOutput(plan);
    SetLimits(plan);
    ChangeUser(plan);
    DieWithOwner(plan);
    Must(plan, kDirectory, SYS_chdir, plan.config->directory.c_str());
    // What the owner itself has inherited; an old kernel without the call leaves it open.
    syscall(SYS_close_range, 3U, ~0U, CLOSE_RANGE_CLOEXEC);
    Must(plan, kExec, SYS_rt_sigprocmask, SIG_SETMASK, &noSignals, nullptr, sizeof noSignals);
    Must(plan, kExec, SYS_execve, plan.arguments[0], plan.arguments.data(),
         plan.environment.data());
    __builtin_unreachable();
}

// True if the output has a place. An application's file belongs to the owner's user, as its log
// would if a shell had opened it.
bool OpenOutput(const Output& output, Descriptors& ours, LaunchedProcess& process,
                LaunchFailure& error)
{
    ours.input.Reset(open("/dev/null", O_RDWR | O_CLOEXEC));
    int ends[2] = {-1, -1};
    switch (output.kind) {
        case OutputKind::Inherit:
            return true;
        case OutputKind::Null:
            ours.childOutput.Reset(fcntl(ours.input.Get(), F_DUPFD_CLOEXEC, 3));
            break;
        case OutputKind::File:
            ours.childOutput.Reset(open(
                output.path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY, 0640));
            break;
        case OutputKind::Log:
            if (pipe2(ends, O_CLOEXEC) == 0) {
                process.output.Reset(ends[0]);
                ours.childOutput.Reset(ends[1]);
                fcntl(ends[0], F_SETFL, O_NONBLOCK);
            }
            break;
    }
    error = {kOpenOutput, errno};
    return static_cast<bool>(ours.childOutput);
}

bool MakeReportPipe(Descriptors& ours, LaunchedProcess& process, LaunchFailure& error)
{
    int ends[2] = {-1, -1};
    if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) {
        error = {kMakePipe, errno};
        return false;
    }
    process.failure.Reset(ends[0]);
    ours.report.Reset(ends[1]);
    return true;
}

// The descriptor comes with the process, so that no other can have taken its number.
void Clone(const ChildPlan& plan, LaunchedProcess& process, LaunchFailure& error)
{
    int pidFd = -1;
    const long pid = syscall(SYS_clone, CLONE_PIDFD | SIGCHLD, nullptr, &pidFd, nullptr, nullptr);
    if (pid == 0) {
        RunChild(plan);
    }
    if (pid < 0) {
        error = {kClone, errno};
        return;
    }
    process.pid = static_cast<pid_t>(pid);
    process.pidFd.Reset(pidFd);
}

ChildPlan MakePlan(const LaunchOrder& order, const std::vector<std::string>& arguments,
                   const Descriptors& ours)
{
    ChildPlan plan;
    plan.arguments = Pointers(arguments);
    plan.arguments.push_back(nullptr);
    plan.environment = Pointers(order.environment);
    plan.environment.push_back(nullptr);
    for (const auto& [number, value] : order.config->limits) {
        plan.limits.emplace_back(number, rlimit{value, value});
    }
    plan.config = order.config;
    plan.diesWithOwner = order.diesWithOwner;
    plan.owner = getpid();
    plan.input = ours.input.Get();
    plan.output = ours.childOutput.Get();
    plan.report = ours.report.Get();
    return plan;
}

}  // namespace

std::string Describe(const LaunchFailure& failure)
{
    return std::string(kStepNames[failure.step]) + ": " + strerror(failure.error);
}

bool IsExecError(const LaunchFailure& failure, int error)
{
    return failure.step == kExec && failure.error == error;
}

LaunchedProcess Launch(const LaunchOrder& order, LaunchFailure& error)
{
    LaunchedProcess process;
    Descriptors ours;
    if (!OpenOutput(order.config->output, ours, process, error) ||
        !MakeReportPipe(ours, process, error)) {
        return {};
    }
    std::vector<std::string> arguments = order.config->command;
    arguments.insert(arguments.end(), order.arguments.begin(), order.arguments.end());
    Clone(MakePlan(order, arguments, ours), process, error);
    return process;
}

}  // namespace ownerd
