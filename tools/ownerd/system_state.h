// Which system state the owner is in, and which applications run because of it.
#ifndef OWNERLINK_TOOLS_OWNERD_SYSTEM_STATE_H
#define OWNERLINK_TOOLS_OWNERD_SYSTEM_STATE_H

#include <functional>
#include <memory>

#include "tools/ownerd/event_loop.h"
#include "tools/ownerd/gathering.h"

namespace ownerd {

class Application;
class Supervisor;

// A new state overtakes one that is still being entered, whose manager is then refused. What a
// suspend's preparation has changed is marked on the applications themselves, so that a cancel
// undoes that and no more, whatever the manager has changed in between.
class SystemState {
public:
    using Verdict = std::function<void(bool)>;

    static constexpr int kUnknown = -1;  // none has been set yet
    // How far a SUSPEND_PRE can be behind its cancel. One that comes later is another one: refused,
    // it would leave a machine that does not sleep.
    static constexpr std::chrono::seconds kCancelLead{1};

    explicit SystemState(Supervisor& supervisor) : supervisor_(supervisor) {}

    // The verdict is true once all applications are as the state wants them.
    void Enter(int state, TimePoint deadline, const Verdict& verdict);
    // Takes back the SUSPEND_PRE that has been entered or, since the two come on different threads,
    // is about to come.
    void CancelSuspend(TimePoint deadline, const Verdict& verdict);

    // Has an application follow the present state, whose file says something else now.
    void Refit(Application& application);

    // The state by which applications run: that before SUSPEND_PRE while a suspend is near.
    int Lasting() const { return lasting_; }
    bool IsSuspendNear() const { return isSuspendNear_; }
    void Remember(int lasting) { lasting_ = lasting; }

private:
    void EnterLasting(int state, Gathering& gathering);
    void PrepareSuspend(Gathering& gathering);
    void EndPreparation(int state);
    void Fit(Application& application, int state, int before, Gathering& gathering);
    std::shared_ptr<Gathering> Begin(const char* what, int state, const Verdict& verdict);

    Supervisor& supervisor_;
    int lasting_ = kUnknown;
    bool isSuspendNear_ = false;
    TimePoint cancelAheadUntil_{};  // a SUSPEND_PRE that comes before then is cancelled already
    std::weak_ptr<Gathering> current_;
};

}  // namespace ownerd

#endif
