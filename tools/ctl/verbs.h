// The verbs that ask once and report once. Each takes what was typed and gives the result.
#ifndef OWNERLINK_TOOLS_CTL_VERBS_H
#define OWNERLINK_TOOLS_CTL_VERBS_H

#include "tools/ctl/command_line.h"
#include "tools/ctl/report.h"
#include "tools/ctl/session.h"

namespace ctl {

Report SetState(Session& session, const CommandLine& command);
Report Change(Session& session, const CommandLine& command);
Report Query(Session& session, const CommandLine& command);
Report List(Session& session, const CommandLine& command);
Report Control(Session& session, const CommandLine& command);
Report Owners(Session& session, const CommandLine& command);

// What SetState, Change and Control would send.
Report PlanState(Session& session, const CommandLine& command);
Report PlanChange(Session& session, const CommandLine& command);
Report PlanControl(Session& session, const CommandLine& command);

// The applications of a change, as the library takes them.
std::vector<AppInfo> AppsOf(const CommandLine& command);

// Parts of a report that several verbs have.
Report Begin(const CommandLine& command, const OwnerTable& table);
OwnerRow RowOf(const OwnerTable& table, const std::string& resource, const Fate& fate, int timeOut);
void AddOwners(Report& report, const OwnerTable& table, const Fates& fates, int timeOut);
// Says which applications of a change have no owner.
void NameStrays(Report& report, const OwnerTable& table, const CommandLine& command);
// Says that the table lacks what was asked for.
void SetNoOwner(Report& report, const std::string& what);

}  // namespace ctl

#endif
