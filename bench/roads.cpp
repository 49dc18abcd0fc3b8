// The library's main roads, each run a few times under callgrind, which counts its instructions.
//
//   ownerlink-roads            runs them; each leaves one dump for each run
//   ownerlink-roads owners     prints the configuration file that the other form needs
//
// Counted is what this process does, all its threads together, without the kernel's part: the
// manager's side of a call, the owners being processes of their own, or the owner's side of one.

#include <ownerlink/client.h>
#include <ownerlink/enum_text.h>
#include <ownerlink/server.h>
#include <syslog.h>
#include <unistd.h>
#include <valgrind/callgrind.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <functional>
#include <iostream>
#include <map>
#include <memory>
#include <stdexcept>
#include <thread>

#include "bench/applications.h"
#include "bench/owner_role.h"
#include "bench/processes.h"
#include "bench/world.h"
#include "server/ownerlink_server_impl.h"

namespace bench {
namespace {

using ProcMgr::OwnerlinkRequestMsg;
using ProcMgr::OwnerlinkResponseMsg;

constexpr int kTimeOut = 5000;
constexpr int kEveryOwner = 1;
constexpr int kWarmUps = 4;  // what only first calls do is not counted
constexpr int kRuns = 9;
constexpr std::chrono::milliseconds kBetweenProbes{2};
constexpr const char* kEventResource = "dp:/res/pm/sys_event";
constexpr const char* kOwnResource = "dp:/res/bench/roads";

void Require(bool condition, const char* what)
{
    if (!condition) {
        throw std::runtime_error(std::string(what) + " did not succeed");
    }
}

void Count(const char* road, const std::function<void()>& run)
{
    for (int i = 0; i < kWarmUps; ++i) {
        run();
    }
    for (int i = 0; i < kRuns; ++i) {
        CALLGRIND_ZERO_STATS;
        CALLGRIND_START_INSTRUMENTATION;
        run();
        CALLGRIND_STOP_INSTRUMENTATION;
        CALLGRIND_DUMP_STATS_AT(road);
    }
}

// ---- The manager's side -------------------------------------------------------------------------

void CountChange(const char* road, size_t count)
{
    Count(road, [applications = UsualApplications(count)] {
        std::vector<AppChangeInfo> results;
        Require(
            OwnerlinkClient::GetInstance().ChangeAppState(applications, results, kTimeOut) == 0 &&
                results.size() == applications.size(),
            "ChangeAppState");
    });
}

std::vector<std::string> NamesOf(const std::vector<AppInfo>& applications)
{
    std::vector<std::string> names;
    names.reserve(applications.size());
    for (const AppInfo& app : applications) {
        names.push_back(app.appName);
    }
    return names;
}

void CountQuery(const char* road, size_t count)
{
    Count(road, [names = NamesOf(UsualApplications(count))] {
        std::vector<AppStatus> answers;
        Require(OwnerlinkClient::GetInstance().QueryAppState(names, answers, kTimeOut,
                                                             kEveryOwner) == 0 &&
                    answers.size() == names.size() * kOwners,
                "QueryAppState");
    });
}

void CountManager()
{
    Count("manager: one exchange",
          [] { Require(OwnerlinkClientInner::GetInstance().DumpGrp(DP, DATAMASTER), "DumpGrp"); });
    Count("manager: SetSystemState, three owners", [] {
        Require(OwnerlinkClient::GetInstance().SetSystemState(ProcMgr::WORKING, kTimeOut) == 0,
                "SetSystemState");
    });
    CountChange("manager: ChangeAppState, 3", 3);
    CountChange("manager: ChangeAppState, 300", 300);
    CountQuery("manager: QueryAppState, 30 names", 30);
}

// ---- The owner's side ---------------------------------------------------------------------------

void CountRequest(const char* road, unsigned int command, const OwnerlinkRequestMsg& request)
{
    Count(road, [&] {
        OwnerlinkResponseMsg response;
        ProcMgr::OwnerlinkServerImpl::HandleRequestFromClient(command, &request, response);
        Require(response.size != 0, "a request");
    });
}

// Reports until the subscriber has seen an event.
void AwaitSubscription(OwnerlinkServer& owner, RoleProcess& subscriber)
{
    std::atomic<bool> hasSeen = false;
    std::thread reporter([&] {
        while (!hasSeen) {
            owner.ReportSysEvent(SysEvent{0});
            std::this_thread::sleep_for(kBetweenProbes);
        }
    });
    subscriber.AwaitReady();
    hasSeen = true;
    reporter.join();
}

// A manager that stands still: whether it is awake makes no difference to what is counted.
class StoppedSubscriber {
public:
    explicit StoppedSubscriber(OwnerlinkServer& owner)
    {
        AwaitSubscription(owner, process_);
        Require(kill(process_.Id(), SIGSTOP) == 0, "SIGSTOP");
    }
    ~StoppedSubscriber() { kill(process_.Id(), SIGCONT); }
    StoppedSubscriber(const StoppedSubscriber&) = delete;
    StoppedSubscriber& operator=(const StoppedSubscriber&) = delete;

private:
    RoleProcess process_{{"subscriber"}};
};

void CountEvent(OwnerlinkServer& owner)
{
    Require(owner.InitSysEventServer(kEventResource) == 0, "InitSysEventServer");
    const StoppedSubscriber subscriber(owner);
    Count("owner: an event to one subscriber",
          [&owner] { Require(owner.ReportSysEvent(SysEvent{1}) == 0, "ReportSysEvent"); });
}

void CountOwner()
{
    PublishOwner(kOwnResource);
    OwnerlinkRequestMsg request;
    CountRequest("owner: a command", ProcMgr::DUMP_APP, request);
    Ownerlink::Serialization::PackSetSystemStateRequest(ProcMgr::WORKING, request);
    CountRequest("owner: a system state", ProcMgr::SET_SYSTEM_STATE, request);
    const auto records = RecordsOf(ShareOf(UsualApplications(150), 0));
    CountRequest("owner: a change of 50 applications", ProcMgr::CHANGE_APP, records.front());
    CountEvent(OwnerlinkServer::GetInstance());
}

// ---- The codecs ---------------------------------------------------------------------------------

void CountChangeCodecs()
{
    const std::vector<AppInfo> share = ShareOf(UsualApplications(300), 0);
    Count("codec: pack a change of 100", [&] { Require(!RecordsOf(share).empty(), "packing"); });
    const OwnerlinkRequestMsg record = RecordsOf(share).front();
    std::vector<AppChangeInfo> results;
    results.reserve(share.size());
    Count("codec: unpack a record of changes", [&] {
        std::vector<AppInfo> applications;
        Require(ProcMgr::SS::UnPackChangeAppInfoRequestMsg(&record, applications), "unpacking");
    });
    for (const AppInfo& app : share) {
        results.emplace_back(app.appName, SUCCESS);
    }
    OwnerlinkResponseMsg response;
    Count("codec: pack 100 results", [&] {
        Require(ProcMgr::SS::PackChangeAppInfoResponse(true, results, response), "packing");
    });
    Count("codec: unpack 100 results", [&] {
        bool verdict = false;
        std::map<std::string, AppChangeState> states;
        Ownerlink::Serialization::UnPackChangeAppInfoResponseMsg(response, verdict, states);
        Require(verdict, "unpacking");
    });
}

void CountVerifyCodecs()
{
    std::map<std::string, unsigned int> types;
    for (const AppInfo& app : UsualApplications(100)) {
        types[app.appName] = app.optionType;
    }
    std::vector<OwnerlinkRequestMsg> records;
    Count("codec: pack a verification of 100", [&] {
        records.clear();
        Require(Ownerlink::Serialization::PackVerifyRequest(types, records), "packing");
    });
    Count("codec: unpack a verification of 100", [&] {
        std::map<std::string, unsigned int> entries;
        Require(ProcMgr::SS::UnPackVerifyRequest(&records.front(), entries), "unpacking");
    });
}

// ---- The processes ------------------------------------------------------------------------------

void CountRoads()
{
    const TemporaryDirectory directory;
    setenv("OWNERLINK_RUNTIME_DIR", (directory.Path() + "/run").c_str(), 1);
    setenv("OWNERLINK_LOG", "off", 1);
    setlogmask(LOG_UPTO(LOG_ERR));
    std::vector<std::unique_ptr<RoleProcess>> owners;
    owners.reserve(kOwners);
    for (const char* resource : kResources) {
        owners.push_back(
            std::make_unique<RoleProcess>(std::vector<std::string>{"owner", resource}));
        owners.back()->AwaitReady();
    }
    CountManager();
    CountOwner();
    CountChangeCodecs();
    CountVerifyCodecs();
}

void ServeAsSubscriber()
{
    const bool isSubscribed = OwnerlinkClient::GetInstance().RegSysmonitorEventImpl(
        [isFirst = true](const SysEvent& /*event*/) mutable {
            if (isFirst) {
                std::cout << "ready" << std::endl;
            }
            isFirst = false;
        });
    Require(isSubscribed, "RegSysmonitorEventImpl");
    while (true) {
        pause();
    }
}

void Play(const std::string& role, const std::string& argument)
{
    if (role == "owners") {
        std::cout << OwnerTable();
    } else if (role == "owner") {
        ServeAsOwner(argument);
    } else if (role == "subscriber") {
        ServeAsSubscriber();
    } else {
        CountRoads();
    }
}

}  // namespace
}  // namespace bench

int main(int argc, char** argv)
{
    try {
        bench::Play(argc > 1 ? argv[1] : "", argc > 2 ? argv[2] : "");
        return 0;
    } catch (const std::exception& error) {
        std::cerr << "ownerlink-roads: " << error.what() << std::endl;
        return 1;
    }
}
