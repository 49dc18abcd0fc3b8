// The owner: the library's server end on one side, the applications on the other.
#ifndef OWNERLINK_TOOLS_OWNERD_OWNER_H
#define OWNERLINK_TOOLS_OWNERD_OWNER_H

#include <memory>
#include <string>

#include "tools/ownerd/configuration.h"
#include "tools/ownerd/event_loop.h"
#include "tools/ownerd/guardian.h"
#include "tools/ownerd/resume_watch.h"
#include "tools/ownerd/runtime_place.h"
#include "tools/ownerd/service.h"
#include "tools/ownerd/supervisor.h"

namespace ownerd {

class Owner {
public:
    // `file` is read again at each reload. The guardian runs already, or is not wanted.
    Owner(std::string file, Configuration configuration, Guardian& guardian);

    // Serves until a signal ends it; the program's exit code.
    int Run();

private:
    bool Begin();
    bool Reload();
    std::string WhyNotReloaded(const Configuration& next) const;
    void WatchSignals();
    void OnSignal(int signal);
    void BeginEnd();
    void SaveIfChanged();
    void Report(uint32_t state, const std::string& why) const;

    std::string file_;
    Configuration configuration_;
    Guardian& guardian_;
    EventLoop loop_;
    RuntimePlace place_;
    Supervisor supervisor_;
    Service service_;
    std::unique_ptr<ResumeWatch> resumeWatch_;
    FdWatch signalWatch_;
    bool isEnding_ = false;
    bool cannotSave_ = false;
};

// The signals that an owner takes. Blocked before the first thread, so that all of them are
// delivered to the loop; those that were ignored by who started the owner are no longer, for its
// applications inherit that.
void PrepareSignals();

}  // namespace ownerd

#endif
