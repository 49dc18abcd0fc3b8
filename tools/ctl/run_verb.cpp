#include "tools/ctl/run_verb.h"

#include "tools/ctl/progress.h"
#include "tools/ctl/report_json.h"
#include "tools/ctl/report_table.h"
#include "tools/ctl/verbs.h"

namespace ctl {
namespace {

using Function = Report (*)(Session&, const CommandLine&);

Function PlanOf(Verb verb)
{
    switch (verb) {
        case Verb::kSetState:
            return PlanState;
        case Verb::kReload:
        case Verb::kDump:
        case Verb::kStopAll:
            return PlanControl;
        default:
            return PlanChange;
    }
}

Function FunctionOf(Verb verb)
{
    switch (verb) {
        case Verb::kSetState:
            return SetState;
        case Verb::kQuery:
            return Query;
        case Verb::kList:
            return List;
        case Verb::kReload:
        case Verb::kDump:
        case Verb::kStopAll:
            return Control;
        case Verb::kOwners:
            return Owners;
        default:
            return Change;
    }
}

// Owners whose answer the library has not recorded yet.
std::string Awaited(Session& session, size_t mark)
{
    const OwnerTable table = session.Table();
    const auto any = [](const LogRecord&) {
        return true;
    };
    std::vector<std::string> owners;
    for (const auto& [resource, fate] : session.FatesSince(mark, any)) {
        if (fate.outcome == Outcome::kNotKnown) {
            owners.push_back(table.OwnersOf(resource));
        }
    }
    return Join(owners, ", ");
}

}  // namespace

ExitCode PrintReport(const Report& report, const CommandLine& command, Output& output)
{
    if (command.isJson) {
        output.Print(ReportToJson(report));
    } else if (!command.isQuiet) {
        output.Print(FormatReport(report, output.IsColoured()));
    }
    for (const std::string& error : ErrorsOf(report)) {
        output.Complain(error);
    }
    return report.exitCode == kDone && output.HasFailed() ? kFailed : report.exitCode;
}

ExitCode RunVerb(Session& session, const CommandLine& command, Output& output)
{
    const Function function = command.isDryRun ? PlanOf(command.verb) : FunctionOf(command.verb);
    Report report;
    {
        const Progress progress(
            output, [&session, mark = session.Mark()] { return Awaited(session, mark); });
        report = function(session, command);
    }
    return PrintReport(report, command, output);
}

}  // namespace ctl
