#include "tools/ctl/run_verb.h"

#include "tools/ctl/decode.h"
#include "tools/ctl/long_verbs.h"
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

Report RunOnce(const Surroundings& around, const CommandLine& command)
{
    const Function function = command.isDryRun ? PlanOf(command.verb) : FunctionOf(command.verb);
    const size_t mark = around.session.Mark();
    const Progress progress(around.output, around.isForeground, [&around, mark] {
        // What has been sent cannot be taken back, so the first Ctrl-C of a shell is noted only.
        const bool isUnheard = around.stop.IsRequested();
        return Awaited(around.session, mark) + (isUnheard ? "; Ctrl-C again gives up" : "");
    });
    return function(around.session, command);
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

ExitCode RunVerb(const Surroundings& around, const CommandLine& command)
{
    switch (command.verb) {
        case Verb::kWatch:
            return Watch(around, command);
        case Verb::kDecode:
            return Decode(command, around.output);
        case Verb::kWait:
            return PrintReport(Wait(around, command), command, around.output);
        default:
            return PrintReport(RunOnce(around, command), command, around.output);
    }
}

}  // namespace ctl
