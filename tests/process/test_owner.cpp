// A group owner that reports each callback, entry by entry, and does what the test tells it.
//
//   process_test_owner RESOURCE [LINE...]
//
// Lines, those of the command line before it serves and then those of standard input, each answered
// with "ok" once it holds:
//   always KIND ACTION           see OwnerPlan
//   once KIND ACTION NUMBER
//   release KIND accept|refuse
//   fail APP STATE               the state that a change reports for this application from now on
//   apps [APP...]                what a list answers
//   exit                         ends the process as a return from main does
//
// Reports: "ready", and a line for each callback. A change names its entries in the order in which
// they came: "stop=", "start=" or "restart=", the name, ":ARGUMENT" for each, "@INDEX:VALUE" for
// each dynamic parameter.

#include <ownerlink/server.h>

#include <unistd.h>

#include <iostream>
#include <iterator>
#include <sstream>

#include "tests/process/owner_plan.h"
#include "tests/process/peer_lines.h"

namespace {

using Apps = std::vector<AppInfoForServer>;
using Words = std::istringstream;

class TestOwner {
public:
    bool Serve(const std::string& resource);
    bool Obey(const std::string& line);

private:
    bool RegisterApplications(OwnerlinkServer& server, const std::string& resource);
    bool Change(const Apps& stop, const Apps& start, const Apps& restart,
                std::vector<AppChangeInfo>& results, int timeOut);
    bool Query(const std::vector<std::string>& names, std::vector<AppStatus>& answers, int timeOut,
               int type);
    bool Verify(const std::map<std::string, unsigned int>& record);
    bool Report(const std::string& kind, const std::string& facts);
    void TakeApps(Words& words);
    void TakeFailure(Words& words);

    OwnerPlan plan_;
    std::mutex mutex_;
    std::vector<std::string> apps_;
    std::map<std::string, AppChangeState> states_;
};

std::string Entries(const char* verb, const Apps& apps)
{
    std::ostringstream text;
    for (const AppInfoForServer& app : apps) {
        text << ' ' << verb << '=' << app.appName;
        for (const std::string& argument : app.args) {
            text << ':' << argument;
        }
        for (const auto& [index, values] : app.dynamicPara) {
            for (const std::string& value : values) {
                text << '@' << index << ':' << value;
            }
        }
    }
    return text.str();
}

std::string Numbers(int first, int second)
{
    return ' ' + std::to_string(first) + ' ' + std::to_string(second);
}

bool TestOwner::Report(const std::string& kind, const std::string& facts)
{
    const std::string action = plan_.Next(kind);
    Say(kind + facts);
    return plan_.Follow(kind, action);
}

bool TestOwner::Serve(const std::string& resource)
{
    OwnerlinkServer& server = OwnerlinkServer::GetInstance();
    const auto command = [this](const char* kind) {
        return [this, kind] {
            return Report(kind, "");
        };
    };
    // First: it puts the resource up, and a manager that watches verifies at once.
    const bool isUp =
        server.RegSsVerifyAppCallBackImpl(
            [this](const std::map<std::string, unsigned int>& record) { return Verify(record); },
            resource) == 0;
    return isUp &&
           server.RegSetSystemStateTimeoutCallBackImpl(
               [this](int state, int timeOut) { return Report("state", Numbers(state, timeOut)); },
               resource) == 0 &&
           server.RegSsCancelSuspendPreCallBackImpl(
               [this](int state, int timeOut) { return Report("cancel", Numbers(state, timeOut)); },
               resource) == 0 &&
           server.RegReloadCallBackImpl(command("reload"), resource) == 0 &&
           server.RegDumpCallBackImpl(command("dump"), resource) == 0 &&
           server.RegStopAllAppCallBackImpl(command("stop-all"), resource) == 0 &&
           RegisterApplications(server, resource);
}

bool TestOwner::RegisterApplications(OwnerlinkServer& server, const std::string& resource)
{
    return server.RegSsChangeAppTimeoutCallBackImpl(
               [this](const Apps& stop, const Apps& start, const Apps& restart,
                      std::vector<AppChangeInfo>& results,
                      int timeOut) { return Change(stop, start, restart, results, timeOut); },
               resource) == 0 &&
           server.RegSsQueryAppStateCallBackImpl(
               [this](const std::vector<std::string>& names, std::vector<AppStatus>& answers,
                      int timeOut, int type) { return Query(names, answers, timeOut, type); },
               resource) == 0 &&
           server.RegQueryAppListCallBackImpl(
               [this](std::vector<std::string>& names) {
                   const std::lock_guard<std::mutex> lock(mutex_);
                   names = apps_;
                   return Report("list", "");
               },
               resource) == 0;
}

// The states are in the answer whatever the verdict.
bool TestOwner::Change(const Apps& stop, const Apps& start, const Apps& restart,
                       std::vector<AppChangeInfo>& results, int timeOut)
{
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        for (const Apps* apps : {&stop, &start, &restart}) {
            for (const AppInfoForServer& app : *apps) {
                const auto state = states_.find(app.appName);
                results.emplace_back(app.appName, state == states_.end() ? SUCCESS : state->second);
            }
        }
    }
    return Report("change", ' ' + std::to_string(timeOut) + Entries("stop", stop) +
                                Entries("start", start) + Entries("restart", restart));
}

bool TestOwner::Query(const std::vector<std::string>& names, std::vector<AppStatus>& answers,
                      int timeOut, int type)
{
    std::string facts = Numbers(type, timeOut);
    for (const std::string& name : names) {
        facts += ' ' + name;
        answers.push_back({name, getpid(), 1});
    }
    return Report("query", facts);
}

bool TestOwner::Verify(const std::map<std::string, unsigned int>& record)
{
    std::string facts;
    for (const auto& [name, option] : record) {
        facts += ' ' + name + '=' + std::to_string(option);
    }
    return Report("verify", facts);
}

void TestOwner::TakeApps(Words& words)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    apps_.assign(std::istream_iterator<std::string>(words), {});
}

void TestOwner::TakeFailure(Words& words)
{
    std::string name;
    uint32_t state = 0;
    words >> name >> state;
    const std::lock_guard<std::mutex> lock(mutex_);
    states_[name] = static_cast<AppChangeState>(state);
}

// False for the line that ends the process.
bool TestOwner::Obey(const std::string& line)
{
    Words words(line);
    std::string verb;
    words >> verb;
    if (verb == "exit") {
        return false;
    }
    if (verb == "apps") {
        TakeApps(words);
    } else if (verb == "fail") {
        TakeFailure(words);
    } else {
        std::string kind;
        std::string action;
        int number = 1;
        words >> kind >> action >> number;
        if (verb == "always") {
            plan_.Always(kind, action);
        } else if (verb == "once") {
            plan_.Once(kind, action, number == 0 ? 1 : number);
        } else if (verb == "release") {
            plan_.Release(kind, action);
        }
    }
    Say("ok");
    return true;
}

}  // namespace

int main(int argc, char** argv)
{
    FollowTheTest();
    static TestOwner& owner = *new TestOwner;  // callbacks may run until the process has gone
    for (int line = 2; line < argc; ++line) {
        owner.Obey(argv[line]);
    }
    const bool isUp = argc >= 2 && owner.Serve(argv[1]);
    Say(isUp ? "ready" : "failed");
    for (std::string line; isUp && std::getline(std::cin, line);) {
        if (!owner.Obey(line)) {
            break;
        }
    }
    return isUp ? 0 : 1;
}
