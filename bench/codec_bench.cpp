// Each codec alone, on the records that the fan-outs of this program send.

#include "bench/codec_bench.h"

#include <benchmark/benchmark.h>
#include <ownerlink/enum_text.h>
#include <ownerlink/process_manager.h>
#include <ownerlink/wire.h>

#include <functional>
#include <map>
#include <memory>

#include "bench/allocations.h"
#include "bench/applications.h"
#include "wire/binary_fields.h"

namespace bench {
namespace {

using ProcMgr::OwnerlinkRequestMsg;
using ProcMgr::OwnerlinkResponseMsg;
using Items = std::vector<std::pair<unsigned int, std::string>>;

constexpr size_t kShare = 1000;  // one owner's of 3,000 applications
constexpr size_t kNames = 80;

// `call` returns how many bytes of payload it wrote or read.
void Register(const std::string& name, size_t items, const std::function<size_t()>& call)
{
    benchmark::RegisterBenchmark(name.c_str(), [items, call](benchmark::State& state) {
        size_t bytes = 0;
        const size_t before = AllocationsOfThisThread();
        for (auto _ : state) {
            bytes = call();
            benchmark::DoNotOptimize(bytes);
        }
        const auto calls = static_cast<double>(state.iterations());
        state.counters["bytes"] = static_cast<double>(bytes);
        state.counters["items"] = static_cast<double>(items);
        state.counters["allocations"] =
            static_cast<double>(AllocationsOfThisThread() - before) / calls;
    });
}

Items PackItems(const std::vector<AppInfo>& share)
{
    Items items;
    Ownerlink::Serialization::PackChangeAppInfoRequest(share, items);
    return items;
}

size_t BytesOf(const std::vector<OwnerlinkRequestMsg>& records)
{
    size_t bytes = 0;
    for (const OwnerlinkRequestMsg& record : records) {
        bytes += record.size;
    }
    return bytes;
}

void RegisterChangeRequest()
{
    const std::vector<AppInfo> share = ShareOf(UsualApplications(3 * kShare), 0);
    const size_t bytes = BytesOf(RecordsOf(share));
    Register("change: pack the items", kShare, [share, bytes] {
        benchmark::DoNotOptimize(PackItems(share));
        return bytes;
    });
    // The items are sorted already, as they are in a list that its caller has in order.
    const auto items = std::make_shared<Items>(PackItems(share));
    Register("change: cut into records", kShare, [items] {
        std::vector<OwnerlinkRequestMsg> records;
        Ownerlink::Serialization::ProcMgrCombinePiecesMsg(*items, records);
        return BytesOf(records);
    });
}

std::vector<AppInfo> ReadRecord(const OwnerlinkRequestMsg& record)
{
    std::vector<AppInfo> applications;
    ProcMgr::SS::UnPackChangeAppInfoRequestMsg(&record, applications);
    return applications;
}

void RegisterChangeRecord()
{
    const OwnerlinkRequestMsg record = RecordsOf(ShareOf(UsualApplications(3 * kShare), 0)).front();
    const std::vector<AppInfo> applications = ReadRecord(record);
    Register("change: owner reads a record", applications.size(), [record] {
        benchmark::DoNotOptimize(ReadRecord(record));
        return record.size;
    });
    std::vector<AppChangeInfo> results;
    for (const AppInfo& app : applications) {
        results.emplace_back(app.appName, SUCCESS);
    }
    Register("change: owner writes the answer", results.size(), [results] {
        OwnerlinkResponseMsg response;
        ProcMgr::SS::PackChangeAppInfoResponse(true, results, response);
        return response.size;
    });
    OwnerlinkResponseMsg response;
    ProcMgr::SS::PackChangeAppInfoResponse(true, results, response);
    Register("change: read the answer", results.size(), [response] {
        bool verdict = false;
        std::map<std::string, AppChangeState> states;
        Ownerlink::Serialization::UnPackChangeAppInfoResponseMsg(response, verdict, states);
        return response.size;
    });
}

void RegisterVerify()
{
    std::map<std::string, unsigned int> optionTypes;
    for (const AppInfo& app : ShareOf(UsualApplications(3 * kShare), 0)) {
        optionTypes[app.appName] = app.optionType;
    }
    Register("verify: pack the records", kShare, [optionTypes] {
        std::vector<OwnerlinkRequestMsg> records;
        Ownerlink::Serialization::PackVerifyRequest(optionTypes, records);
        return BytesOf(records);
    });
    std::vector<OwnerlinkRequestMsg> records;
    Ownerlink::Serialization::PackVerifyRequest(optionTypes, records);
    const OwnerlinkRequestMsg record = records.front();
    std::map<std::string, unsigned int> read;
    ProcMgr::SS::UnPackVerifyRequest(&record, read);
    Register("verify: owner reads a record", read.size(), [record] {
        std::map<std::string, unsigned int> entries;
        ProcMgr::SS::UnPackVerifyRequest(&record, entries);
        return record.size;
    });
}

void RegisterSystemState()
{
    Register("system state: pack", 0, [] {
        OwnerlinkRequestMsg request;
        Ownerlink::Serialization::PackSetSystemStateRequest(ProcMgr::SUSPEND_PRE, request);
        return request.size;
    });
    OwnerlinkRequestMsg request;
    Ownerlink::Serialization::PackSetSystemStateRequest(ProcMgr::SUSPEND_PRE, request);
    Register("system state: owner reads", 0, [request] {
        int state = 0;
        ProcMgr::SS::UnPackSetSystemStateRequest(&request, state);
        return request.size;
    });
    Register("system state: owner writes the answer", 0, [] {
        OwnerlinkResponseMsg response;
        ProcMgr::SS::PackSetSystemStateResponse(true, response);
        return response.size;
    });
    OwnerlinkResponseMsg response;
    ProcMgr::SS::PackSetSystemStateResponse(true, response);
    Register("system state: read the answer", 0, [response] {
        bool verdict = false;
        Ownerlink::Serialization::UnPackSetSystemStateResponse(response, verdict);
        return response.size;
    });
}

// Names and numbers as the two ends of a query write and read them field by field.
size_t WriteNames(const std::vector<AppInfo>& applications, OwnerlinkRequestMsg& request)
{
    ProcMgr::FieldWriter writer(request.data);
    writer.Write(static_cast<uint32_t>(applications.size()));
    for (const AppInfo& app : applications) {
        writer.Write(app.appName);
        writer.Write(app.optionType);
    }
    return writer.Size();
}

void RegisterQueryFields()
{
    const std::vector<AppInfo> applications = UsualApplications(kNames);
    Register("query: write the fields", kNames, [applications] {
        OwnerlinkRequestMsg request;
        return WriteNames(applications, request);
    });
    OwnerlinkRequestMsg request;
    request.size = WriteNames(applications, request);
    Register("query: read the fields", kNames, [request] {
        ProcMgr::FieldReader reader(request);
        uint32_t count = 0;
        reader.Read(count);
        std::vector<AppStatus> answers(count);
        for (AppStatus& answer : answers) {
            reader.Read(answer.appName);
            reader.Read(answer.status);
        }
        benchmark::DoNotOptimize(answers);
        return request.size;
    });
}

// As many states as one record of the process manager holds.
std::vector<ProcMgr::Message::AppStateInfo> StatesOfARecord()
{
    constexpr size_t kStates = 136;
    std::vector<ProcMgr::Message::AppStateInfo> states;
    for (const AppInfo& app : UsualApplications(kStates)) {
        states.push_back({app.appName, 1, 1234, 2, 100});
    }
    return states;
}

std::vector<ProcMgr::Message::RequestMsg> PackStates(
    const std::vector<ProcMgr::Message::AppStateInfo>& states)
{
    Items items;
    std::vector<ProcMgr::Message::RequestMsg> records;
    ProcMgr::Serialization::ProcMgrPackAppStateRequest(states, items);
    ProcMgr::Serialization::ProcMgrCombinePiecesMsg({}, items, records);
    return records;
}

// A start record with as many applications as it holds, each with one argument.
ProcMgr::Message::RequestMsg FullStartRecord(size_t* count)
{
    std::string text;
    *count = 0;
    for (const AppInfo& app : UsualApplications(1000)) {
        const std::string item = app.appName + "#1#--fast#0#";
        if (text.size() + item.size() + 4 > sizeof(ProcMgr::Message::RequestMsg::data)) {
            break;
        }
        text += item;
        ++*count;
    }
    text = std::to_string(*count) + "#" + text;
    ProcMgr::Message::RequestMsg record;
    record.size = text.copy(record.data, sizeof record.data);
    return record;
}

void RegisterProcessManager()
{
    const auto states = StatesOfARecord();
    Register("process manager: pack a full record", states.size(),
             [states] { return PackStates(states).front().size; });
    size_t count = 0;
    const ProcMgr::Message::RequestMsg record = FullStartRecord(&count);
    Register("process manager: unpack a full record", count, [record] {
        std::vector<ProcMgr::Message::StartAppInfo> applications;
        ProcMgr::Serialization::ProcMgrUnpackStartRequest(&record, applications, "appmgr");
        benchmark::DoNotOptimize(applications);
        return record.size;
    });
}

}  // namespace

void RegisterCodecs()
{
    RegisterChangeRequest();
    RegisterChangeRecord();
    RegisterVerify();
    RegisterSystemState();
    RegisterQueryFields();
    RegisterProcessManager();
}

}  // namespace bench
