// An owner or a manager of the shared library, driven by lines on standard input.
//
// `road_peer NAME` is an owner: it publishes its event queue as NAME and says what that answered;
// "report STATE" answers what `ReportSysEvent` did. `road_peer "subscribe manager"` is a manager:
// "await N" answers the first N states that reached it, "end" ends its subscription.
#include <ownerlink/client.h>
#include <ownerlink/server.h>
#include <sys/prctl.h>

#include <condition_variable>
#include <csignal>
#include <iostream>
#include <mutex>
#include <sstream>
#include <string>
#include <vector>

namespace {

struct States {
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<uint32_t> received;
};

States& The()
{
    static States* const states = new States;  // events may come in after main
    return *states;
}

void OnEvent(const SysEvent& event)
{
    const std::lock_guard<std::mutex> lock(The().mutex);
    The().received.push_back(event.state);
    The().changed.notify_all();
}

std::string Await(size_t count)
{
    std::unique_lock<std::mutex> lock(The().mutex);
    The().changed.wait(lock, [&] { return The().received.size() >= count; });
    std::string all;
    for (const uint32_t state : The().received) {
        all += (all.empty() ? "" : ",") + std::to_string(state);
    }
    return all;
}

std::string Start(const std::string& role)
{
    if (role == "subscribe manager") {
        return OwnerlinkClient::GetInstance().RegSysmonitorEventImpl(OnEvent) ? "ready" : "failed";
    }
    const int code = OwnerlinkServer::GetInstance().InitSysEventServer(role);
    return code == 0 ? "ready" : std::to_string(code);
}

std::string Obey(const std::string& line)
{
    std::istringstream words(line);
    std::string verb;
    uint32_t number = 0;
    words >> verb >> number;
    if (verb == "report") {
        return std::to_string(OwnerlinkServer::GetInstance().ReportSysEvent(SysEvent{number}));
    }
    if (verb == "await") {
        return Await(number);
    }
    return OwnerlinkClient::GetInstance().UnregSysmonitorEventImpl() ? "ended" : "failed";
}

}  // namespace

int main(int count, char** arguments)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (count < 2) {
        return 2;
    }
    std::cout << Start(arguments[1]) << std::endl;
    std::string line;
    while (std::getline(std::cin, line) && line != "exit") {
        std::cout << Obey(line) << std::endl;
    }
    return 0;
}
