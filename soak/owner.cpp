// An owner of a soak test: `ownerlink-soak-owner NUMBER` serves the changes of its group; owner 0
// answers exchanges and reports events besides. "report N" on its standard input has it report
// events 1 to N, never more than a burst ahead of the slowest client.

#include <ownerlink/server.h>
#include <sys/prctl.h>
#include <syslog.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstring>
#include <iostream>
#include <string>
#include <thread>

#include "platform/iam_file.h"
#include "soak/message.h"

namespace {

constexpr uint32_t kBurst = 500;  // a subscriber's ring holds 1024

struct Stage {
    std::array<std::atomic<uint32_t>, kClients> lastSeen{};
    std::atomic<uint32_t> reported{0};
    std::atomic<uint32_t> failedReports{0};
};

// Callbacks may run until the process has gone.
Stage& TheStage()
{
    static Stage& stage = *new Stage;
    return stage;
}

int OnIoctl(IAMMgrFile* /*file*/, unsigned int /*command*/, IAMIoctlArg* argument)
{
    SoakRequest request;
    if (argument->size != sizeof request) {
        return -1;
    }
    std::memcpy(&request, argument->buf, sizeof request);
    if (request.client >= kClients) {
        return -1;
    }
    TheStage().lastSeen[request.client] = request.lastEvent;
    request.tag = AnswerTo(request.tag);
    std::memcpy(argument->buf, &request, sizeof request);
    return 0;
}

bool OnChange(const std::vector<AppInfoForServer>& terminate,
              const std::vector<AppInfoForServer>& start,
              const std::vector<AppInfoForServer>& restart, std::vector<AppChangeInfo>& results)
{
    for (const auto* const apps : {&terminate, &start, &restart}) {
        for (const AppInfoForServer& app : *apps) {
            const uint64_t tag = app.args.empty() ? 0 : std::stoull(app.args[0]);
            results.emplace_back(app.appName, IsDoneAtOnce(tag) ? SUCCESS : PROCESSING);
        }
    }
    return true;
}

bool ServeExchangesAndEvents()
{
    const auto succeed = [](IAMMgrFile* /*file*/) {
        return 0;
    };
    IAMFileOps ops = {};
    ops.ioctl = OnIoctl;
    ops.open = succeed;
    ops.close = succeed;
    const IAMServiceDesc desc = {kPlainResource, &ops, 5000};
    setlogmask(LOG_UPTO(LOG_EMERG));  // else a record of syslog for each event
    return IAMRegisterService(&desc) == 0 &&
           OwnerlinkServer::GetInstance().InitSysEventServer(kEventResource) == 0;
}

uint32_t SlowestClient()
{
    const auto& seen = TheStage().lastSeen;
    return *std::min_element(seen.begin(), seen.end());
}

void Report(uint32_t count)
{
    Stage& stage = TheStage();
    SysEvent event;
    while (event.state < count) {
        while (event.state >= SlowestClient() + kBurst) {
            std::this_thread::sleep_for(std::chrono::microseconds(50));
        }
        ++event.state;
        stage.failedReports += OwnerlinkServer::GetInstance().ReportSysEvent(event) == 0 ? 0 : 1;
        stage.reported = event.state;
    }
}

}  // namespace

int main(int count, char** arguments)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const std::string number = count > 1 ? arguments[1] : "0";
    const bool isUp = OwnerlinkServer::GetInstance().RegSsChangeAppCallBackImpl(
                          OnChange, "dp:/res/soak/owner" + number) == 0 &&
                      (number != "0" || ServeExchangesAndEvents());
    std::cout << (isUp ? "ok" : "failed") << std::endl;
    std::thread reporter;
    for (std::string line; std::getline(std::cin, line) && line != "exit";) {
        if (line.rfind("report ", 0) == 0) {
            reporter = std::thread(Report, static_cast<uint32_t>(std::stoul(line.substr(7))));
            std::cout << "ok" << std::endl;
        } else {
            std::cout << "reported=" << TheStage().reported
                      << " failed=" << TheStage().failedReports << std::endl;
        }
    }
    if (reporter.joinable()) {
        reporter.join();
    }
    return 0;
}
