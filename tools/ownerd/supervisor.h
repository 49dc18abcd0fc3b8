// All applications of one owner, and what is asked of them. It belongs to the loop's thread.
#ifndef OWNERLINK_TOOLS_OWNERD_SUPERVISOR_H
#define OWNERLINK_TOOLS_OWNERD_SUPERVISOR_H

#include <ownerlink/records.h>

#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "tools/ownerd/application.h"
#include "tools/ownerd/configuration.h"
#include "tools/ownerd/gathering.h"
#include "tools/ownerd/process_table.h"
#include "tools/ownerd/remembered_state.h"
#include "tools/ownerd/system_state.h"

namespace ownerd {

struct ChangeLists {
    std::vector<AppInfoForServer> terminate;
    std::vector<AppInfoForServer> start;
    std::vector<AppInfoForServer> restart;
};

using ChangeRecord = std::map<std::string, unsigned int>;  // option type by application

class Supervisor : public ApplicationHost {
public:
    using Verdict = std::function<void(bool)>;
    using Applications = std::vector<std::unique_ptr<Application>>;

    Supervisor(EventLoop& loop, const Configuration& configuration);

    // What a manager asks for. Each answer comes once: when all is done, or at the deadline.
    void Change(const ChangeLists& lists, TimePoint deadline, Gathering::Finished done);
    std::vector<AppStatus> Query(const std::vector<std::string>& names) const;
    std::vector<std::string> Names() const;
    void Dump() const;
    void StopAll(TimePoint deadline, const Verdict& done);
    void Verify(const ChangeRecord& record, TimePoint deadline, const Verdict& done);
    void Reconfigure(const Configuration& configuration);
    void Shutdown(const Work& done);

    SystemState& State() { return state_; }
    const Applications& All() const { return applications_; }
    Application* Find(const std::string& name) const;

    // What the owner's former life has left: its processes are taken over or ended, and what ran
    // then runs again.
    void TakeUp(const std::string& marker, const RememberedState& remembered);
    RememberedState Remembered() const;
    // Whether that has changed since it was last asked for.
    bool TakeChange() { return std::exchange(hasChanged_, false); }

    // Takes the steps that the order of applications allows; once in each round of the loop.
    void Advance();
    // Ends of processes that the descriptors have not told yet, and of those that forked away.
    void Reap();

    EventLoop& Loop() override { return loop_; }
    const std::string& Marker() const override { return marker_; }
    bool DieWithOwner() const override { return whenOwnerDies_ == WhenOwnerDies::Stop; }
    bool HoldsRestarts() const override { return state_.IsSuspendNear(); }
    void Changed() override { hasChanged_ = mayAdvance_ = true; }
    void EndRest(Application& application) override;
    void KillAll(Application& application) override;

private:
    void ChangeOne(const AppInfoForServer& app, uint32_t option, Gathering& gathering) const;
    void VerifyOne(const std::string& name, unsigned int option, Gathering& gathering);
    void VerifyStarted(Application& application, Gathering& gathering);
    void AdvanceOne(Application& application);
    void AdvanceWaiting(Application& application);
    void AdvanceLeaving(Application& application);
    void SweepIfDue();
    void Sweep();
    bool EndProcesses(const std::string& name, const ProcessesByApplication& processes);
    void EndLeftovers();
    bool KillLeftovers(std::set<pid_t>& told);
    void ForgetRemoved();
    std::unique_ptr<Application> MakeNew(const ApplicationConfig& config);
    std::unique_ptr<Application> Reconfigured(std::unique_ptr<Application> application,
                                              const ApplicationConfig& config);
    void DropFromConfiguration(const Configuration& configuration);

    EventLoop& loop_;
    std::string marker_;
    WhenOwnerDies whenOwnerDies_;
    GroupOwner group_;
    std::string resource_;
    SystemState state_;
    Applications applications_;  // in the order in which they start
    Applications removed_;       // from the configuration, and still stopping
    bool hasChanged_ = true;
    bool mayAdvance_ = true;

    // Applications whose rest is being ended; swept together, since each sweep walks all processes.
    std::set<Application*> draining_;
    std::set<std::string> killing_;
    std::set<std::string> toldOfRest_;
    Timer sweepTimer_;
    TimePoint nextSweep_{};
};

}  // namespace ownerd

#endif
