// Calls that reach three owners at once: system state, changes of applications, queries.

#include <ownerlink/client.h>
#include <ownerlink/enum_text.h>

#include <numeric>

#include "bench/applications.h"
#include "bench/cases.h"
#include "wire/change_app_codec.h"
#include "wire/record_windows.h"

namespace bench {
namespace {

constexpr int kTimeOut = 5000;
constexpr int kEveryOwner = 1;
constexpr int kCalls = 20;
constexpr double kChangeAim = 1.3;
constexpr double kCodecAim = 0.5;  // never the larger part of a call
constexpr const char* kLarge = " that fill a record";

using Counts = std::array<size_t, kOwners>;

void SetState()
{
    Require(OwnerlinkClient::GetInstance().SetSystemState(ProcMgr::WORKING, kTimeOut) == 0,
            "SetSystemState");
}

void Change(const std::vector<AppInfo>& applications)
{
    std::vector<AppChangeInfo> results;
    Require(OwnerlinkClient::GetInstance().ChangeAppState(applications, results, kTimeOut) == 0 &&
                results.size() == applications.size(),
            "ChangeAppState");
}

void Query(const std::vector<std::string>& names)
{
    std::vector<AppStatus> answers;
    Require(
        OwnerlinkClient::GetInstance().QueryAppState(names, answers, kTimeOut, kEveryOwner) == 0 &&
            answers.size() == names.size() * kOwners,
        "QueryAppState");
}

Counts RecordCounts(const std::vector<AppInfo>& applications)
{
    Counts counts;
    for (size_t owner = 0; owner < kOwners; ++owner) {
        counts[owner] = RecordsOf(ShareOf(applications, owner)).size();
    }
    return counts;
}

void AddChange(std::vector<Case>& cases, World& world, const std::string& what,
               const std::vector<AppInfo>& applications, int callsPerRound)
{
    const Counts counts = RecordCounts(applications);
    const size_t records = std::accumulate(counts.begin(), counts.end(), size_t{0});
    const std::string floor =
        records == kOwners ? kThreeThreads : "bare: " + std::to_string(records) + " records";
    if (records != kOwners) {
        cases.push_back({floor, {}, callsPerRound, [&world, counts] {
                             world.ExchangeOnThreads(counts);
                         }});
    }
    cases.push_back({"ChangeAppState, " + std::to_string(applications.size()) + what,
                     {{floor, kChangeAim}},
                     callsPerRound,
                     [applications] {
                         Change(applications);
                     }});
    cases.back().applications = applications.size();
    cases.back().records = records;
}

// As the manager makes them: RecordsOf goes through the public functions, which copy more.
std::vector<ProcMgr::OwnerlinkRequestMsg> PackAsTheManager(const Ownerlink::ChangeShare& share)
{
    ProcMgr::TextWriter texts;
    std::vector<ProcMgr::ItemView> items;
    std::vector<ProcMgr::OwnerlinkRequestMsg> records;
    Require(Ownerlink::Serialization::PackChangeShare(share, texts, items) &&
                Ownerlink::Serialization::ProcMgrCombinePiecesMsg(items, records),
            "the packing of a change");
    return records;
}

// What the codecs of both ends do for one owner's share, without the way between them.
void RunCodecs(const Ownerlink::ChangeShare& share)
{
    Ownerlink::ChangeStates states;
    states.Init(share);
    for (const ProcMgr::OwnerlinkRequestMsg& record : PackAsTheManager(share)) {
        std::vector<AppInfo> received;
        std::vector<AppChangeInfo> results;
        ProcMgr::OwnerlinkResponseMsg response;
        bool verdict = false;
        ProcMgr::SS::UnPackChangeAppInfoRequestMsg(&record, received);
        results.reserve(received.size());
        for (const AppInfo& app : received) {
            results.emplace_back(app.appName, SUCCESS);
        }
        ProcMgr::SS::PackChangeAppInfoResponse(true, results, response);
        Ownerlink::Serialization::UnPackChangeStates(response, verdict, states);
    }
    Require(states.Size() == share.size(), "the codecs of a change");
}

void RunCodecsOfShares(const std::vector<AppInfo>& applications)
{
    std::array<Ownerlink::ChangeShare, kOwners> shares;
    for (const AppInfo& app : applications) {
        shares[app.groupOwner].push_back(&app);
    }
    for (const Ownerlink::ChangeShare& share : shares) {
        RunCodecs(share);
    }
}

// Both ends share the one core of the pinned rows, so that this time is a part of the call's.
void AddChangeCodecs(std::vector<Case>& cases, const std::string& what,
                     const std::vector<AppInfo>& applications, double aim)
{
    const std::string call = "ChangeAppState, " + std::to_string(applications.size()) + what;
    cases.push_back({"codecs of " + call, {{call, aim}}, 1, [applications] {
                         RunCodecsOfShares(applications);
                     }});
    cases.back().applications = applications.size();
}

void AddQuery(std::vector<Case>& cases, size_t count)
{
    std::vector<std::string> names;
    for (const AppInfo& app : UsualApplications(count)) {
        names.push_back(app.appName);
    }
    cases.push_back({"QueryAppState, " + std::to_string(count) + " names",
                     {{kThreeThreads, 1.25}},
                     kCalls,
                     [names] {
                         Query(names);
                     }});
    cases.back().records = kOwners;
}

}  // namespace

void AddSystemState(std::vector<Case>& cases)
{
    cases.push_back({"SetSystemState, three owners", {{kThreeThreads, 1.15}}, kCalls, SetState});
    cases.back().records = kOwners;
}

void AddUsualChanges(std::vector<Case>& cases, World& world, size_t count, int callsPerRound)
{
    AddChange(cases, world, "", UsualApplications(count), callsPerRound);
}

void AddChanges(std::vector<Case>& cases, World& world)
{
    AddUsualChanges(cases, world, 3, kCalls);
    AddUsualChanges(cases, world, 300, 4);
    AddUsualChanges(cases, world, 3000, 1);
    AddChangeCodecs(cases, "", UsualApplications(3000), kCodecAim);
    AddChange(cases, world, kLarge, LargeApplications(300), 1);
    AddChangeCodecs(cases, kLarge, LargeApplications(300), kCodecAim);
}

void AddQueries(std::vector<Case>& cases)
{
    AddQuery(cases, 1);
    AddQuery(cases, 30);
    AddQuery(cases, 80);
}

}  // namespace bench
