// The run of one process, from its launch to its end.
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <system_error>
#include <utility>

#include "tools/ownerd/application.h"
#include "tools/ownerd/config_values.h"
#include "tools/ownerd/owner_log.h"
#include "tools/ownerd/process_table.h"

namespace ownerd {
namespace {

UniqueFd OpenPid(pid_t pid)
{
    return UniqueFd(static_cast<int>(syscall(SYS_pidfd_open, pid, 0)));
}

std::string DescribeTime(Milliseconds time)
{
    return std::to_string(time.count()) + " ms";
}

std::string DescribeExit(const siginfo_t& info)
{
    if (info.si_code == CLD_EXITED) {
        return "ended with exit code " + std::to_string(info.si_status);
    }
    return "ended by " + SignalName(info.si_status);
}

}  // namespace

void Application::Launch()
{
    isReady_ = false;
    launchFailure_.reset();
    memory_.isPrepared = false;
    Enter(Phase::Starting);
    LaunchedProcess process = MakeProcess();
    if (process.pid < 0) {
        Fail(ownerd::Describe(launchFailure_.value_or(LaunchFailure{})), START_FAILED);
        return;
    }
    WatchProcess(process.pid, std::move(process.pidFd));
    launchWatch_ = FdWatch(host_.Loop(), std::move(process.failure), [this] { OnLaunchReport(); });
    if (process.output) {
        output_ = std::make_unique<ApplicationOutput>(host_.Loop(), std::move(process.output),
                                                      config_.name);
    }
}

LaunchedProcess Application::MakeProcess()
{
    LaunchFacts facts;
    facts.owner = host_.Marker();
    facts.parameters = memory_.parameters;
    try {
        const auto& identity = config_.launch.identity;
        notifySocket_ = std::make_unique<NotifySocket>(
            host_.Loop(), identity ? std::optional(identity->uid) : std::nullopt,
            [this](const Notification& notification) { OnNotification(notification); });
        facts.notifySocket = notifySocket_->Name();
    } catch (const std::system_error& error) {
        LogWarning(config_.name, std::string("cannot notify: ") + error.what());
    }
    LaunchOrder order;
    order.config = &config_.launch;
    order.arguments = memory_.arguments;
    order.environment = MakeEnvironment(config_, facts);
    order.diesWithOwner = host_.DieWithOwner();
    LaunchFailure failure;
    LaunchedProcess process = ownerd::Launch(order, failure);
    if (process.pid < 0) {
        launchFailure_ = failure;
    }
    return process;
}

void Application::WatchProcess(pid_t pid, UniqueFd pidFd)
{
    memory_.pid = pid;
    const std::optional<ProcessStat> stat = ReadStat(pid);
    memory_.startTime = stat ? stat->startTime : 0;
    pidWatch_ = FdWatch(host_.Loop(), std::move(pidFd), [this] { CheckExit(); });
    host_.Changed();
}

bool Application::TakeOver(const Memory& memory)
{
    const auto isTheSame = [&] {
        const std::optional<ProcessStat> stat = ReadStat(memory.pid);
        return stat && !stat->isGone && stat->startTime == memory.startTime;
    };
    // Asked again once the descriptor holds the process: its number may have been used anew.
    UniqueFd pidFd = isTheSame() ? OpenPid(memory.pid) : UniqueFd();
    if (!pidFd || !isTheSame()) {
        return false;
    }
    memory_ = memory;
    WatchProcess(memory.pid, std::move(pidFd));
    isReady_ = true;
    Enter(memory.isWanted ? Phase::Running : Phase::Leaving);
    LogInfo(config_.name, "taken over, pid " + std::to_string(memory.pid));
    return true;
}

// The pipe ends when the program replaces the child, or says why it could not.
void Application::OnLaunchReport()
{
    LaunchFailure failure;
    const ssize_t count = read(launchWatch_.Get(), &failure, sizeof failure);
    if (count < 0 && (errno == EAGAIN || errno == EINTR)) {
        return;
    }
    launchWatch_.Reset();
    if (count == static_cast<ssize_t>(sizeof failure)) {
        launchFailure_ = failure;
    } else {
        OnProgramRuns();
    }
}

void Application::OnProgramRuns()
{
    if (phase_ != Phase::Starting || isReady_) {
        return;
    }
    if (config_.ready == Readiness::Alive) {
        timer_.SetIn(config_.startTime, [this] { OnReady(); });
    } else {
        timer_.SetIn(config_.readyWithin, [this] { OnNotReadyInTime(); });
    }
}

void Application::OnNotification(const Notification& notification)
{
    if (const auto process = notification.find("MAINPID"); process != notification.end()) {
        TakeMainProcess(process->second);
    }
    const auto ready = notification.find("READY");
    if (ready != notification.end() && ready->second == "1") {
        OnReady();
    }
}

// An application that forks away names the process that goes on; it has to be one of its own.
void Application::TakeMainProcess(const std::string& text)
{
    if (text.empty() || text.size() > 9 || !ProcMgr::IsStrDigits(text)) {
        return;
    }
    const auto pid = static_cast<pid_t>(std::stol(text));
    const ProcessesByApplication processes =
        FindProcesses(host_.Marker(), {{memory_.pid, config_.name}});
    const auto own = processes.find(config_.name);
    const bool isOwn = own != processes.end() &&
                       std::find(own->second.begin(), own->second.end(), pid) != own->second.end();
    UniqueFd pidFd = isOwn ? OpenPid(pid) : UniqueFd();
    if (!pidFd) {
        LogWarning(config_.name, "names a main process that is none of its own: " + text);
        return;
    }
    if (pid != memory_.pid) {
        LogInfo(config_.name, "goes on as pid " + text);
        WatchProcess(pid, std::move(pidFd));
    }
}

void Application::OnReady()
{
    if (isReady_ || (phase_ != Phase::Starting && phase_ != Phase::Leaving)) {
        return;
    }
    isReady_ = true;
    timer_.Clear();
    if (phase_ == Phase::Starting) {
        Enter(Phase::Running);
        LogInfo(config_.name, "started, pid " + std::to_string(memory_.pid));
        SettleStarts(SUCCESS, SUCCESS);
    }
}

void Application::OnNotReadyInTime()
{
    LogWarning(config_.name, "not ready within " + DescribeTime(config_.readyWithin));
    if (phase_ == Phase::Starting) {
        SendStop();
    }
}

void Application::SendStop()
{
    Enter(Phase::Stopping);
    SignalGroup(config_.stopSignal);
    SignalGroup(SIGCONT);  // one that is halted could not obey
    timer_.SetIn(config_.stopGrace, [this] { OnGraceOver(); });
}

void Application::StopAtOnce()
{
    if (phase_ == Phase::Leaving) {
        Enter(Phase::Stopping);
    }
    SignalGroup(SIGKILL);
}

void Application::OnGraceOver()
{
    LogWarning(config_.name, "still there " + DescribeTime(config_.stopGrace) + " after " +
                                 SignalName(config_.stopSignal) + ", killing it");
    SignalGroup(SIGKILL);
    host_.KillAll(*this);
}

bool Application::SignalProcess(int signal) const
{
    return syscall(SYS_pidfd_send_signal, pidWatch_.Get(), signal, nullptr, 0) == 0;
}

// To each process once. As long as the descriptor reaches the leader, which is not reaped then, no
// other group can have its number.
void Application::SignalGroup(int signal) const
{
    if (SignalProcess(0) && getpgid(memory_.pid) == memory_.pid) {
        kill(-memory_.pid, signal);
    } else {
        SignalProcess(signal);
    }
}

void Application::CheckExit()
{
    siginfo_t info = {};
    const auto pidFd = static_cast<id_t>(pidWatch_.Get());
    if (waitid(P_PIDFD, pidFd, &info, WEXITED | WNOHANG) == 0) {
        if (info.si_pid != 0) {
            OnExit(DescribeExit(info), info.si_code != CLD_EXITED || info.si_status != 0);
        }
    } else if (errno == ECHILD) {
        OnExit("ended", true);  // taken over: its parent alone is told how
    }
}

void Application::OnExit(const std::string& how, bool isFailure)
{
    if (launchWatch_) {
        OnLaunchReport();
    }
    if (!launchFailure_) {
        const bool isAsked = phase_ == Phase::Stopping;
        const std::string text = (isAsked ? "stopped, " : "") + how;
        isFailure && !isAsked ? LogWarning(config_.name, text) : LogInfo(config_.name, text);
    }
    exitWasFailure_ = isFailure || !isReady_;
    timer_.Clear();
    pidWatch_.Reset();
    launchWatch_.Reset();
    Enter(Phase::Draining);
    host_.EndRest(*this);
}

void Application::RestGone()
{
    ForgetProcess();
    if (std::exchange(goesOnAfterStop_, false)) {
        Enter(Phase::Waiting);
        SettleStops(SUCCESS);
    } else if (!memory_.isWanted) {
        Enter(Phase::Stopped);
        SettleStops(SUCCESS);
    } else {
        EndedByItself();
    }
}

void Application::EndedByItself()
{
    if (launchFailure_) {
        Fail(ownerd::Describe(*launchFailure_),
             IsExecError(*launchFailure_, EIO) ? START_FAILED_BY_EIO : START_FAILED);
        return;
    }
    const bool isRestarted = config_.restart == RestartPolicy::Always ||
                             (config_.restart == RestartPolicy::OnFailure && exitWasFailure_);
    if (isRestarted) {
        RestartLater();
    } else if (isReady_) {
        memory_.hasEnded = true;
        Enter(Phase::Stopped);
    } else {
        Fail("did not live through its start", START_FAILED);
    }
}

void Application::RestartLater()
{
    const std::optional<Milliseconds> delay = backOff_.Next(Clock::now(), config_);
    if (!delay) {
        Fail("restarted " + std::to_string(config_.restartLimit) + " times within " +
                 DescribeTime(config_.restartWindow) + ", given up",
             START_FAILED);
        return;
    }
    Enter(Phase::BackOff);
    if (host_.HoldsRestarts()) {
        LogInfo(config_.name, "restarted when the suspend is over");
        return;
    }
    LogInfo(config_.name, "restarted in " + DescribeTime(*delay));
    timer_.SetIn(*delay, [this] {
        if (!host_.HoldsRestarts()) {
            Enter(Phase::Waiting);
        }
    });
}

void Application::Fail(const std::string& reason, AppChangeState state)
{
    LogError(config_.name, "failed: " + reason);
    ForgetProcess();
    memory_.hasFailed = true;
    Enter(Phase::Stopped);
    SettleStarts(state, state == START_FAILED_BY_EIO ? state : RESTART_FAILED);
    SettleStops(SUCCESS);
    host_.Changed();
}

void Application::ForgetProcess()
{
    pidWatch_.Reset();
    launchWatch_.Reset();
    timer_.Clear();
    if (output_) {
        output_->Drain();
    }
    output_.reset();
    notifySocket_.reset();
    memory_.pid = 0;
    memory_.startTime = 0;
    memory_.isPrepared = false;
}

}  // namespace ownerd
