#include "tools/ownerd/start_order.h"

#include <algorithm>
#include <map>
#include <utility>

namespace ownerd {
namespace {

// Walks each application's predecessors before itself; the path so far shows a cycle.
class Walk {
public:
    Walk(const std::vector<ApplicationConfig>& applications, Findings& findings)
        : findings_(findings)
    {
        for (const ApplicationConfig& application : applications) {
            byName_.emplace(application.name, &application);
        }
    }

    void Visit(const ApplicationConfig& application)
    {
        if (std::find(done_.begin(), done_.end(), &application) != done_.end()) {
            return;
        }
        const auto before = std::find(path_.begin(), path_.end(), &application);
        if (before != path_.end()) {
            ReportCycle(before);
            return;
        }
        path_.push_back(&application);
        for (const std::string& name : application.after) {
            VisitNamed(application, name);
        }
        path_.pop_back();
        done_.push_back(&application);
    }

    const std::vector<const ApplicationConfig*>& Order() const { return done_; }

private:
    using Path = std::vector<const ApplicationConfig*>;

    void VisitNamed(const ApplicationConfig& application, const std::string& name)
    {
        const auto found = byName_.find(name);
        if (found == byName_.end()) {
            findings_.Expected(KeyOf(application), "names of applications of this file",
                               '"' + name + '"');
            return;
        }
        Visit(*found->second);
    }

    void ReportCycle(Path::iterator from)
    {
        std::string cycle;
        for (auto at = from; at != path_.end(); ++at) {
            cycle += (*at)->name + " after ";
        }
        findings_.Add(KeyOf(**from), "expected no cycle: " + cycle + (*from)->name);
    }

    static std::string KeyOf(const ApplicationConfig& application)
    {
        return "applications." + application.name + ".after";
    }

    Findings& findings_;
    std::map<std::string, const ApplicationConfig*> byName_;
    Path path_;
    Path done_;
};

}  // namespace

void OrderByStart(std::vector<ApplicationConfig>& applications, Findings& findings)
{
    Walk walk(applications, findings);
    for (const ApplicationConfig& application : applications) {
        walk.Visit(application);
    }
    if (!findings.Lines().empty()) {
        return;
    }
    std::vector<ApplicationConfig> ordered;
    for (const ApplicationConfig* application : walk.Order()) {
        ordered.push_back(*application);
    }
    applications = std::move(ordered);
}

}  // namespace ownerd
