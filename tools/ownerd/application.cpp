#include "tools/ownerd/application.h"

#include <algorithm>
#include <utility>

#include "tools/ownerd/config_values.h"
#include "tools/ownerd/owner_log.h"

namespace ownerd {
namespace {

const char* NameOf(Phase phase)
{
    static const char* const names[] = {"stopped",  "waiting",  "starting", "running",
                                        "stopping", "stopping", "ending",   "back-off"};
    return names[static_cast<size_t>(phase)];
}

}  // namespace

Application::Application(ApplicationConfig config, ApplicationHost& host)
    : config_(std::move(config)), host_(host), timer_(host.Loop())
{
}

Application::~Application() = default;

bool Application::IsMeantFor(int state) const
{
    return state >= 0 && config_.states.contains(static_cast<uint32_t>(state));
}

bool Application::IsUp() const
{
    return memory_.isWanted && !memory_.hasEnded && !memory_.hasFailed;
}

// One that has done its work and ended holds up nobody.
bool Application::IsReady() const
{
    return phase_ == Phase::Running || memory_.hasEnded;
}

bool Application::IsGoing() const
{
    return phase_ == Phase::Leaving || phase_ == Phase::Stopping || phase_ == Phase::Draining;
}

std::string Application::Describe() const
{
    std::string text = config_.name + ": ";
    text += memory_.hasFailed ? "failed" : memory_.hasEnded ? "ended" : NameOf(phase_);
    if (memory_.pid != 0) {
        text += ", pid " + std::to_string(memory_.pid);
    }
    using std::chrono::duration_cast;
    using std::chrono::seconds;
    if (since_ != TimePoint()) {
        text +=
            ", for " + std::to_string(duration_cast<seconds>(Clock::now() - since_).count()) + " s";
    }
    if (backOff_.Count() > 0) {
        text += ", " + std::to_string(backOff_.Count()) + " restarts";
    }
    text += ", meant for";
    for (const uint32_t state : config_.states) {
        text += ' ' + ProcMgr::GetSysState(state);
    }
    return text;
}

void Application::Start(Done done)
{
    memory_.isWanted = true;
    memory_.hasEnded = false;
    memory_.hasFailed = false;
    memory_.stopReason = StopReason::None;
    waiters_.push_back({ProcMgr::START, std::move(done)});
    BeginStart();
}

void Application::BeginStart()
{
    switch (phase_) {
        case Phase::Stopped:
        case Phase::BackOff:
            timer_.Clear();
            backOff_.Reset();
            Enter(Phase::Waiting);
            break;
        case Phase::Leaving:
            if (!goesOnAfterStop_) {
                // Nobody has told it to stop yet.
                SettleStops(TERM_FAILED);
                Enter(isReady_ ? Phase::Running : Phase::Starting);
            }
            break;
        case Phase::Stopping:
        case Phase::Draining:
            goesOnAfterStop_ = true;
            break;
        default:
            break;
    }
    if (phase_ == Phase::Running) {
        SettleStarts(SUCCESS, SUCCESS);
    }
    host_.Changed();
}

void Application::Stop(StopReason reason, Done done)
{
    memory_.isWanted = false;
    memory_.hasEnded = false;
    memory_.hasFailed = false;
    memory_.stopReason = reason;
    goesOnAfterStop_ = false;
    SettleStarts(START_FAILED, RESTART_FAILED);
    waiters_.push_back({ProcMgr::TERM, std::move(done)});
    if (phase_ == Phase::Waiting || phase_ == Phase::BackOff || phase_ == Phase::Stopped) {
        timer_.Clear();
        Enter(Phase::Stopped);
        SettleStops(SUCCESS);
    } else if (phase_ == Phase::Starting || phase_ == Phase::Running) {
        Enter(Phase::Leaving);
    }
    host_.Changed();
}

void Application::Restart(Done done)
{
    if (memory_.pid == 0) {
        Start([done = std::move(done)](AppChangeState state) {
            done(state == START_FAILED ? RESTART_FAILED : state);
        });
        return;
    }
    memory_.isWanted = true;
    memory_.hasEnded = false;
    memory_.hasFailed = false;
    memory_.stopReason = StopReason::None;
    backOff_.Reset();
    goesOnAfterStop_ = true;
    waiters_.push_back({ProcMgr::RESTART, std::move(done)});
    if (phase_ == Phase::Starting || phase_ == Phase::Running) {
        Enter(Phase::Leaving);
    }
    host_.Changed();
}

void Application::SetArguments(std::vector<std::string> arguments, Parameters parameters)
{
    memory_.arguments = std::move(arguments);
    memory_.parameters = std::move(parameters);
}

void Application::Reconfigure(const ApplicationConfig& config)
{
    const bool isLaunchedAlike = config.launch == config_.launch;
    config_ = config;
    if (!isLaunchedAlike && memory_.isWanted && memory_.pid != 0) {
        LogInfo(config_.name, "is launched otherwise now, restarting it");
        Restart([](AppChangeState) {});
    }
}

void Application::ReleaseRestart()
{
    if (phase_ == Phase::BackOff && !timer_.IsSet()) {
        Enter(Phase::Waiting);
    }
}

void Application::Prepare()
{
    if (memory_.pid != 0 && !memory_.isPrepared) {
        memory_.isPrepared = true;
        SignalProcess(config_.prepareSignal);
        LogInfo(config_.name,
                "told by " + SignalName(config_.prepareSignal) + " that a suspend is near");
    }
}

void Application::TakeBackPreparation()
{
    if (std::exchange(memory_.isPrepared, false) && memory_.pid != 0 && config_.cancelSignal != 0) {
        SignalProcess(config_.cancelSignal);
        LogInfo(config_.name,
                "told by " + SignalName(config_.cancelSignal) + " that the suspend is over");
    }
}

void Application::Remember(const Memory& memory)
{
    memory_ = memory;
    memory_.pid = 0;
    memory_.startTime = 0;
    memory_.isPrepared = false;
    if (IsUp()) {
        Enter(Phase::Waiting);
    }
}

void Application::Refuse(const std::string& reason)
{
    Fail(reason, START_FAILED);
}

void Application::Enter(Phase phase)
{
    if (phase_ != phase) {
        phase_ = phase;
        since_ = Clock::now();
        host_.Changed();
    }
}

void Application::SettleStarts(AppChangeState forStart, AppChangeState forRestart)
{
    Settle([&](uint32_t option) -> std::optional<AppChangeState> {
        if (option == ProcMgr::TERM) {
            return std::nullopt;
        }
        return option == ProcMgr::START ? forStart : forRestart;
    });
}

void Application::SettleStops(AppChangeState state)
{
    Settle([&](uint32_t option) {
        return option == ProcMgr::TERM ? std::optional(state) : std::nullopt;
    });
}

// Those who are answered may ask for something new at once.
void Application::Settle(const std::function<std::optional<AppChangeState>(uint32_t)>& answer)
{
    std::vector<std::pair<Done, AppChangeState>> settled;
    for (auto waiter = waiters_.begin(); waiter != waiters_.end();) {
        if (const auto state = answer(waiter->option)) {
            settled.emplace_back(std::move(waiter->done), *state);
            waiter = waiters_.erase(waiter);
        } else {
            ++waiter;
        }
    }
    for (const auto& [done, state] : settled) {
        done(state);
    }
}

}  // namespace ownerd
