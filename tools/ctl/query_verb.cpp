// query and list.

#include <algorithm>

#include "tools/ctl/app_states.h"
#include "tools/ctl/verbs.h"

namespace ctl {
namespace {

constexpr int kDatamasterAlone = 0;

void AddMissing(Report& report, const std::vector<std::string>& names)
{
    for (const std::string& name : names) {
        const bool isThere = std::any_of(report.apps.begin(), report.apps.end(),
                                         [&](const AppRow& row) { return row.name == name; });
        if (!isThere) {
            report.errors.push_back(name +
                                    ": no owner has told its state; \"ownerlinkctl list\" "
                                    "shows the applications");
            report.apps.push_back({"", name, "", std::nullopt, std::nullopt, true});
        }
    }
}

Fates Asked(const Fates& fates, const OwnerTable& table, const CommandLine& command)
{
    Fates asked;
    for (const ConfiguredOwner& owner : table.owners) {
        if (command.queryType != kDatamasterAlone || owner.group == DATAMASTER) {
            asked[owner.resource] = fates.at(owner.resource);
        }
    }
    return asked;
}

// A list that was refused leaves no record of its own. Whoever sent names has not refused.
void JudgeList(Report& report, uint32_t code, const AppNames& names, const OwnerTable& table)
{
    if (code == 0) {
        return;
    }
    std::vector<OwnerRow*> silent;
    bool isExplained = false;
    for (OwnerRow& row : report.owners) {
        const auto domain = names.find(DP);
        const bool hasNames =
            domain != names.end() &&
            std::any_of(table.owners.begin(), table.owners.end(), [&](const auto& owner) {
                return owner.resource == row.resource && domain->second.count(owner.group) != 0;
            });
        isExplained = isExplained || IsFailure(row.outcome);
        if (!IsFailure(row.outcome) && !hasNames) {
            silent.push_back(&row);
        }
    }
    for (OwnerRow* const row : silent) {
        if (!isExplained && silent.size() == 1) {
            *row = RowOf(table, row->resource, {Outcome::kRefused, 0}, 0);
        } else if (!isExplained) {
            *row = RowOf(table, row->resource, {Outcome::kNotKnown, 0}, 0);
        } else {
            row->reason = "no applications, or refused";
        }
    }
}

}  // namespace

Report Query(Session& session, const CommandLine& command)
{
    const OwnerTable table = session.Table();
    Report report = Begin(command, table);
    AppStates states = AskStates(session, table, command.names, command.timeOut, command.queryType);
    report.code = states.code;
    AddOwners(report, table, Asked(states.fates, table, command), command.timeOut);
    report.apps = std::move(states.apps);
    AddMissing(report, command.names);
    SetExitByOwnersAndMissingApps(report);
    if (report.owners.empty()) {
        SetNoOwner(report, command.queryType == kDatamasterAlone ? " for DATAMASTER" : "");
    }
    return report;
}

Report List(Session& session, const CommandLine& command)
{
    const OwnerTable table = session.Table();
    Report report = Begin(command, table);
    AppNames names;
    const Answer answer = session.List(names, command.timeOut);
    report.code = answer.code;
    AddOwners(report, table, answer.fates, command.timeOut);
    for (const auto& [os, groups] : names) {
        for (const auto& [group, apps] : groups) {
            for (const std::string& app : apps) {
                report.apps.push_back({GroupText(group), app, "", {}, {}, false});
            }
        }
    }
    JudgeList(report, answer.code, names, table);
    SetExitByOwners(report);
    if (table.owners.empty()) {
        SetNoOwner(report, "");
    }
    return report;
}

}  // namespace ctl
