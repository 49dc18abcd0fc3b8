// The owner's beginning and end, and its new configurations.
#include <algorithm>
#include <csignal>
#include <thread>
#include <utility>

#include "tools/ownerd/owner_log.h"
#include "tools/ownerd/supervisor.h"

namespace ownerd {
namespace {

constexpr std::chrono::seconds kLeftoversPatience{5};
constexpr Milliseconds kBetweenLooks{10};

void Ignore(AppChangeState)
{
}

}  // namespace

void Supervisor::TakeUp(const std::string& marker, const RememberedState& remembered)
{
    marker_ = marker;
    state_.Remember(remembered.systemState);
    std::set<const Application*> taken;
    for (const auto& [name, memory] : remembered.applications) {
        Application* const application = Find(name);
        if (application != nullptr && !DieWithOwner() && memory.pid != 0 &&
            application->TakeOver(memory)) {
            taken.insert(application);
        }
    }
    EndLeftovers();
    for (const auto& [name, memory] : remembered.applications) {
        Application* const application = Find(name);
        if (application != nullptr && !taken.contains(application)) {
            application->Remember(memory);
        }
    }
}

// Ends what the former life has left and nobody has taken over. Nothing is served yet, so this may
// wait: an application must not be started beside its own former process.
void Supervisor::EndLeftovers()
{
    const TimePoint end = Clock::now() + kLeftoversPatience;
    std::set<pid_t> told;
    while (Clock::now() < end && KillLeftovers(told)) {
        std::this_thread::sleep_for(kBetweenLooks);
    }
}

// False if there are none.
bool Supervisor::KillLeftovers(std::set<pid_t>& told)
{
    bool isAny = false;
    for (const auto& [name, pids] : FindProcesses(marker_, {})) {
        const Application* const application = Find(name);
        if (application != nullptr && application->Pid() != 0) {
            continue;
        }
        for (const pid_t pid : pids) {
            isAny = true;
            kill(pid, SIGKILL);
            if (told.insert(pid).second) {
                LogWarning(name, "ending pid " + std::to_string(pid) +
                                     ", left by the owner's former life");
            }
        }
    }
    return isAny;
}

RememberedState Supervisor::Remembered() const
{
    RememberedState remembered;
    remembered.systemState = state_.Lasting();
    for (const auto& application : applications_) {
        remembered.applications[application->Name()] = application->Remembered();
    }
    return remembered;
}

void Supervisor::Reconfigure(const Configuration& configuration)
{
    DropFromConfiguration(configuration);
    Applications next;
    for (const ApplicationConfig& config : configuration.applications) {
        const auto known =
            std::find_if(applications_.begin(), applications_.end(), [&](const auto& application) {
                return application && application->Name() == config.name;
            });
        next.push_back(known == applications_.end() ? MakeNew(config)
                                                    : Reconfigured(std::move(*known), config));
    }
    applications_ = std::move(next);
    Changed();
}

std::unique_ptr<Application> Supervisor::MakeNew(const ApplicationConfig& config)
{
    auto application = std::make_unique<Application>(config, *this);
    LogInfo(config.name, "new");
    state_.Refit(*application);
    return application;
}

std::unique_ptr<Application> Supervisor::Reconfigured(std::unique_ptr<Application> application,
                                                      const ApplicationConfig& config)
{
    const bool isMeantElsewhen = application->Config().states != config.states ||
                                 application->Config().start != config.start;
    application->Reconfigure(config);
    if (isMeantElsewhen) {
        state_.Refit(*application);
    }
    return application;
}

void Supervisor::DropFromConfiguration(const Configuration& configuration)
{
    for (auto& application : applications_) {
        const bool isKept = std::any_of(
            configuration.applications.begin(), configuration.applications.end(),
            [&](const ApplicationConfig& config) { return config.name == application->Name(); });
        if (!isKept) {
            LogInfo(application->Name(), "removed, stopping it");
            application->Stop(StopReason::Reload, Ignore);
            removed_.push_back(std::move(application));
        }
    }
    applications_.erase(std::remove(applications_.begin(), applications_.end(), nullptr),
                        applications_.end());
}

void Supervisor::Shutdown(const Work& done)
{
    const auto gathering =
        std::make_shared<Gathering>(loop_, [done](const Gathering::Results&) { done(); });
    for (const Applications* list : {&applications_, &removed_}) {
        for (const auto& application : *list) {
            application->Stop(StopReason::Shutdown, gathering->Expect(application->Name()));
        }
    }
    gathering->Close(TimePoint::max());
}

}  // namespace ownerd
