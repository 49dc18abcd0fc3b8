// What a change would send, cut into records by the library's own codec.

#include <ownerlink/wire.h>

#include <algorithm>

#include "tools/ctl/verbs.h"

namespace ctl {
namespace {

using Items = std::vector<std::pair<unsigned int, std::string>>;
using Shares = std::map<std::string, std::vector<AppInfo>>;
using ProcMgr::OwnerlinkRequestMsg;

constexpr uint64_t kPayloadLimit = sizeof(OwnerlinkRequestMsg::data);

std::string NameIn(const std::string& item)
{
    return item.substr(0, item.find('#'));
}

std::vector<std::string> NamesIn(Items::const_iterator first, Items::const_iterator last)
{
    std::vector<std::string> names;
    for (; first != last; ++first) {
        names.push_back(NameIn(first->second));
    }
    return names;
}

std::vector<std::string> NamesOf(const std::vector<AppInfo>& apps)
{
    std::vector<std::string> names(apps.size());
    std::transform(apps.begin(), apps.end(), names.begin(),
                   [](const AppInfo& app) { return app.appName; });
    return names;
}

PlanRow NotSent(const OwnerTable& table, const std::string& resource,
                std::vector<std::string> names)
{
    return {table.OwnersOf(resource),
            resource,
            "",
            0,
            std::move(names),
            "not sent: an item exceeds 3887 bytes, or a parameter's index is above 2"};
}

std::vector<PlanRow> PlanShare(const OwnerTable& table, const std::string& resource,
                               const std::vector<AppInfo>& apps)
{
    namespace Codec = Ownerlink::Serialization;
    Items items;
    if (!Codec::PackChangeAppInfoRequest(apps, items)) {
        return {NotSent(table, resource, NamesOf(apps))};
    }
    std::vector<OwnerlinkRequestMsg> records;
    Codec::ProcMgrCombinePiecesMsg(items, records);
    std::vector<unsigned int> windows;
    Codec::CalculateWindows(items, windows);
    std::vector<PlanRow> rows;
    auto first = items.cbegin();
    for (size_t index = 0; index < records.size(); ++index) {
        const auto last = first + windows[index];
        const bool isLost = records[index].size > kPayloadLimit;
        rows.push_back({table.OwnersOf(resource), resource, CommandText(ProcMgr::CHANGE_APP),
                        records[index].size, NamesIn(first, last),
                        isLost ? "exceeds 3888 bytes; the owner refuses it" : ""});
        first = last;
    }
    return rows;
}

Shares SharesOf(const CommandLine& command, const OwnerTable& table, Report& report)
{
    Shares shares;
    for (const AppInfo& app : AppsOf(command)) {
        if (const ConfiguredOwner* const owner = table.Find(app.groupOwner)) {
            shares[owner->resource].push_back(app);
        } else {
            report.plan->push_back({GroupText(app.groupOwner),
                                    "",
                                    "",
                                    0,
                                    {app.appName},
                                    "not sent: no owner configured"});
        }
    }
    return shares;
}

void SetPlanExit(Report& report)
{
    size_t mistakes = 0;
    for (const PlanRow& row : *report.plan) {
        mistakes += row.mistake.empty() ? 0 : 1;
    }
    if (mistakes != 0) {
        report.exitCode = mistakes == report.plan->size() ? kFailed : kPartly;
    }
}

}  // namespace

Report PlanChange(Session& session, const CommandLine& command)
{
    const OwnerTable table = session.Table();
    Report report = Begin(command, table);
    report.plan.emplace();
    const Shares shares = SharesOf(command, table, report);
    for (const auto& [resource, apps] : shares) {
        const std::vector<PlanRow> rows = PlanShare(table, resource, apps);
        report.plan->insert(report.plan->end(), rows.begin(), rows.end());
    }
    SetPlanExit(report);
    NameStrays(report, table, command);
    return report;
}

}  // namespace ctl
