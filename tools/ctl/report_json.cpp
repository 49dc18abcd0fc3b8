#include "tools/ctl/report_json.h"

#include <ownerlink/enum_text.h>
#include <nlohmann/json.hpp>

#include "tools/ctl/names.h"

namespace ctl {
namespace {

using Json = nlohmann::ordered_json;

constexpr int kVersion = 1;

Json OrNull(const std::string& text)
{
    return text.empty() ? Json(nullptr) : Json(text);
}

template <typename Number>
Json OrNull(const std::optional<Number>& number)
{
    return number ? Json(*number) : Json(nullptr);
}

Json OwnerToJson(const OwnerRow& row)
{
    return {{"owner", row.owner},
            {"resource", row.resource},
            {"outcome", OutcomeText(row.outcome)},
            {"error", OrNull(row.error)},
            {"reason", OrNull(row.reason)},
            {"next", OrNull(row.next)},
            {"milliseconds", OrNull(row.milliseconds)}};
}

Json AppToJson(const AppRow& row)
{
    return {{"owner", OrNull(row.owner)},   {"name", row.name},       {"state", OrNull(row.state)},
            {"number", OrNull(row.number)}, {"pid", OrNull(row.pid)}, {"failed", row.isFailure}};
}

Json PlanToJson(const PlanRow& row)
{
    return {{"owner", OrNull(row.owner)},     {"resource", OrNull(row.resource)},
            {"command", OrNull(row.command)}, {"bytes", row.bytes},
            {"applications", row.apps},       {"mistake", OrNull(row.mistake)}};
}

Json MistakeToJson(const TableMistake& mistake)
{
    return {{"entry", OrNull(mistake.entry)}, {"text", mistake.text}};
}

Json FieldToJson(const Field& field)
{
    return {{"offset", field.offset},
            {"length", field.length},
            {"name", field.name},
            {"text", field.text},
            {"meaning", OrNull(field.meaning)}};
}

// Names need not be UTF-8; what is not becomes the replacement character.
std::string LineOf(const Json& json)
{
    return json.dump(-1, ' ', false, Json::error_handler_t::replace) + '\n';
}

template <typename Rows, typename Convert>
Json ArrayOf(const Rows& rows, Convert convert)
{
    Json array = Json::array();
    for (const auto& row : rows) {
        array.push_back(convert(row));
    }
    return array;
}

}  // namespace

std::string ReportToJson(const Report& report)
{
    Json json = {{"version", kVersion},
                 {"verb", report.verb},
                 {"exit", report.exitCode},
                 {"code", report.code ? Json(Hex(*report.code)) : Json(nullptr)},
                 {"owners", ArrayOf(report.owners, OwnerToJson)},
                 {"applications", ArrayOf(report.apps, AppToJson)}};
    if (report.plan) {
        json["plan"] = ArrayOf(*report.plan, PlanToJson);
    }
    json["mistakes"] = ArrayOf(report.mistakes, MistakeToJson);
    json["errors"] = report.errors;
    return LineOf(json);
}

std::string WatchLineToJson(const WatchLine& line)
{
    Json json = {{"version", kVersion}, {"verb", "watch"}, {"time", line.time}};
    if (line.event) {
        const std::string text = ProcMgr::GetSysState(*line.event);
        json["event"] = {{"state", *line.event}, {"text", OrNull(text)}};
    } else if (line.app) {
        json["application"] = AppToJson(*line.app);
    } else {
        json["owner"] = {{"owner", line.owner}, {"answers", !line.isFailure}, {"text", line.text}};
    }
    return LineOf(json);
}

std::string RecordToJson(const DecodedRecord& record, ExitCode exitCode)
{
    return LineOf({{"version", kVersion},
                   {"verb", "decode"},
                   {"exit", exitCode},
                   {"record",
                    {{"size", record.size},
                     {"timeout", record.timeOut},
                     {"command", record.command ? Json(CommandText(*record.command)) : Json()},
                     {"direction", record.isResponse ? "response" : "request"},
                     {"fields", ArrayOf(record.fields, FieldToJson)},
                     {"accepted", OrNull(record.isAccepted)},
                     {"notes", record.notes}}}});
}

}  // namespace ctl
