// start, stop and restart.

#include <ownerlink/enum_text.h>

#include <algorithm>

#include "tools/ctl/origins.h"
#include "tools/ctl/verbs.h"

namespace ctl {
namespace {

uint32_t OptionOf(Verb verb)
{
    if (verb == Verb::kStop) {
        return ProcMgr::TERM;
    }
    return verb == Verb::kRestart ? ProcMgr::RESTART : ProcMgr::START;
}

bool IsFailedState(AppChangeState state)
{
    return state != SUCCESS && state != PROCESSING;
}

AppRow RowOf(const AppChangeInfo& result, const std::string& owner)
{
    return {owner,        result.appName, ProcMgr::GetAppState(result.state),
            result.state, std::nullopt,   IsFailedState(result.state)};
}

// The applications without an owner come first, in the order given.
void AddResults(Report& report, const std::vector<AppChangeInfo>& results, const Answer& answer,
                const OwnerTable& table, const CommandLine& command)
{
    std::vector<std::string> strays;
    for (const AppName& name : command.apps) {
        if (table.Find(name.group) == nullptr) {
            strays.push_back(GroupText(name.group));
        }
    }
    Origins origins(answer.records, table, {"ChangeAppState: secVfs=", " appName=", " result="});
    for (const AppChangeInfo& result : results) {
        const size_t index = report.apps.size();
        const std::string owner =
            index < strays.size() ? strays[index] : origins.NextOwner(result.appName);
        report.apps.push_back(RowOf(result, owner));
    }
}

void NameFailures(Report& report)
{
    for (const AppRow& row : report.apps) {
        if (row.isFailure && row.number != static_cast<uint32_t>(INIT)) {
            report.errors.push_back(row.owner + '/' + row.name + ": " + row.state +
                                    "; the owner's log says why");
        }
    }
}

Fates Touched(const Answer& answer, const OwnerTable& table, const CommandLine& command)
{
    Fates touched;
    for (const AppName& name : command.apps) {
        if (const ConfiguredOwner* const owner = table.Find(name.group)) {
            touched[owner->resource] = answer.fates.at(owner->resource);
        }
    }
    return touched;
}

}  // namespace

std::vector<AppInfo> AppsOf(const CommandLine& command)
{
    std::vector<AppInfo> apps;
    for (const AppName& name : command.apps) {
        AppInfo app;
        app.groupOwner = name.group;
        app.appName = name.app;
        app.optionType = OptionOf(command.verb);
        app.args = command.args;
        app.dynamicPara = command.params;
        apps.push_back(std::move(app));
    }
    return apps;
}

Report Change(Session& session, const CommandLine& command)
{
    const OwnerTable table = session.Table();
    Report report = Begin(command, table);
    std::vector<AppChangeInfo> results;
    const Answer answer = session.Change(AppsOf(command), results, command.timeOut);
    report.code = answer.code;
    AddOwners(report, table, Touched(answer, table, command), command.timeOut);
    AddResults(report, results, answer, table, command);
    SetExitByApps(report);
    NameFailures(report);
    NameStrays(report, table, command);
    return report;
}

}  // namespace ctl
