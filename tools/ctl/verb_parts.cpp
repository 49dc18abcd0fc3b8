// What the reports of several verbs have in common.

#include "tools/ctl/advice.h"
#include "tools/ctl/verbs.h"

namespace ctl {

Report Begin(const CommandLine& command, const OwnerTable& table)
{
    Report report;
    report.verb = command.name;
    if (!table.isLoaded) {
        report.mistakes = table.mistakes;
    }
    return report;
}

OwnerRow RowOf(const OwnerTable& table, const std::string& resource, const Fate& fate, int timeOut)
{
    const Advice advice = AdviceOn(fate, timeOut);
    OwnerRow row;
    row.owner = table.OwnersOf(resource);
    row.resource = resource;
    row.outcome = fate.outcome;
    row.error = ErrorName(fate.error);
    row.reason = advice.reason;
    row.next = advice.next;
    return row;
}

void AddOwners(Report& report, const OwnerTable& table, const Fates& fates, int timeOut)
{
    for (const auto& [resource, fate] : fates) {
        report.owners.push_back(RowOf(table, resource, fate, timeOut));
    }
}

void NameStrays(Report& report, const OwnerTable& table, const CommandLine& command)
{
    bool hasAny = false;
    for (const AppName& name : command.apps) {
        if (table.Find(name.group) == nullptr) {
            report.errors.push_back(GroupText(name.group) + '/' + name.app +
                                    ": no owner configured; " + kTableExample);
        } else {
            hasAny = true;
        }
    }
    if (!hasAny) {
        report.exitCode = kNoOwner;
    }
}

void SetNoOwner(Report& report, const std::string& what)
{
    report.errors.push_back("no owner configured" + what + "; " + kTableExample);
    report.exitCode = kNoOwner;
}

}  // namespace ctl
