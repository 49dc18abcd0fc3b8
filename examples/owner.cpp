// The smallest group owner: serves every command for applications that it keeps on paper only.
//
//   owner RESOURCE [EVENT_RESOURCE]
//
// It prints each command that it serves, and obeys the lines of its standard input, so that one can
// see how a manager gets on with a difficult owner: "refuse" and "accept", "slow MILLISECONDS".
// With an event resource, which is "dp:/res/pm/sys_event" for managers, "event STATE" reports a
// system event to whoever has subscribed. It ends with its input.

#include <ownerlink/enum_text.h>
#include <ownerlink/server.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <iostream>
#include <mutex>
#include <sstream>
#include <thread>

namespace {

constexpr uint32_t kRunning = 0;  // the numbers that a query gives
constexpr uint32_t kTerminated = 1;

class Owner {
public:
    // True if every callback found its place and the resource file is up.
    bool Serve(const std::string& resource)
    {
        OwnerlinkServer& server = OwnerlinkServer::GetInstance();
        using Lists = const std::vector<AppInfoForServer>&;
        const int failures[] = {
            // First: it puts the resource up, and a manager that watches verifies at once.
            server.RegSsVerifyAppCallBackImpl(
                [this](const std::map<std::string, unsigned int>& record) {
                    return Verify(record);
                },
                resource),
            server.RegSetSystemStateTimeoutCallBackImpl(
                [this](int state, int timeOut) { return SetState("state", state, timeOut); },
                resource),
            server.RegSsCancelSuspendPreCallBackImpl(
                [this](int state, int timeOut) { return SetState("cancel", state, timeOut); },
                resource),
            server.RegSsChangeAppCallBackImpl(
                [this](Lists terminate, Lists start, Lists restart,
                       std::vector<AppChangeInfo>& results) {
                    const bool isStopped =
                        Change("stop", terminate, kTerminated, TERM_FAILED, results);
                    const bool isStarted = Change("start", start, kRunning, START_FAILED, results);
                    const bool isRestarted =
                        Change("restart", restart, kRunning, RESTART_FAILED, results);
                    return isStopped && isStarted && isRestarted;
                },
                resource),
            server.RegSsQueryAppStateCallBackImpl(
                [this](const std::vector<std::string>& names, std::vector<AppStatus>& answers, int,
                       int) { return Query(names, answers); },
                resource),
            server.RegQueryAppListCallBackImpl(
                [this](std::vector<std::string>& names) { return List(names); }, resource),
            server.RegReloadCallBackImpl([this] { return Say("reload"); }, resource),
            server.RegDumpCallBackImpl([this] { return Say("dump"); }, resource),
            server.RegStopAllAppCallBackImpl([this] { return StopAll(); }, resource),
        };
        return std::all_of(std::begin(failures), std::end(failures),
                           [](int failure) { return failure == 0; });
    }

    void Obey(const std::string& line)
    {
        std::istringstream words(line);
        std::string verb;
        words >> verb;
        if (verb == "slow") {
            int milliseconds = 0;
            words >> milliseconds;
            delay_ = milliseconds;
        } else if (verb == "refuse" || verb == "accept") {
            refuses_ = verb == "refuse";
        } else if (verb != "event" || !Report(words)) {
            std::cerr << "owner: cannot '" << line << "'" << std::endl;
            return;
        }
        std::cout << "now " + line + "\n" << std::flush;
    }

private:
    // False if it is no state, or if one subscriber at least goes without the event.
    static bool Report(std::istringstream& words)
    {
        std::string name;
        words >> name;
        using namespace ProcMgr;
        for (const uint32_t state : {OFF, WORKING, SUSPEND, UPGRADE, CALIBRATION, SUSPEND_PRE}) {
            if (GetSysState(state) == name) {
                return OwnerlinkServer::GetInstance().ReportSysEvent(SysEvent{state}) == 0;
            }
        }
        return false;
    }

    bool SetState(const std::string& what, int state, int timeOut)
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(delay_));
        return Say(what + " " + ProcMgr::GetSysState(static_cast<unsigned long>(state)) +
                   " within " + std::to_string(timeOut) + " ms");
    }

    bool Change(const std::string& what, const std::vector<AppInfoForServer>& apps, uint32_t status,
                AppChangeState failure, std::vector<AppChangeInfo>& results)
    {
        bool verdict = true;
        for (const AppInfoForServer& app : apps) {
            verdict = Say(what + " " + app.appName);
            results.emplace_back(app.appName, verdict ? SUCCESS : failure);
            if (verdict) {
                Set(app.appName, status);
            }
        }
        return verdict;
    }

    // All applications for an empty list.
    bool Query(const std::vector<std::string>& names, std::vector<AppStatus>& answers)
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        for (const auto& [name, status] : statusByApp_) {
            if (names.empty() || std::find(names.begin(), names.end(), name) != names.end()) {
                answers.push_back({name, 0, status});
            }
        }
        return true;
    }

    bool List(std::vector<std::string>& names)
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        for (const auto& [name, status] : statusByApp_) {
            names.push_back(name);
        }
        return true;
    }

    bool Verify(const std::map<std::string, unsigned int>& record)
    {
        for (const auto& [name, option] : record) {
            Say("verify " + name + " " + ProcMgr::GetOptionType(option));
            Set(name, option == ProcMgr::TERM ? kTerminated : kRunning);
        }
        return true;
    }

    bool StopAll()
    {
        if (!Say("stop all")) {
            return false;
        }
        const std::lock_guard<std::mutex> lock(mutex_);
        for (auto& [name, status] : statusByApp_) {
            status = kTerminated;
        }
        return true;
    }

    void Set(const std::string& name, uint32_t status)
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        statusByApp_[name] = status;
    }

    // Prints what was asked and gives the verdict on it.
    bool Say(const std::string& what)
    {
        const bool verdict = !refuses_;
        std::cout << (verdict ? "" : "refused: ") + what + "\n" << std::flush;
        return verdict;
    }

    std::atomic<bool> refuses_{false};
    std::atomic<int> delay_{0};
    std::mutex mutex_;
    std::map<std::string, uint32_t> statusByApp_;
};

}  // namespace

int main(int argc, char** argv)
{
    if (argc < 2 || argc > 3) {
        std::cerr << "usage: owner RESOURCE [EVENT_RESOURCE]" << std::endl;
        return 2;
    }
    static Owner owner;  // callbacks may run until the process has gone
    if (!owner.Serve(argv[1])) {
        std::cerr << "owner: cannot publish " << argv[1] << "; the log says why" << std::endl;
        return 1;
    }
    // From here on the server end logs to syslog.
    if (argc == 3 && OwnerlinkServer::GetInstance().InitSysEventServer(argv[2]) != 0) {
        std::cerr << "owner: cannot publish " << argv[2] << "; the system's log says why"
                  << std::endl;
        return 1;
    }
    std::cout << "ready" << std::endl;
    for (std::string line; std::getline(std::cin, line);) {
        owner.Obey(line);
    }
    return 0;
}
