// set-state.

#include <ownerlink/enum_text.h>
#include <ownerlink/wire.h>

#include "tools/ctl/verbs.h"

namespace ctl {
namespace {

bool ReachesNobody(int state)
{
    return state == static_cast<int>(ProcMgr::HIGH_LEVEL_ADS_EXIT);
}

}  // namespace

Report SetState(Session& session, const CommandLine& command)
{
    const OwnerTable table = session.Table();
    Report report = Begin(command, table);
    const Answer answer = session.SetState(command.state, command.timeOut);
    report.code = answer.code;
    if (ReachesNobody(command.state)) {
        return report;
    }
    if (answer.code == kBusyCode) {
        report.errors.emplace_back(
            "refused: another state change of this process runs; wait for its end, or take a "
            "SUSPEND_PRE back with WORKING");
        report.exitCode = kBusy;
        return report;
    }
    AddOwners(report, table, answer.fates, command.timeOut);
    SetExitByOwners(report);
    if (table.owners.empty()) {
        SetNoOwner(report, "");
    }
    return report;
}

Report PlanState(Session& session, const CommandLine& command)
{
    const OwnerTable table = session.Table();
    Report report = Begin(command, table);
    report.plan.emplace();
    if (ReachesNobody(command.state)) {
        return report;
    }
    ProcMgr::OwnerlinkRequestMsg record;
    Ownerlink::Serialization::PackSetSystemStateRequest(command.state, record);
    const uint32_t request =
        session.IsCancel(command.state) ? ProcMgr::CANCEL_SUSPEND : ProcMgr::SET_SYSTEM_STATE;
    for (const std::string& resource : table.Resources()) {
        report.plan->push_back(
            {table.OwnersOf(resource), resource, CommandText(request), record.size, {}, ""});
    }
    if (table.owners.empty()) {
        SetNoOwner(report, "");
    }
    return report;
}

}  // namespace ctl
