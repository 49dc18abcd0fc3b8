#include "tools/ownerd/owner.h"

#include <ownerlink/server.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <syslog.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <utility>

#include "tools/ownerd/owner_log.h"
#include "tools/ownerd/service_notify.h"

namespace ownerd {
namespace {

constexpr std::array<int, 6> kSignals = {SIGTERM, SIGINT, SIGHUP, SIGUSR1, SIGCHLD, SIGPIPE};

sigset_t OwnSignals()
{
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : kSignals) {
        sigaddset(&signals, signal);
    }
    return signals;
}

RememberedState WithoutProcesses(RememberedState state)
{
    for (auto& [name, memory] : state.applications) {
        memory.pid = 0;
        memory.startTime = 0;
    }
    return state;
}

// Where the files of this life lie, once the former one's guardian has gone.
std::optional<RuntimePlace> AwaitPlace(const std::string& resource)
{
    std::optional<RuntimePlace> place = FindRuntimePlace(resource);
    const std::string mistake = place ? AwaitFormerGuardian(place->lockFile)
                                      : "cannot keep a state file under the runtime directory";
    if (!mistake.empty()) {
        LogError(mistake);
        return std::nullopt;
    }
    return place;
}

}  // namespace

void PrepareSignals()
{
    for (int signal = 1; signal < NSIG; ++signal) {
        struct sigaction action = {};
        if (sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN) {
            std::signal(signal, SIG_DFL);
        }
    }
    const sigset_t signals = OwnSignals();
    pthread_sigmask(SIG_SETMASK, &signals, nullptr);
}

Owner::Owner(std::string file, Configuration configuration, Guardian& guardian)
    : file_(std::move(file)),
      configuration_(std::move(configuration)),
      guardian_(guardian),
      supervisor_(loop_, configuration_),
      service_(loop_, supervisor_, [this] { return Reload(); })
{
}

int Owner::Run()
{
    if (!Begin()) {
        return 1;
    }
    NotifyService("READY=1");
    LogInfo("serves " + configuration_.resource);
    loop_.Run([this] {
        supervisor_.Advance();
        SaveIfChanged();
    });
    guardian_.Dismiss();
    LogInfo("ended");
    return 0;
}

// The resource comes first: its name is held by one living process, so that no second owner gets
// as far as the applications. Requests wait until the loop runs.
bool Owner::Begin()
{
    NameOwnerInLog(configuration_.resource);
    setlogmask(LOG_UPTO(configuration_.logMask));
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    WatchSignals();
    if (!service_.Publish(configuration_.resource)) {
        LogError("cannot publish " + configuration_.resource +
                 ": another owner holds the name, or the runtime directory is not this user's; "
                 "syslog, or OWNERLINK_LOG=info, says which");
        return false;
    }
    const std::optional<RuntimePlace> place = AwaitPlace(configuration_.resource);
    if (!place) {
        return false;
    }
    place_ = *place;
    guardian_.Guard(place_.marker, place_.lockFile);
    supervisor_.TakeUp(place_.marker, Load(place_.stateFile));
    if (!configuration_.eventResource.empty()) {
        if (OwnerlinkServer::GetInstance().InitSysEventServer(configuration_.eventResource) != 0) {
            LogError("cannot publish " + configuration_.eventResource + "; syslog says why");
            return false;
        }
        resumeWatch_ = std::make_unique<ResumeWatch>(loop_, [this](std::chrono::nanoseconds) {
            Report(ProcMgr::WORKING, "the machine has resumed");
        });
    }
    return true;
}

void Owner::WatchSignals()
{
    const sigset_t signals = OwnSignals();
    UniqueFd fd(signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
    signalWatch_ = FdWatch(loop_, std::move(fd), [this] {
        signalfd_siginfo info = {};
        while (read(signalWatch_.Get(), &info, sizeof info) == sizeof info) {
            OnSignal(static_cast<int>(info.ssi_signo));
        }
    });
}

void Owner::OnSignal(int signal)
{
    switch (signal) {
        case SIGTERM:
        case SIGINT:
            BeginEnd();
            break;
        case SIGHUP:
            Reload();
            break;
        case SIGUSR1:
            Report(configuration_.signalEvent, "SIGUSR1");
            break;
        case SIGCHLD:
            supervisor_.Reap();
            break;
        default:
            break;
    }
}

bool Owner::Reload()
{
    NotifyReloading();
    const ReadResult result = ReadConfiguration(file_);
    std::vector<std::string> errors = result.errors;
    if (errors.empty()) {
        if (const std::string why = WhyNotReloaded(result.configuration); !why.empty()) {
            errors.push_back(file_ + ": " + why);
        }
    }
    for (const std::string& error : errors) {
        LogError(error);
    }
    if (errors.empty()) {
        configuration_ = result.configuration;
        setlogmask(LOG_UPTO(configuration_.logMask));
        supervisor_.Reconfigure(configuration_);
    }
    LogInfo(errors.empty() ? "configuration reloaded" : "configuration left as it was");
    NotifyService("READY=1");
    return errors.empty();
}

std::string Owner::WhyNotReloaded(const Configuration& next) const
{
    const char* const tail = ": expected as it was; a change needs a restart of the owner";
    if (next.group != configuration_.group) {
        return std::string("group") + tail;
    }
    if (next.resource != configuration_.resource) {
        return std::string("resource") + tail;
    }
    if (next.eventResource != configuration_.eventResource) {
        return std::string("event-resource") + tail;
    }
    return next.whenOwnerDies != configuration_.whenOwnerDies
               ? std::string("when-owner-dies") + tail
               : "";
}

void Owner::BeginEnd()
{
    if (std::exchange(isEnding_, true)) {
        LogWarning("asked twice to end, killing what still runs");
        for (const auto& application : supervisor_.All()) {
            application->StopAtOnce();
        }
        return;
    }
    NotifyService("STOPPING=1");
    if (configuration_.whenOwnerDies == WhenOwnerDies::Keep) {
        LogInfo("ends, and leaves its applications to its next start");
        Save(place_.stateFile, supervisor_.Remembered());
        loop_.Stop();
        return;
    }
    LogInfo("ends with its applications");
    Save(place_.stateFile, WithoutProcesses(supervisor_.Remembered()));
    supervisor_.Shutdown([this] { loop_.Stop(); });
}

void Owner::SaveIfChanged()
{
    if (isEnding_ || !supervisor_.TakeChange()) {
        return;
    }
    const bool isSaved = Save(place_.stateFile, supervisor_.Remembered());
    if (!isSaved && !cannotSave_) {
        LogError(place_.stateFile + " cannot be written: " + strerror(errno));
    }
    cannotSave_ = !isSaved;
}

void Owner::Report(uint32_t state, const std::string& why) const
{
    if (configuration_.eventResource.empty()) {
        LogWarning(why + ": no event-resource is configured, nothing to report");
        return;
    }
    LogInfo(why + ": reporting " + ProcMgr::GetSysState(state));
    if (OwnerlinkServer::GetInstance().ReportSysEvent(SysEvent{state}) != 0) {
        LogWarning("the event has not reached every subscriber");
    }
}

}  // namespace ownerd
