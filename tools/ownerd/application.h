// One application: what is wanted of it, and the process that it runs as.
//
//   Stopped -> Waiting -> Starting -> Running -> Leaving -> Stopping -> Draining -> Stopped
//                 ^                                                       |
//                 +----------------------- BackOff <----------------------+
//
// Waiting and Leaving end when the order of applications allows it; a process that ends by itself
// goes to Draining at once. All of it happens on the loop's thread.
#ifndef OWNERLINK_TOOLS_OWNERD_APPLICATION_H
#define OWNERLINK_TOOLS_OWNERD_APPLICATION_H

#include <ownerlink/records.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/ownerd/application_config.h"
#include "tools/ownerd/application_output.h"
#include "tools/ownerd/event_loop.h"
#include "tools/ownerd/launch.h"
#include "tools/ownerd/launch_environment.h"
#include "tools/ownerd/notify_socket.h"
#include "tools/ownerd/restart_back_off.h"

namespace ownerd {

class Application;

enum class Phase { Stopped, Waiting, Starting, Running, Leaving, Stopping, Draining, BackOff };

// Who has stopped it; this decides what starts it again.
enum class StopReason { None, Manager, StopAll, State, SuspendPre, Reload, Shutdown };

// What an application needs of its supervisor.
class ApplicationHost {
public:
    virtual ~ApplicationHost() = default;

    virtual EventLoop& Loop() = 0;
    virtual const std::string& Marker() const = 0;  // tells this owner's processes from others
    virtual bool DieWithOwner() const = 0;
    virtual bool HoldsRestarts() const = 0;  // a suspend is near
    // The application has reached another phase.
    virtual void Changed() = 0;
    // Its process has ended. What it has left behind is ended too, and then `RestGone` called.
    virtual void EndRest(Application& application) = 0;
    // Its process does not end: all that belongs to it is killed.
    virtual void KillAll(Application& application) = 0;
};

// What outlives the owner.
struct Memory {
    bool isWanted = false;
    bool hasEnded = false;    // by itself, and its policy left it so
    bool hasFailed = false;   // could not be started, or was restarted too often
    bool isPrepared = false;  // has been told by a signal that a suspend is near
    StopReason stopReason = StopReason::None;
    std::vector<std::string> arguments;
    Parameters parameters;
    pid_t pid = 0;
    uint64_t startTime = 0;
};

class Application {
public:
    using Done = std::function<void(AppChangeState)>;

    Application(ApplicationConfig config, ApplicationHost& host);
    Application(const Application&) = delete;
    Application& operator=(const Application&) = delete;
    ~Application();

    const ApplicationConfig& Config() const { return config_; }
    const std::string& Name() const { return config_.name; }
    Phase GetPhase() const { return phase_; }
    const Memory& Remembered() const { return memory_; }
    pid_t Pid() const { return memory_.pid; }
    bool IsMeantFor(int state) const;
    bool IsUp() const;                                     // wanted, and neither ended nor failed
    bool IsThere() const { return IsUp() || Pid() != 0; }  // something is left to stop
    bool IsReady() const;                                  // others may start after it
    bool IsGoing() const;                                  // on its way out
    bool IsGone() const { return phase_ == Phase::Stopped; }
    bool IsEnding() const { return phase_ == Phase::Draining; }
    bool HasStarted() const { return isReady_; }
    std::string Describe() const;

    // What is wanted of it. `done` is called once, at once or later; a later request that takes
    // back this one answers it with its failure.
    void Start(Done done);
    void Stop(StopReason reason, Done done);
    void Restart(Done done);
    void SetArguments(std::vector<std::string> arguments, Parameters parameters);
    void Reconfigure(const ApplicationConfig& config);
    void ReleaseRestart();       // of a restart that was held back
    void Prepare();              // tells it by its signal that a suspend is near
    void TakeBackPreparation();  // and by another that it is not
    void Remember(const Memory& memory);
    // Takes over a process of the owner's former life. False if it is gone.
    bool TakeOver(const Memory& memory);

    // The order allows the step from Waiting or Leaving, or forbids it for good.
    void Launch();
    void SendStop();
    void Refuse(const std::string& reason);
    // Called by the host.
    void RestGone();
    void CheckExit();
    void StopAtOnce();  // with SIGKILL, whether its turn to stop has come or not
    void SignalGroup(int signal) const;
    bool SignalProcess(int signal) const;  // false: there is none

private:
    struct Waiter {
        uint32_t option;
        Done done;
    };

    void Enter(Phase phase);
    void BeginStart();
    // Answers those who wait for a start, or for a stop.
    void SettleStarts(AppChangeState forStart, AppChangeState forRestart);
    void SettleStops(AppChangeState state);
    void Settle(const std::function<std::optional<AppChangeState>(uint32_t option)>& answer);

    LaunchedProcess MakeProcess();
    void WatchProcess(pid_t pid, UniqueFd pidFd);
    void OnLaunchReport();
    void OnProgramRuns();
    void OnNotification(const Notification& notification);
    void TakeMainProcess(const std::string& text);
    void OnReady();
    void OnNotReadyInTime();
    void OnExit(const std::string& how, bool isFailure);
    void OnGraceOver();
    void EndedByItself();
    void RestartLater();
    void Fail(const std::string& reason, AppChangeState state);
    void ForgetProcess();

    ApplicationConfig config_;
    ApplicationHost& host_;
    Phase phase_ = Phase::Stopped;
    Memory memory_;
    bool isReady_ = false;          // this run has been started successfully
    bool goesOnAfterStop_ = false;  // a restart is under way
    bool exitWasFailure_ = false;
    std::optional<LaunchFailure> launchFailure_;
    RestartBackOff backOff_;
    TimePoint since_{};
    std::vector<Waiter> waiters_;

    FdWatch pidWatch_;
    FdWatch launchWatch_;
    std::unique_ptr<NotifySocket> notifySocket_;
    std::unique_ptr<ApplicationOutput> output_;
    Timer timer_;
};

}  // namespace ownerd

#endif
