#include "tools/ownerd/supervisor.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <utility>

#include "tools/ownerd/owner_log.h"

namespace ownerd {
namespace {

// A sweep walks all processes of the machine.
constexpr Milliseconds kBetweenSweeps{20};

}  // namespace

Supervisor::Supervisor(EventLoop& loop, const Configuration& configuration)
    : loop_(loop),
      whenOwnerDies_(configuration.whenOwnerDies),
      group_(configuration.group),
      resource_(configuration.resource),
      state_(*this),
      sweepTimer_(loop)
{
    for (const ApplicationConfig& config : configuration.applications) {
        applications_.push_back(std::make_unique<Application>(config, *this));
    }
}

Application* Supervisor::Find(const std::string& name) const
{
    const auto found =
        std::find_if(applications_.begin(), applications_.end(),
                     [&](const auto& application) { return application->Name() == name; });
    return found == applications_.end() ? nullptr : found->get();
}

void Supervisor::Advance()
{
    do {
        while (std::exchange(mayAdvance_, false)) {
            ForgetRemoved();
            for (const Applications* list : {&applications_, &removed_}) {
                for (const auto& application : *list) {
                    AdvanceOne(*application);
                }
            }
        }
        SweepIfDue();
    } while (mayAdvance_);
}

void Supervisor::SweepIfDue()
{
    if (draining_.empty() && killing_.empty()) {
        return;
    }
    if (Clock::now() >= nextSweep_) {
        Sweep();
    } else if (!sweepTimer_.IsSet()) {
        sweepTimer_.Set(nextSweep_, [] {});  // the round behind it sweeps
    }
}

void Supervisor::AdvanceOne(Application& application)
{
    if (application.GetPhase() == Phase::Waiting) {
        AdvanceWaiting(application);
    } else if (application.GetPhase() == Phase::Leaving) {
        AdvanceLeaving(application);
    }
}

void Supervisor::AdvanceWaiting(Application& application)
{
    for (const std::string& name : application.Config().after) {
        const Application* const before = Find(name);
        if (before == nullptr || !before->Remembered().isWanted || before->IsReady()) {
            continue;
        }
        if (before->Remembered().hasFailed) {
            application.Refuse("it starts after " + name + ", which has failed");
        }
        return;
    }
    const bool isNameTaken = std::any_of(removed_.begin(), removed_.end(), [&](const auto& other) {
        return other->Name() == application.Name();
    });
    if (isNameTaken) {
        return;
    }
    application.Launch();
}

void Supervisor::AdvanceLeaving(Application& application)
{
    for (const Applications* list : {&applications_, &removed_}) {
        for (const auto& other : *list) {
            const std::vector<std::string>& after = other->Config().after;
            if (other->IsGoing() &&
                std::find(after.begin(), after.end(), application.Name()) != after.end()) {
                return;
            }
        }
    }
    application.SendStop();
}

void Supervisor::EndRest(Application& application)
{
    draining_.insert(&application);
}

void Supervisor::KillAll(Application& application)
{
    killing_.insert(application.Name());
}

void Supervisor::Sweep()
{
    std::map<pid_t, std::string> sessions;
    for (const Applications* list : {&applications_, &removed_}) {
        for (const auto& application : *list) {
            if (application->Pid() != 0) {
                sessions[application->Pid()] = application->Name();
            }
        }
    }
    const ProcessesByApplication processes = FindProcesses(marker_, sessions);
    nextSweep_ = Clock::now() + kBetweenSweeps;
    for (const std::string& name : std::exchange(killing_, {})) {
        EndProcesses(name, processes);
    }
    for (Application* application : std::set<Application*>(draining_)) {
        if (!EndProcesses(application->Name(), processes)) {
            draining_.erase(application);
            toldOfRest_.erase(application->Name());
            application->RestGone();
        } else if (toldOfRest_.insert(application->Name()).second) {
            LogWarning(application->Name(), "has left processes behind, killing them");
        }
    }
    if (!draining_.empty()) {
        sweepTimer_.Set(nextSweep_, [] {});
    }
}

// False if there are none.
bool Supervisor::EndProcesses(const std::string& name, const ProcessesByApplication& processes)
{
    const auto found = processes.find(name);
    if (found == processes.end()) {
        return false;
    }
    for (const pid_t pid : found->second) {
        kill(pid, SIGKILL);
    }
    return true;
}

void Supervisor::Reap()
{
    for (siginfo_t info = {}; waitid(P_ALL, 0, &info, WEXITED | WNOHANG | WNOWAIT) == 0;
         info = {}) {
        if (info.si_pid == 0) {
            return;
        }
        Application* mine = nullptr;
        for (const Applications* list : {&applications_, &removed_}) {
            for (const auto& application : *list) {
                mine = application->Pid() == info.si_pid && !application->IsEnding()
                           ? application.get()
                           : mine;
            }
        }
        if (mine != nullptr) {
            mine->CheckExit();
        } else {
            waitid(P_PID, static_cast<id_t>(info.si_pid), &info, WEXITED | WNOHANG);
        }
    }
}

void Supervisor::ForgetRemoved()
{
    const auto gone = [](const auto& application) {
        return application->IsGone();
    };
    removed_.erase(std::remove_if(removed_.begin(), removed_.end(), gone), removed_.end());
}

}  // namespace ownerd
