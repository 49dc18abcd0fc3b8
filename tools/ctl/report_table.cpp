#include "tools/ctl/report_table.h"

#include <cstdio>

#include "tools/ctl/names.h"
#include "tools/ctl/output.h"
#include "tools/ctl/table.h"

namespace ctl {
namespace {

Tone ToneOf(bool isFailure)
{
    return isFailure ? Tone::kBad : Tone::kGood;
}

std::string TimeText(const std::optional<double>& milliseconds)
{
    char text[32] = "";
    if (milliseconds) {
        std::snprintf(text, sizeof text, "%.3f ms", *milliseconds);
    }
    return text;
}

std::string FormatOwners(const Report& report, bool isColoured)
{
    std::vector<Row> rows;
    for (const OwnerRow& row : report.owners) {
        rows.push_back({{row.owner},
                        {row.resource},
                        {OutcomeText(row.outcome), ToneOf(IsFailure(row.outcome))},
                        {TimeText(row.milliseconds)},
                        {row.reason}});
    }
    return FormatTable({"OWNER", "RESOURCE", "OUTCOME", "TIME", "REASON"}, rows, isColoured);
}

std::string FormatApps(const Report& report, bool isColoured)
{
    std::vector<Row> rows;
    for (const AppRow& row : report.apps) {
        rows.push_back({{row.owner.empty() ? "?" : row.owner},
                        {row.name},
                        {row.pid ? std::to_string(*row.pid) : ""},
                        {row.state, ToneOf(row.isFailure)}});
    }
    return FormatTable({"OWNER", "APP", "PID", "STATE"}, rows, isColoured);
}

std::string FormatPlan(const std::vector<PlanRow>& plan, bool isColoured)
{
    std::vector<Row> rows;
    rows.reserve(plan.size());
    for (const PlanRow& row : plan) {
        rows.push_back({{row.owner},
                        {row.resource},
                        {row.command},
                        {row.command.empty() ? "" : std::to_string(row.bytes)},
                        {Join(row.apps, " ")},
                        {row.mistake, Tone::kBad}});
    }
    const std::string table =
        FormatTable({"OWNER", "RESOURCE", "COMMAND", "BYTES", "APPS", "MISTAKE"}, rows, isColoured);
    return table + "nothing was sent\n";
}

}  // namespace

std::string FormatReport(const Report& report, bool isColoured)
{
    if (report.plan) {
        return FormatPlan(*report.plan, isColoured);
    }
    const std::string owners = FormatOwners(report, isColoured);
    const std::string apps = FormatApps(report, isColoured);
    return owners + (owners.empty() || apps.empty() ? "" : "\n") + apps;
}

std::string FormatWatchLine(const WatchLine& line, bool isColoured)
{
    std::string what = line.owner;
    std::string state = line.text;
    if (line.event) {
        what = "event";
        state = StateText(static_cast<int>(*line.event)) + " (" + std::to_string(*line.event) + ')';
    } else if (line.app) {
        what += '/' + line.app->name;
        state += line.app->pid ? " pid " + std::to_string(*line.app->pid) : "";
    }
    return line.time + "  " + Printable(what) + "  " +
           Toned({Printable(state), ToneOf(line.isFailure)}, isColoured) + '\n';
}

std::string FormatRecord(const DecodedRecord& record, bool isColoured)
{
    std::vector<Row> rows;
    for (const Field& field : record.fields) {
        rows.push_back({{std::to_string(field.offset), Tone::kFaint},
                        {std::to_string(field.length), Tone::kFaint},
                        {field.name},
                        {field.text},
                        {field.meaning, Tone::kGood}});
    }
    std::string text =
        FormatTable({"OFFSET", "LENGTH", "FIELD", "TEXT", "MEANING"}, rows, isColoured);
    for (const std::string& note : record.notes) {
        text += Printable(note) + '\n';
    }
    return text;
}

std::vector<std::string> ErrorsOf(const Report& report)
{
    std::vector<std::string> errors;
    for (const TableMistake& mistake : report.mistakes) {
        const std::string where =
            mistake.entry.empty() ? " " : ": entry \"" + mistake.entry + "\": ";
        errors.push_back(kTablePath + where + mistake.text);
    }
    for (const OwnerRow& row : report.owners) {
        if (IsFailure(row.outcome)) {
            errors.push_back(row.owner + " (" + row.resource + "): " + row.reason +
                             (row.next.empty() ? "" : "; " + row.next));
        }
    }
    errors.insert(errors.end(), report.errors.begin(), report.errors.end());
    return errors;
}

}  // namespace ctl
