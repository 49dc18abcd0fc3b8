// The readers of requests.
#include <ownerlink/wire.h>

#include <array>
#include <memory>
#include <sstream>

#include "fuzz/complaints.h"
#include "fuzz/outcome_text.h"
#include "fuzz/reader_checks.h"
#include "fuzz/reader_reference.h"
#include "fuzz/record_input.h"
#include "server/ownerlink_server_impl.h"

namespace fuzz {
namespace {

using ProcMgr::OwnerlinkRequestMsg;
using ProcMgr::OwnerlinkResponseMsg;
using ProcMgr::OwnerlinkServerImpl;

constexpr size_t kMostPayload = 3888;
constexpr size_t kPayloadAndPadding = 3892;

std::string BytesOf(const OwnerlinkRequestMsg& request, size_t most)
{
    const char* const data = reinterpret_cast<const char*>(&request) + 12;
    return std::string(data, static_cast<size_t>(std::min<uint64_t>(request.size, most)));
}

bool IsGoodSize(const OwnerlinkRequestMsg& request, Complaints& complaints)
{
    if (request.size > kMostPayload) {
        complaints.push_back("request size=" + std::to_string(request.size) + " bytes is invalid");
        return false;
    }
    return true;
}

// Both readers start from outputs that are `before`.
template <typename Output, typename Reader, typename Plain>
std::string Compare(const OwnerlinkRequestMsg& request, const Output& before, const Reader& reader,
                    const Plain& plain)
{
    Output got = before;
    Output expected = before;
    Complaints complaints;
    TakeComplaints();
    const bool result = reader(&request, got);
    const bool expectedResult = IsGoodSize(request, complaints) &&
                                plain(BytesOf(request, kMostPayload), expected, complaints);
    return DifferenceOf(OutcomeText() << result << got << TakeComplaints(),
                        OutcomeText() << expectedResult << expected << complaints);
}

std::string SystemState(std::string_view record)
{
    return Compare(*RecordOf<OwnerlinkRequestMsg>(record), -77,
                   ProcMgr::SS::UnPackSetSystemStateRequest,
                   [](const std::string& text, int& state, Complaints& /*complaints*/) {
                       ReadState(text, state);
                       return true;
                   });
}

std::string Changes(std::string_view record)
{
    return Compare(*RecordOf<OwnerlinkRequestMsg>(record), std::vector<AppInfo>(),
                   ProcMgr::SS::UnPackChangeAppInfoRequestMsg, ReadChanges);
}

std::string VerifyRecord(std::string_view record)
{
    const std::map<std::string, unsigned int> before = {{"a", 1}, {"kept", 2}};
    return Compare(*RecordOf<OwnerlinkRequestMsg>(record), before, ProcMgr::SS::UnPackVerifyRequest,
                   ReadVerifyRecord);
}

// From a stream of the caller's, which takes any length.
std::string Parameters(std::string_view record)
{
    const std::string text(record);
    AppInfo before;
    before.appName = "app";
    before.dynamicPara = {{1, {"former"}}};
    AppInfo got = before;
    AppInfo expected = before;
    Complaints complaints;
    TakeComplaints();
    std::istringstream stream(text);
    const bool result = ProcMgr::SS::UnPackDynamicPara(stream, got);
    const bool expectedResult = ReadParameters(text, expected, complaints);
    return DifferenceOf(OutcomeText() << result << got << TakeComplaints(),
                        OutcomeText() << expectedResult << expected << complaints);
}

// What an owner's callback has been asked, if it has.
struct Asked {
    bool isAsked = false;
    QueryAppStatusMsg query;
    int timeOut = 0;
};

Asked& TheAsked()
{
    static Asked asked;
    return asked;
}

// The reader has no function of its own: the callback tells what it has read.
void ListenForQueries()
{
    static OwnerlinkServerImpl* const server = new OwnerlinkServerImpl;
    [[maybe_unused]] static const int result = server->RegSsQueryAppStateCallBackImpl(
        [](const std::vector<std::string>& names, std::vector<AppStatus>& /*answers*/, int timeOut,
           int type) {
            TheAsked() = {true, {names, static_cast<uint32_t>(type)}, timeOut};
            return true;
        },
        "dp:/res/fuzz");
}

std::string Query(std::string_view record)
{
    const auto request = RecordOf<OwnerlinkRequestMsg>(record);
    request->timeout = -1;
    ListenForQueries();
    TheAsked() = {};
    TakeComplaints();
    OwnerlinkResponseMsg response;
    OwnerlinkServerImpl::HandleRequestFromClient(ProcMgr::QUERY_APP_STATE, request.get(), response);
    const Asked got = TheAsked();
    Asked expected;
    expected.isAsked = ReadQuery(BytesOf(*request, kPayloadAndPadding), expected.query);
    Complaints complaints;
    if (!expected.isAsked) {
        expected.query = {};
        complaints.emplace_back("QueryAppState DeserializeMessage failed");
    }
    expected.timeOut = expected.isAsked ? -1 : 0;
    return DifferenceOf(OutcomeText() << got.isAsked << got.query.appList << got.query.queryType
                                      << got.timeOut << TakeComplaints() << response.size,
                        OutcomeText() << expected.isAsked << expected.query.appList
                                      << expected.query.queryType << expected.timeOut << complaints
                                      << (expected.isAsked ? 5 : 0));
}

}  // namespace

std::span<const ReaderCheck> OwnersReaders()
{
    static constexpr std::array<ReaderCheck, 5> kReaders = {{{'s', "SystemState", SystemState},
                                                             {'c', "Changes", Changes},
                                                             {'p', "Parameters", Parameters},
                                                             {'v', "VerifyRecord", VerifyRecord},
                                                             {'q', "Query", Query}}};
    return kReaders;
}

std::string DifferenceIn(std::span<const ReaderCheck> readers, std::string_view input)
{
    if (input.empty()) {
        return "";
    }
    for (const ReaderCheck& reader : readers) {
        if (reader.letter == input.front()) {
            return reader.difference(input.substr(1));
        }
    }
    const auto any = static_cast<unsigned char>(input.front()) % readers.size();
    return readers[any].difference(input.substr(1));
}

}  // namespace fuzz
