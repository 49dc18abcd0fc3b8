// reload, dump and stop-all, of all owners or of one.

#include <ownerlink/wire.h>

#include <algorithm>

#include "tools/ctl/verbs.h"

namespace ctl {
namespace {

Session::Control ControlOf(Verb verb)
{
    if (verb == Verb::kReload) {
        return Session::Control::kReload;
    }
    return verb == Verb::kDump ? Session::Control::kDump : Session::Control::kStopAll;
}

uint32_t RequestOf(Verb verb)
{
    if (verb == Verb::kReload) {
        return ProcMgr::RELOAD_CFG;
    }
    return verb == Verb::kDump ? ProcMgr::DUMP_APP : ProcMgr::STOP_ALL_APP;
}

// The walk over all owners leaves IAM out; by its name it is reached.
bool IsMeant(const CommandLine& command, const ConfiguredOwner& owner)
{
    return command.group ? owner.group == *command.group : owner.group != IAM;
}

bool HasMeant(const CommandLine& command, const OwnerTable& table)
{
    return std::any_of(table.owners.begin(), table.owners.end(),
                       [&](const ConfiguredOwner& owner) { return IsMeant(command, owner); });
}

Report Nobody(Report report, const CommandLine& command)
{
    SetNoOwner(report, command.group ? " for " + GroupText(*command.group) : " besides IAM");
    return report;
}

void AddRows(Report& report, const OwnerTable& table, const CommandLine& command,
             const Answer& answer)
{
    for (const ConfiguredOwner& owner : table.owners) {
        const bool isMeant = IsMeant(command, owner);
        if (isMeant || !command.group) {
            const Fate fate =
                isMeant ? answer.fates.at(owner.resource) : Fate{Outcome::kSkipped, 0};
            report.owners.push_back(RowOf(table, owner.resource, fate, command.timeOut));
            report.owners.back().owner = GroupText(owner.group);
        }
    }
}

}  // namespace

Report Control(Session& session, const CommandLine& command)
{
    const OwnerTable table = session.Table();
    Report report = Begin(command, table);
    if (!HasMeant(command, table)) {
        return Nobody(std::move(report), command);
    }
    const ConfiguredOwner* const one = command.group ? table.Find(*command.group) : nullptr;
    const Answer answer = session.Send(ControlOf(command.verb), one, command.timeOut);
    if (one == nullptr) {
        report.code = answer.code;
    }
    AddRows(report, table, command, answer);
    SetExitByOwners(report);
    return report;
}

Report PlanControl(Session& session, const CommandLine& command)
{
    const OwnerTable table = session.Table();
    Report report = Begin(command, table);
    report.plan.emplace();
    if (!HasMeant(command, table)) {
        return Nobody(std::move(report), command);
    }
    for (const ConfiguredOwner& owner : table.owners) {
        if (IsMeant(command, owner)) {
            report.plan->push_back({GroupText(owner.group),
                                    owner.resource,
                                    CommandText(RequestOf(command.verb)),
                                    0,
                                    {},
                                    ""});
        }
    }
    return report;
}

}  // namespace ctl
