#include "tools/ownerd/service.h"

#include <ownerlink/server.h>

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <utility>

#include "tools/ownerd/loop_call.h"
#include "tools/ownerd/owner_log.h"

namespace ownerd {
namespace {

constexpr int kOwnTimeOut = 5000;
constexpr int kOwnTimeOutInRunMode = 1800000;
constexpr int kShortestMargin = 40;
constexpr int kLongestMargin = 200;
constexpr size_t kListRoom = 3886;
constexpr size_t kQueryRoom = 3888 - 5;
constexpr size_t kQueryEntry = 12;

int OwnTimeOut()
{
    const char* const mode = getenv("DATAMASTER_RUN_MODE");
    return mode != nullptr && std::string(mode) == "1" ? kOwnTimeOutInRunMode : kOwnTimeOut;
}

// An exception may not reach the library, which would leave the manager without an answer.
template <typename Call>
bool Guarded(const char* what, const Call& call)
{
    try {
        return call();
    } catch (const std::exception& error) {
        LogError(std::string(what) + ": " + error.what());
        return false;
    }
}

size_t RoomOf(const std::vector<AppStatus>& answers)
{
    size_t room = 0;
    for (const AppStatus& answer : answers) {
        room += kQueryEntry + answer.appName.size();
    }
    return room;
}

}  // namespace

Service::Service(EventLoop& loop, Supervisor& supervisor, std::function<bool()> reload)
    : loop_(loop), supervisor_(supervisor), reload_(std::move(reload)), ownTimeOut_(OwnTimeOut())
{
}

// The first registration puts the resource up, and a manager that watches verifies at once: that
// callback comes first. The cancel comes before the states: from the first one on it may be needed.
bool Service::Publish(const std::string& resource)
{
    return PublishVerification(resource) && PublishStates(resource) &&
           PublishApplications(resource) && PublishCommands(resource);
}

bool Service::PublishVerification(const std::string& resource)
{
    return OwnerlinkServer::GetInstance().RegSsVerifyAppCallBackImpl(
               [this](const ChangeRecord& record) {
                   return Guarded("verify", [&] { return Verify(record); });
               },
               resource) == 0;
}

bool Service::PublishStates(const std::string& resource)
{
    OwnerlinkServer& server = OwnerlinkServer::GetInstance();
    const int cancelFailed = server.RegSsCancelSuspendPreCallBackImpl(
        [this](int, int timeOut) {
            return Guarded("cancel", [&] { return CancelSuspend(timeOut); });
        },
        resource);
    const int stateFailed = server.RegSetSystemStateTimeoutCallBackImpl(
        [this](int state, int timeOut) {
            return Guarded("state", [&] { return EnterState(state, timeOut); });
        },
        resource);
    return cancelFailed == 0 && stateFailed == 0;
}

bool Service::PublishApplications(const std::string& resource)
{
    OwnerlinkServer& server = OwnerlinkServer::GetInstance();
    const int changeFailed = server.RegSsChangeAppTimeoutCallBackImpl(
        [this](Lists terminate, Lists start, Lists restart, std::vector<AppChangeInfo>& results,
               int timeOut) {
            return Guarded("change",
                           [&] { return Change(terminate, start, restart, results, timeOut); });
        },
        resource);
    const int queryFailed = server.RegSsQueryAppStateCallBackImpl(
        [this](const std::vector<std::string>& names, std::vector<AppStatus>& answers, int timeOut,
               int) { return Guarded("query", [&] { return Query(names, answers, timeOut); }); },
        resource);
    const int listFailed = server.RegQueryAppListCallBackImpl(
        [this](std::vector<std::string>& names) {
            return Guarded("list", [&] { return List(names); });
        },
        resource);
    return changeFailed == 0 && queryFailed == 0 && listFailed == 0;
}

bool Service::PublishCommands(const std::string& resource)
{
    OwnerlinkServer& server = OwnerlinkServer::GetInstance();
    const auto command = [this](const char* what, const Command& run) {
        return [this, what, run] {
            return Guarded(what, [&] { return AskVerdict(-1, run); });
        };
    };
    const Command reload = [this](TimePoint, const Supervisor::Verdict& done) {
        done(reload_());
    };
    const Command dump = [this](TimePoint, const Supervisor::Verdict& done) {
        supervisor_.Dump();
        done(true);
    };
    const Command stopAll = [this](TimePoint deadline, const Supervisor::Verdict& done) {
        supervisor_.StopAll(deadline, done);
    };
    return server.RegReloadCallBackImpl(command("reload", reload), resource) == 0 &&
           server.RegDumpCallBackImpl(command("dump", dump), resource) == 0 &&
           server.RegStopAllAppCallBackImpl(command("stop all", stopAll), resource) == 0;
}

// The manager stops waiting when its time-out has passed: the answer leaves a little before.
Service::Deadline Service::DeadlineIn(int timeOut) const
{
    const int time = timeOut > 0 ? timeOut : ownTimeOut_;
    const int margin = std::clamp(time / 10, kShortestMargin, kLongestMargin);
    const TimePoint answer = Clock::now() + Milliseconds(time - margin);
    return {answer, answer + std::chrono::seconds(1)};
}

bool Service::AskVerdict(int timeOut, const Command& ask)
{
    const Deadline deadline = DeadlineIn(timeOut);
    return AskLoop<bool>(loop_, deadline.giveUp,
                         [ask, answer = deadline.answer](const Supervisor::Verdict& done) {
                             ask(answer, done);
                         })
        .value_or(false);
}

bool Service::Change(Lists terminate, Lists start, Lists restart,
                     std::vector<AppChangeInfo>& results, int timeOut)
{
    using Results = Gathering::Results;
    const Deadline deadline = DeadlineIn(timeOut);
    const ChangeLists lists{terminate, start, restart};
    const auto answer = AskLoop<Results>(
        loop_, deadline.giveUp, [this, lists, deadline](const std::function<void(Results)>& done) {
            supervisor_.Change(lists, deadline.answer, done);
        });
    if (!answer) {
        return false;
    }
    results = *answer;
    return std::all_of(results.begin(), results.end(), [](const AppChangeInfo& result) {
        return result.state == SUCCESS || result.state == PROCESSING;
    });
}

bool Service::EnterState(int state, int timeOut)
{
    return AskVerdict(timeOut, [this, state](TimePoint deadline, const Supervisor::Verdict& done) {
        supervisor_.State().Enter(state, deadline, done);
    });
}

bool Service::CancelSuspend(int timeOut)
{
    return AskVerdict(timeOut, [this](TimePoint deadline, const Supervisor::Verdict& done) {
        supervisor_.State().CancelSuspend(deadline, done);
    });
}

bool Service::Query(const std::vector<std::string>& names, std::vector<AppStatus>& answers,
                    int timeOut)
{
    using Answers = std::vector<AppStatus>;
    const auto answer = AskLoop<Answers>(loop_, DeadlineIn(timeOut).giveUp,
                                         [this, names](const std::function<void(Answers)>& done) {
                                             done(supervisor_.Query(names));
                                         });
    if (!answer) {
        return false;
    }
    if (RoomOf(*answer) > kQueryRoom) {
        LogError("query: " + std::to_string(answer->size()) +
                 " applications do not fit into one answer; ask for fewer");
        return false;
    }
    answers = *answer;
    return true;
}

bool Service::List(std::vector<std::string>& names)
{
    using Names = std::vector<std::string>;
    const auto answer = AskLoop<Names>(
        loop_, DeadlineIn(-1).giveUp,
        [this](const std::function<void(Names)>& done) { done(supervisor_.Names()); });
    size_t room = 0;
    for (const std::string& name : answer.value_or(Names())) {
        room += name.size() + 1;
    }
    if (!answer || room > kListRoom) {
        LogError("list: the names of all applications do not fit into one answer");
        return false;
    }
    names = *answer;
    return true;
}

bool Service::Verify(const ChangeRecord& record)
{
    return AskVerdict(-1, [this, record](TimePoint deadline, const Supervisor::Verdict& done) {
        supervisor_.Verify(record, deadline, done);
    });
}

}  // namespace ownerd
