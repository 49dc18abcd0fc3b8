#include "tools/ctl/report_json.h"

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
    return json.dump(-1, ' ', false, Json::error_handler_t::replace) + '\n';
}

}  // namespace ctl
