// The readers of responses and of events.
#include <ownerlink/wire.h>

#include <array>
#include <memory>

#include "client/OwnerlinkClientImpl.h"
#include "fuzz/complaints.h"
#include "fuzz/outcome_text.h"
#include "fuzz/reader_checks.h"
#include "fuzz/reader_reference.h"
#include "fuzz/record_input.h"
#include "tests/client/client_internals.h"
#include "wire/change_app_codec.h"

namespace fuzz {
namespace {

using Ownerlink::ClientInternals;
using Ownerlink::OwnerlinkClientImpl;
using ProcMgr::OwnerlinkResponseMsg;

constexpr size_t kMostPayload = 3888;
constexpr char kResource[] = "dp:/res/fuzz";
constexpr char kSysEvents[] = "dp:/res/pm/sys_event";

bool IsGoodSize(const OwnerlinkResponseMsg& response)
{
    return response.size > 0 && response.size <= kMostPayload;
}

std::string PayloadOf(const OwnerlinkResponseMsg& response)
{
    return std::string(response.data, static_cast<size_t>(response.size));
}

// As the log prints it.
std::string LoggedSize(const OwnerlinkResponseMsg& response)
{
    return std::to_string(static_cast<uint32_t>(response.size)) + " bytes";
}

// A client whose table holds one owner, and the events that have come to it.
struct Manager {
    OwnerlinkClientImpl client;
    std::vector<uint32_t> events;

    Manager()
    {
        OwnerlinkFake::SetConfig(std::string("owner: {OsType: 0, GroupOwner: 0, SecVfs: \"") +
                                 kResource + "\"}\n");
        client.LoadSecvfsCfg();
        client.RegSysmonitorEventImpl(
            [this](const SysEvent& event) { events.push_back(event.state); });
    }
};

// Never destroyed: the double outlives no static of ours.
Manager& TheManager()
{
    static Manager* const manager = new Manager;
    return *manager;
}

std::string StateVerdict(std::string_view record)
{
    const auto response = RecordOf<OwnerlinkResponseMsg>(record);
    std::string differences;
    for (const bool before : {false, true}) {
        bool got = before;
        bool expected = before;
        Complaints complaints;
        TakeComplaints();
        const bool result = Ownerlink::Serialization::UnPackSetSystemStateResponse(*response, got);
        const bool isGood = IsGoodSize(*response);
        if (isGood) {
            ReadStateVerdict(PayloadOf(*response), expected);
        } else {
            complaints.push_back("UnPackSetSystemStateResponse failed resp size=" +
                                 LoggedSize(*response));
        }
        differences += DifferenceOf(OutcomeText() << result << got << TakeComplaints(),
                                    OutcomeText() << isGood << expected << complaints);
    }
    return differences;
}

using States = std::map<std::string, AppChangeState>;

// What the client's own reader makes of a response to a share that holds "a" alone.
OutcomeText TakenByAShare(const OwnerlinkResponseMsg& response)
{
    AppInfo app;
    app.appName = "a";
    Ownerlink::ChangeStates states;
    states.Init({&app});
    states.Set("kept", PROCESSING);
    bool verdict = true;
    const bool result = Ownerlink::Serialization::UnPackChangeStates(response, verdict, states);
    States got;
    states.ForEach(
        [&got](std::string_view name, AppChangeState state) { got.emplace(name, state); });
    return OutcomeText() << result << verdict << got << TakeComplaints();
}

std::string ChangeStates(std::string_view record)
{
    const auto response = RecordOf<OwnerlinkResponseMsg>(record);
    States got = {{"a", INIT}, {"kept", PROCESSING}};
    States expected = got;
    bool verdict = true;
    bool expectedVerdict = true;
    Complaints complaints;
    TakeComplaints();
    const bool result =
        Ownerlink::Serialization::UnPackChangeAppInfoResponseMsg(*response, verdict, got);
    bool expectedResult = IsGoodSize(*response);
    if (expectedResult) {
        expectedResult =
            ReadChangeStates(PayloadOf(*response), expectedVerdict, expected, complaints);
    } else {
        complaints.push_back("response size=" + LoggedSize(*response) + " is invalid");
    }
    const OutcomeText wanted = OutcomeText()
                               << expectedResult << expectedVerdict << expected << complaints;
    const OutcomeText read = OutcomeText() << result << verdict << got << TakeComplaints();
    return DifferenceOf(read, wanted) + DifferenceOf(TakenByAShare(*response), wanted);
}

std::string Result(std::string_view record)
{
    const auto response = RecordOf<OwnerlinkResponseMsg>(record);
    const OwnerlinkClientImpl& client = TheManager().client;
    Complaints complaints;
    TakeComplaints();
    const bool got = client.GetResultFromResponse(*response);
    bool expected = false;
    if (IsGoodSize(*response)) {
        expected = ReadResult(PayloadOf(*response));
    } else {
        complaints.push_back("GetResultFromResponse resp size=" + LoggedSize(*response));
    }
    return DifferenceOf(OutcomeText() << got << TakeComplaints(), OutcomeText()
                                                                      << expected << complaints);
}

// What a list is to come to, complaints included.
bool ExpectedList(const OwnerlinkResponseMsg& response, std::vector<std::string>& names,
                  Complaints& complaints)
{
    if (response.size > kMostPayload) {
        complaints.push_back(std::string("QueryGrpAppList SendRequestToOwnerByVfs failed. ") +
                             "resFileName=" + kResource);
        return false;
    }
    if (response.size == 0) {
        complaints.push_back("Query app list, but resp is nullptr, resp size=" +
                             LoggedSize(response));
        return false;
    }
    return ReadAppNames(PayloadOf(response), names);
}

// Over a whole exchange: the reader has no function of its own.
std::string AppList(std::string_view record)
{
    const std::shared_ptr<const OwnerlinkResponseMsg> response =
        RecordOf<OwnerlinkResponseMsg>(record);
    Manager& manager = TheManager();
    OwnerlinkFake::AnswerAll([response](const std::string&, unsigned, IAMIoctlArg& arg) {
        std::memcpy(arg.buf, response.get(), sizeof *response);
        return 0;
    });
    std::vector<std::string> got = {"kept"};
    std::vector<std::string> expected = got;
    Complaints complaints;
    TakeComplaints();
    const bool result = manager.client.QueryGrpAppList(DP, DATAMASTER, got);
    const bool expectedResult = ExpectedList(*response, expected, complaints);
    return DifferenceOf(OutcomeText() << result << got << TakeComplaints(),
                        OutcomeText() << expectedResult << expected << complaints);
}

bool ExpectedAnswers(const OwnerlinkResponseMsg& response, std::vector<AppStatus>& answers,
                     Complaints& complaints)
{
    if (!IsGoodSize(response)) {
        complaints.push_back("QueryGrpAppState, Query app list, but resp is nullptr, resp size=" +
                             LoggedSize(response));
        return false;
    }
    bool verdict = false;
    if (!ReadAnswers(PayloadOf(response), verdict, answers)) {
        complaints.push_back(std::string("QueryGrpAppState DeserializeMessage failed, (file=") +
                             kResource + ")");
        return false;
    }
    if (!verdict) {
        complaints.push_back(std::string("QueryGrpAppState failed. resFileName=") + kResource);
    }
    return verdict;
}

std::string Answers(std::string_view record)
{
    const auto response = RecordOf<OwnerlinkResponseMsg>(record);
    const Manager& manager = TheManager();
    std::vector<AppStatus> got;
    std::vector<AppStatus> expected;
    Complaints complaints;
    TakeComplaints();
    const bool result = ClientInternals::TakeAnswers(manager.client, kResource, *response, got);
    const bool expectedResult = ExpectedAnswers(*response, expected, complaints);
    return DifferenceOf(OutcomeText() << result << got << TakeComplaints(),
                        OutcomeText() << expectedResult << expected << complaints);
}

// The bytes of a block of the queue, which are no record.
std::string Event(std::string_view bytes)
{
    Manager& manager = TheManager();
    manager.events.clear();
    TakeComplaints();
    const int result = OwnerlinkFake::DeliverEvent(kSysEvents, std::string(bytes));
    const std::vector<uint32_t> expected = {ReadEvent(std::string(bytes))};
    return DifferenceOf(OutcomeText() << result << manager.events << TakeComplaints(),
                        OutcomeText() << 0 << expected << Complaints());
}

}  // namespace

std::span<const ReaderCheck> ManagersReaders()
{
    static constexpr std::array<ReaderCheck, 6> kReaders = {{{'s', "StateVerdict", StateVerdict},
                                                             {'c', "ChangeStates", ChangeStates},
                                                             {'r', "Result", Result},
                                                             {'l', "AppList", AppList},
                                                             {'q', "Answers", Answers},
                                                             {'e', "Event", Event}}};
    return kReaders;
}

}  // namespace fuzz
