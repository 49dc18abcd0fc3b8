// The unpackers of the process manager's records.
#include <ownerlink/process_manager.h>

#include <array>

#include "fuzz/outcome_text.h"
#include "fuzz/process_manager_reference.h"
#include "fuzz/reader_checks.h"
#include "fuzz/record_input.h"
#include "platform/fake/fake_platform.h"

namespace fuzz {
namespace {

using ProcMgr::Message::RequestMsg;

constexpr size_t kMostPayload = 3964;

std::string TextOf(const RequestMsg& msg)
{
    return {msg.data, static_cast<size_t>(std::min<uint64_t>(msg.size, kMostPayload))};
}

// Syslog's records since the last call.
std::vector<Record> TakeSyslog()
{
    std::vector<Record> records;
    for (const OwnerlinkFake::LogRecord& record : OwnerlinkFake::Records()) {
        records.push_back({static_cast<int>(record.level), record.text});
    }
    OwnerlinkFake::ClearHistory();
    return records;
}

OutcomeText& operator<<(OutcomeText& outcome, const Record& record)
{
    return outcome << record.priority << record.text;
}

template <typename Info>
OutcomeText& ShowFields(OutcomeText& outcome, const Info& info)
{
    std::apply([&](const auto&... field) { (outcome << ... << field); }, Fields(info));
    return outcome;
}

template <typename Info>
OutcomeText& ShowFields(OutcomeText& outcome, const std::vector<Info>& infos)
{
    outcome << infos.size();
    for (const Info& info : infos) {
        ShowFields(outcome, info);
    }
    return outcome;
}

template <typename Output>
OutcomeText OutcomeOf(const Output& output, const std::vector<Record>& records)
{
    OutcomeText outcome;
    ShowFields(outcome, output);
    for (const Record& record : records) {
        outcome << record;
    }
    return outcome;
}

// What stands in `before` shows what an unpacker leaves as it was.
template <typename Output, typename Unpack, typename Plain>
std::string Compare(std::string_view input, const Output& before, const Unpack& unpack,
                    const Plain& plain)
{
    const auto msg = RecordOf<RequestMsg>(input);
    Output got = before;
    Output expected = before;
    std::vector<Record> records;
    TakeSyslog();
    unpack(msg.get(), got);
    plain(TextOf(*msg), expected, records);
    return DifferenceOf(OutcomeOf(got, TakeSyslog()), OutcomeOf(expected, records));
}

// With and without the dynamic parameters: `iammgr` sends none.
template <typename Info, typename Unpack, typename Plain>
std::string CompareForBothSenders(std::string_view input, const Unpack& unpack, const Plain& plain)
{
    const std::vector<Info> before = {{"kept", {"x", "y"}, {{0, {"v"}}}}};
    std::string differences;
    for (const std::string sender : {"iammgr", "datamaster"}) {
        differences += Compare(
            input, before, [&](const auto* msg, auto& apps) { unpack(msg, apps, sender); },
            [&](const auto& text, auto& apps, auto& records) {
                plain(text, sender, apps, records);
            });
    }
    return differences;
}

std::string Start(std::string_view record)
{
    return CompareForBothSenders<StartAppInfo>(
        record, ProcMgr::Serialization::ProcMgrUnpackStartRequest, ReadStart);
}

std::string Restart(std::string_view record)
{
    return CompareForBothSenders<RestartAppInfo>(
        record, ProcMgr::Serialization::ProcMgrUnpackRestartRequest, ReadRestart);
}

std::string Terminate(std::string_view record)
{
    const std::vector<TermAppInfo> before = {{"kept"}};
    return Compare(record, before, ProcMgr::Serialization::ProcMgrUnpackTermRequest, ReadTerm);
}

std::string ExecState(std::string_view record)
{
    const AppExecInfo before = {"kept", 7, 8, ProcMgr::Message::AppExecState::TERMINATED};
    return Compare(record, before, ProcMgr::Serialization::ProcMgrUnpackedAppExecInfoRequest,
                   ReadExecInfo);
}

std::string BaseServiceState(std::string_view record)
{
    const BaseServiceStateInfo before = {ProcMgr::Message::BaseServiceState::TERMINATING};
    return Compare(record, before, ProcMgr::Serialization::ProcMgrUnpackedBaseServiceStateRequest,
                   ReadBaseServiceState);
}

std::string StartupCfg(std::string_view record)
{
    const StartupCfgInfo before = {{{"k", "kept"}}, "kept"};
    return Compare(record, before, ProcMgr::Serialization::ProcMgrUnpackMatchDataAndPathRequest,
                   ReadStartupCfg);
}

}  // namespace

std::span<const ReaderCheck> ProcessManagersReaders()
{
    static constexpr std::array<ReaderCheck, 6> kReaders = {
        {{'s', "Start", Start},
         {'r', "Restart", Restart},
         {'t', "Terminate", Terminate},
         {'e', "ExecState", ExecState},
         {'b', "BaseServiceState", BaseServiceState},
         {'c', "StartupCfg", StartupCfg}}};
    return kReaders;
}

}  // namespace fuzz
