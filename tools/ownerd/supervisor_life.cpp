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
        if (application != nullptr && taken.count(application) == 0) {
            application->Remember(memory);
        }
    }
}

// Ends what the former life has left and nobody has taken over. Nothing is served yet, so this may
// wait: an application must not be started beside its own former process.
void Supervisor::EndLeftovers()
{
    const TimePoint end = Clock::now() + kLeftoversPatience;
    for (bool isAny = true; isAny && Clock::now() < end;) {
        isAny = false;
        for (const auto& [name, pids] : FindProcesses(marker_, {})) {
            const Application* const application = Find(name);
            if (application != nullptr && application->Pid() != 0) {
                continue;
            }
            for (const pid_t pid : pids) {
                LogWarning(name + ": ending pid " + std::to_string(pid) +
                           ", left by the owner's former life");
                kill(pid, SIGKILL);
                isAny = true;
            }
        }
        if (isAny) {
            std::this_thread::sleep_for(Milliseconds(10));
        }
    }
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
        if (known == applications_.end()) {
            next.push_back(std::make_unique<Application>(config, *this));
            LogInfo(config.name + ": new");
            if (next.back()->IsMeantFor(state_.Lasting()) && config.start == StartMode::Auto) {
                next.back()->Start(Ignore);
            }
            continue;
        }
        (*known)->Reconfigure(config);
        next.push_back(std::move(*known));
    }
    applications_ = std::move(next);
    Changed();
}

void Supervisor::DropFromConfiguration(const Configuration& configuration)
{
    for (auto& application : applications_) {
        const bool isKept = std::any_of(
            configuration.applications.begin(), configuration.applications.end(),
            [&](const ApplicationConfig& config) { return config.name == application->Name(); });
        if (!isKept) {
            LogInfo(application->Name() + ": removed, stopping it");
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
