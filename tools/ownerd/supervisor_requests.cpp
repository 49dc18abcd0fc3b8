// What a manager asks of the applications.
#include <algorithm>
#include <utility>

#include "tools/ownerd/owner_log.h"
#include "tools/ownerd/supervisor.h"

namespace ownerd {
namespace {

AppChangeState FailureOf(uint32_t option)
{
    switch (option) {
        case ProcMgr::TERM:
            return TERM_FAILED;
        case ProcMgr::START:
            return START_FAILED;
        default:
            return RESTART_FAILED;
    }
}

bool Holds(const std::vector<AppInfoForServer>& apps, const std::string& name)
{
    return std::any_of(apps.begin(), apps.end(),
                       [&](const AppInfoForServer& app) { return app.appName == name; });
}

Gathering::Finished ToVerdict(const Supervisor::Verdict& done)
{
    return [done](const Gathering::Results& results) {
        done(AreAllDone(results));
    };
}

}  // namespace

void Supervisor::Change(const ChangeLists& lists, TimePoint deadline, Gathering::Finished done)
{
    const auto gathering = std::make_shared<Gathering>(loop_, std::move(done));
    for (const AppInfoForServer& app : lists.terminate) {
        ChangeOne(app, ProcMgr::TERM, *gathering);
    }
    for (const AppInfoForServer& app : lists.start) {
        // Stopped and started in one breath: the process has to be a new one.
        const bool isBoth = Holds(lists.terminate, app.appName);
        ChangeOne(app, isBoth ? ProcMgr::RESTART : ProcMgr::START, *gathering);
    }
    for (const AppInfoForServer& app : lists.restart) {
        ChangeOne(app, ProcMgr::RESTART, *gathering);
    }
    gathering->Close(deadline);
}

void Supervisor::ChangeOne(const AppInfoForServer& app, uint32_t option, Gathering& gathering) const
{
    Application* const application = Find(app.appName);
    if (application == nullptr) {
        LogError(ProcMgr::GetOptionType(option) + " of " + app.appName + ": no such application");
        gathering.Add(app.appName, FailureOf(option));
        return;
    }
    LogInfo(ProcMgr::GetOptionType(option) + ' ' + app.appName);
    if (option == ProcMgr::TERM) {
        application->Stop(StopReason::Manager, gathering.Expect(app.appName));
        return;
    }
    const bool isRunning = application->IsUp() && application->HasStarted();
    if (option == ProcMgr::RESTART || !isRunning) {
        application->SetArguments(app.args, app.dynamicPara);
    }
    if (option == ProcMgr::RESTART) {
        application->Restart(gathering.Expect(app.appName));
    } else {
        application->Start(gathering.Expect(app.appName));
    }
}

std::vector<AppStatus> Supervisor::Query(const std::vector<std::string>& names) const
{
    constexpr uint32_t kRunning = 0;
    constexpr uint32_t kTerminated = 1;
    std::vector<AppStatus> answers;
    for (const auto& application : applications_) {
        const bool isAsked = names.empty() || std::find(names.begin(), names.end(),
                                                        application->Name()) != names.end();
        if (isAsked) {
            const bool isRunning = application->Pid() != 0 && application->HasStarted();
            answers.push_back(
                {application->Name(), application->Pid(), isRunning ? kRunning : kTerminated});
        }
    }
    return answers;
}

std::vector<std::string> Supervisor::Names() const
{
    std::vector<std::string> names;
    for (const auto& application : applications_) {
        names.push_back(application->Name());
    }
    return names;
}

void Supervisor::Dump() const
{
    const std::string state =
        state_.Lasting() == SystemState::kUnknown
            ? "none yet"
            : ProcMgr::GetSysState(static_cast<unsigned long>(state_.Lasting()));
    LogInfo("dump: group " + ProcMgr::GetGroupOwner(group_) + ", resource " + resource_ +
            ", state " + state + (state_.IsSuspendNear() ? ", a suspend is near, " : ", ") +
            std::to_string(applications_.size()) + " applications");
    for (const auto& application : applications_) {
        LogInfo("dump: " + application->Describe());
    }
}

void Supervisor::StopAll(TimePoint deadline, const Verdict& done)
{
    LogInfo("stop all");
    const auto gathering = std::make_shared<Gathering>(loop_, ToVerdict(done));
    for (const auto& application : applications_) {
        if (application->IsThere()) {
            application->Stop(StopReason::StopAll, gathering->Expect(application->Name()));
        }
    }
    gathering->Close(deadline);
}

void Supervisor::Verify(const ChangeRecord& record, TimePoint deadline, const Verdict& done)
{
    LogInfo("verify: the manager remembers " + std::to_string(record.size()) + " applications");
    const auto gathering = std::make_shared<Gathering>(loop_, ToVerdict(done));
    for (const auto& [name, option] : record) {
        VerifyOne(name, option, *gathering);
    }
    gathering->Close(deadline);
}

void Supervisor::VerifyOne(const std::string& name, unsigned int option, Gathering& gathering)
{
    Application* const application = Find(name);
    if (application == nullptr) {
        LogWarning("verify: " + name + ": no such application");
        gathering.Add(name, FailureOf(option));
        return;
    }
    if (option != ProcMgr::TERM) {
        VerifyStarted(*application, gathering);
        return;
    }
    if (application->IsThere()) {
        LogWarning("verify: " + name + " was terminated and runs, stopping it");
    }
    application->Stop(StopReason::Manager, gathering.Expect(name));
}

// What has ended by itself under its policy stays ended: a verification comes several times, and
// would run it anew each time.
void Supervisor::VerifyStarted(Application& application, Gathering& gathering)
{
    const Memory& memory = application.Remembered();
    const std::string start = "verify: " + application.Name() + " was started and ";
    if (memory.hasEnded) {
        LogInfo(start + "has ended by itself, leaving it so");
    } else if (memory.hasFailed) {
        LogWarning(start + "has failed, leaving it so");
        gathering.Add(application.Name(), START_FAILED);
    } else if (memory.stopReason == StopReason::State ||
               memory.stopReason == StopReason::SuspendPre) {
        LogInfo(start + "waits for a state that it is meant for");
    } else {
        if (!application.IsUp()) {
            LogWarning(start + "does not run, starting it");
        }
        application.Start(gathering.Expect(application.Name()));
    }
}

}  // namespace ownerd
