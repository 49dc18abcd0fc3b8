// The callbacks of the server interface. Each hands its request to the loop and waits for the
// answer, so that a cancel that comes while a state is being entered is not held up by it.
#ifndef OWNERLINK_TOOLS_OWNERD_SERVICE_H
#define OWNERLINK_TOOLS_OWNERD_SERVICE_H

#include <ownerlink/records.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "tools/ownerd/event_loop.h"
#include "tools/ownerd/supervisor.h"

namespace ownerd {

class Service {
public:
    // `reload` runs on the loop's thread. What is given must stay until the process ends.
    Service(EventLoop& loop, Supervisor& supervisor, std::function<bool()> reload);

    // Registers all callbacks and so publishes the resource; false if that is refused.
    bool Publish(const std::string& resource);

private:
    using Lists = const std::vector<AppInfoForServer>&;
    // What the loop does for a request whose answer is a verdict, due by a deadline.
    using Command = std::function<void(TimePoint deadline, const Supervisor::Verdict& done)>;

    bool PublishVerification(const std::string& resource);
    bool PublishStates(const std::string& resource);
    bool PublishApplications(const std::string& resource);
    bool PublishCommands(const std::string& resource);

    struct Deadline {
        TimePoint answer;  // of the loop
        TimePoint giveUp;  // of who waits for it
    };
    Deadline DeadlineIn(int timeOut) const;

    bool Change(Lists terminate, Lists start, Lists restart, std::vector<AppChangeInfo>& results,
                int timeOut);
    bool EnterState(int state, int timeOut);
    bool CancelSuspend(int timeOut);
    bool Query(const std::vector<std::string>& names, std::vector<AppStatus>& answers, int timeOut);
    bool List(std::vector<std::string>& names);
    bool Verify(const ChangeRecord& record);
    bool AskVerdict(int timeOut, const Command& ask);

    EventLoop& loop_;
    Supervisor& supervisor_;
    std::function<bool()> reload_;
    int ownTimeOut_;  // milliseconds, for a request that names none
};

}  // namespace ownerd

#endif
