#include "tools/ownerd/system_state.h"

#include <utility>

#include "tools/ownerd/owner_log.h"
#include "tools/ownerd/supervisor.h"

namespace ownerd {
namespace {

std::string NameOf(int state)
{
    const std::string name = ProcMgr::GetSysState(static_cast<unsigned long>(state));
    return name.empty() ? std::to_string(state) : name;
}

bool IsLasting(int state)
{
    return state >= 0 && state <= static_cast<int>(ProcMgr::CALIBRATION);
}

// Whether the manager's word, or none at all, lets a state start it.
bool MayStart(const Application& application)
{
    const Memory& memory = application.Remembered();
    if (memory.stopReason == StopReason::Manager) {
        return false;
    }
    return application.Config().start == StartMode::Auto ||
           memory.stopReason == StopReason::State || memory.stopReason == StopReason::SuspendPre;
}

}  // namespace

void SystemState::Enter(int state, TimePoint deadline, const Verdict& verdict)
{
    const bool isSuspendPre = state == static_cast<int>(ProcMgr::SUSPEND_PRE);
    if (!isSuspendPre && !IsLasting(state)) {
        LogError("state " + NameOf(state) + " refused: there is no such state for applications");
        verdict(false);
        return;
    }
    if (isSuspendPre && Clock::now() < std::exchange(cancelAheadUntil_, TimePoint{})) {
        LogInfo("state SUSPEND_PRE dropped: its cancel came first");
        verdict(false);
        return;
    }
    const std::shared_ptr<Gathering> gathering = Begin("state", state, verdict);
    if (isSuspendPre) {
        PrepareSuspend(*gathering);
    } else {
        EnterLasting(state, *gathering);
    }
    gathering->Close(deadline);
    supervisor_.Changed();
}

void SystemState::CancelSuspend(TimePoint deadline, const Verdict& verdict)
{
    if (!isSuspendNear_) {
        cancelAheadUntil_ = Clock::now() + kCancelLead;
        LogInfo("cancel of a SUSPEND_PRE that has not come yet");
        verdict(true);
        return;
    }
    const std::shared_ptr<Gathering> gathering = Begin("cancel, state", lasting_, verdict);
    isSuspendNear_ = false;
    for (const auto& application : supervisor_.All()) {
        application->TakeBackPreparation();
        application->ReleaseRestart();
        if (application->Remembered().stopReason == StopReason::SuspendPre) {
            application->Start(gathering->Expect(application->Name()));
        }
    }
    gathering->Close(deadline);
    supervisor_.Changed();
}

// Whoever waits for the former state is told at once that it has been overtaken.
std::shared_ptr<Gathering> SystemState::Begin(const char* what, int state, const Verdict& verdict)
{
    if (const std::shared_ptr<Gathering> before = current_.lock(); before && before->IsOpen()) {
        before->Add("", PROCESSING);
        before->Finish();
    }
    const std::string text = std::string(what) + ' ' + NameOf(state);
    LogInfo(text);
    auto gathering = std::make_shared<Gathering>(
        supervisor_.Loop(), [text, verdict](const Gathering::Results& results) {
            for (const AppChangeInfo& result : results) {
                if (result.state != SUCCESS) {
                    LogWarning(text + ": " +
                               (result.appName.empty()
                                    ? std::string("overtaken by another state")
                                    : result.appName + ' ' + ProcMgr::GetAppState(result.state)));
                }
            }
            verdict(AreAllDone(results));
        });
    current_ = gathering;
    return gathering;
}

void SystemState::PrepareSuspend(Gathering& gathering)
{
    isSuspendNear_ = true;
    for (const auto& application : supervisor_.All()) {
        const SuspendPre todo = application->Config().suspendPre;
        if (todo == SuspendPre::Signal) {
            application->Prepare();
        } else if ((todo == SuspendPre::Stop && application->IsUp()) ||
                   application->Remembered().stopReason == StopReason::SuspendPre) {
            application->Stop(StopReason::SuspendPre, gathering.Expect(application->Name()));
        }
    }
}

// The signal that all is well again waits for a state in which the machine stays awake.
void SystemState::EndPreparation(int state)
{
    isSuspendNear_ = false;
    for (const auto& application : supervisor_.All()) {
        if (state != static_cast<int>(ProcMgr::SUSPEND) && application->IsMeantFor(state)) {
            application->TakeBackPreparation();
        }
        application->ReleaseRestart();
    }
}

void SystemState::EnterLasting(int state, Gathering& gathering)
{
    const int before = std::exchange(lasting_, state);
    EndPreparation(state);
    for (const auto& application : supervisor_.All()) {
        Fit(*application, state, before, gathering);
    }
}

void SystemState::Refit(Application& application)
{
    if (lasting_ != kUnknown) {
        const auto nobodyWaits =
            std::make_shared<Gathering>(supervisor_.Loop(), Gathering::Finished());
        Fit(application, lasting_, lasting_, *nobodyWaits);
    }
}

void SystemState::Fit(Application& application, int state, int before, Gathering& gathering)
{
    if (!application.IsMeantFor(state)) {
        const StopReason reason = application.Remembered().stopReason;
        if ((application.IsThere() && reason != StopReason::Manager) ||
            reason == StopReason::SuspendPre) {
            application.Stop(StopReason::State, gathering.Expect(application.Name()));
        }
        return;
    }
    const Memory& memory = application.Remembered();
    // What has ended by itself does its work anew when a state is entered that it was not meant
    // for before; what has failed gets another chance each time.
    const bool isAgain = memory.isWanted && application.Config().start == StartMode::Auto &&
                         (memory.hasFailed || !application.IsMeantFor(before));
    if (application.IsUp() || isAgain || (!memory.isWanted && MayStart(application))) {
        application.Start(gathering.Expect(application.Name()));
    }
}

}  // namespace ownerd
