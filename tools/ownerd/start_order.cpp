#include "tools/ownerd/start_order.h"

#include <algorithm>
#include <map>
#include <set>
#include <utility>

namespace ownerd {
namespace {

using ByName = std::map<std::string, const ApplicationConfig*>;

std::string KeyOf(const std::string& application)
{
    return "applications." + application + ".after";
}

// False if a name is none of the file's.
bool AreNamesKnown(const std::vector<ApplicationConfig>& applications, const ByName& byName,
                   Findings& findings)
{
    bool areKnown = true;
    for (const ApplicationConfig& application : applications) {
        for (const std::string& name : application.after) {
            if (!byName.contains(name)) {
                areKnown = false;
                findings.Expected(KeyOf(application.name), "names of applications of this file",
                                  '"' + name + '"');
            }
        }
    }
    return areKnown;
}

bool CanBePlaced(const ApplicationConfig& application, const std::set<std::string>& placed)
{
    return std::all_of(application.after.begin(), application.after.end(),
                       [&](const std::string& name) { return placed.contains(name); });
}

// Each of those that are left waits for another of them: following one leads into a cycle.
void ReportCycle(const std::vector<ApplicationConfig>& left, const std::set<std::string>& placed,
                 const ByName& byName, Findings& findings)
{
    std::vector<std::string> path;
    std::string at = left.front().name;
    while (std::find(path.begin(), path.end(), at) == path.end()) {
        path.push_back(at);
        const std::vector<std::string>& after = byName.at(at)->after;
        at = *std::find_if(after.begin(), after.end(),
                           [&](const std::string& name) { return !placed.contains(name); });
    }
    std::string cycle;
    for (auto name = std::find(path.begin(), path.end(), at); name != path.end(); ++name) {
        cycle.append(*name).append(" after ");
    }
    findings.Add(KeyOf(at), "expected no cycle: " + cycle + at);
}

}  // namespace

void OrderByStart(std::vector<ApplicationConfig>& applications, Findings& findings)
{
    ByName byName;
    for (const ApplicationConfig& application : applications) {
        byName.emplace(application.name, &application);
    }
    if (!AreNamesKnown(applications, byName, findings)) {
        return;
    }
    std::vector<ApplicationConfig> left = applications;
    std::vector<ApplicationConfig> ordered;
    std::set<std::string> placed;
    while (!left.empty()) {
        const auto next = std::find_if(
            left.begin(), left.end(),
            [&](const ApplicationConfig& application) { return CanBePlaced(application, placed); });
        if (next == left.end()) {
            ReportCycle(left, placed, byName, findings);
            return;
        }
        placed.insert(next->name);
        ordered.push_back(std::move(*next));
        left.erase(next);
    }
    applications = std::move(ordered);
}

}  // namespace ownerd
