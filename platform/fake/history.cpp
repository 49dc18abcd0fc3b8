#include "platform/fake/history.h"

#include <syslog.h>

#include <algorithm>
#include <map>
#include <stdexcept>
#include <variant>

namespace OwnerlinkFake {

namespace detail {
namespace {

constexpr uint32_t kMilestone = 1U << 24;

// Every function of the double by name. The value tells whether Calls() shows it unasked.
const std::map<std::string, bool>& Functions()
{
    static const auto& functions = *new std::map<std::string, bool>{
        {"open", true},
        {"read", true},
        {"ioctl", true},
        {"close", true},
        {"access", true},
        {"realpath", true},
        {"fopen", true},
        {"usleep", true},
        {"nanosleep", true},
        {"prctl", true},
        {"DlogRecord", false},
        {"DlogFlush", true},
        {"IAMRegisterService", true},
        {"IAMResetFileConfig", true},
        {"IAMRegisterQueueService", true},
        {"IAMShmRegisterPoolWithConfig", true},
        {"IAMShmDestroyPool", true},
        {"IAMShmHandleMalloc", true},
        {"IAMShmWrite", true},
        {"IAMShmFree", true},
        {"IAMDataEnqueue", true},
        {"IAMFastReadAsync", true},
        {"EzcomSendRequest", true},
        {"EzcomSendResponse", true},
        {"EzcomRPCSync", true},
        {"EzcomTimedRPCSync", true},
        {"EzcomClosePipe", true},
        {"memcpy_s", false},
        {"memset_s", false},
        {"new[]", false},
        {"std::thread", false},
        {"clock_gettime", false},
        {"steady_clock::now", false},
        {"yaml_parser_initialize", false},
        {"yaml_parser_load", false},
        {"yaml_parser_delete", false},
        {"yaml_document_get_root_node", false},
        {"yaml_document_get_node", false},
        {"yaml_document_delete", false},
    };
    return functions;
}

struct CallEntry {
    std::string function;
    std::string text;
};

using Event = std::variant<CallEntry, LogRecord>;

struct History {
    Journal<Event> events;
    std::deque<LevelQuery> queries;
};

template <class Wanted>
std::vector<std::string> CallTexts(const Wanted& wanted)
{
    const Lock lock = LockState();
    std::vector<std::string> texts;
    for (const Event& event : Immortal<History>().events.Entries()) {
        const auto* call = std::get_if<CallEntry>(&event);
        if (call != nullptr && wanted(call->function)) {
            texts.push_back(call->text);
        }
    }
    return texts;
}

template <class Wanted>
std::vector<std::string> RecordTexts(const Wanted& wanted)
{
    std::vector<std::string> texts;
    for (const LogRecord& record : Records()) {
        if (wanted(record)) {
            texts.push_back(record.text);
        }
    }
    return texts;
}

bool IsMilestone(const LogRecord& record)
{
    return record.route == LogRoute::kDlog && (record.module & kMilestone) != 0;
}

bool HasLevel(const LogRecord& record, uint32_t dlogLevel, uint32_t syslogPriority)
{
    return record.level == (record.route == LogRoute::kDlog ? dlogLevel : syslogPriority);
}

std::string Head(const LogRecord& record)
{
    const std::string level = std::to_string(record.level);
    return record.route == LogRoute::kSyslog
               ? "syslog(" + level + ") "
               : "log(" + std::to_string(record.module) + "," + level + ") ";
}

}  // namespace

void RequireFunction(const std::string& function)
{
    if (!Functions().contains(function)) {
        throw std::invalid_argument("the platform double has no function named '" + function + "'");
    }
}

uint64_t AddCall(const Lock& lock, const std::string& function, const std::string& text)
{
    const uint64_t number = Immortal<History>().events.Add(CallEntry{function, text});
    Changed(lock);
    return number;
}

void AddResult(const Lock& lock, uint64_t number, const std::string& result)
{
    Event* event = Immortal<History>().events.Find(number);
    if (event != nullptr) {
        std::get<CallEntry>(*event).text += result;
    }
    Changed(lock);
}

void AddRecord(const Lock& lock, const LogRecord& record)
{
    Immortal<History>().events.Add(record);
    Changed(lock);
}

void AddLevelQuery(const Lock& lock, LevelQuery query)
{
    Immortal<History>().queries.push_back(query);
    Changed(lock);
}

void ForgetEvents()
{
    Immortal<History>().events.Clear();
    Immortal<History>().queries.clear();
}

void ResetHistory()
{
    ForgetEvents();
}

}  // namespace detail

using detail::HasLevel;
using detail::IsMilestone;

std::vector<std::string> Calls()
{
    return detail::CallTexts(
        [](const std::string& function) { return detail::Functions().at(function); });
}

std::vector<std::string> Calls(const std::string& function)
{
    return Calls({function.c_str()});
}

std::vector<std::string> Calls(std::initializer_list<const char*> functions)
{
    std::for_each(functions.begin(), functions.end(), detail::RequireFunction);
    return detail::CallTexts([&](const std::string& function) {
        return std::count(functions.begin(), functions.end(), function) != 0;
    });
}

std::vector<LogRecord> Records()
{
    const detail::Lock lock = detail::LockState();
    std::vector<LogRecord> records;
    for (const auto& event : detail::Immortal<detail::History>().events.Entries()) {
        if (const auto* record = std::get_if<LogRecord>(&event)) {
            records.push_back(*record);
        }
    }
    return records;
}

std::vector<std::string> Errors()
{
    return detail::RecordTexts([](const LogRecord& r) { return HasLevel(r, 3, LOG_ERR); });
}

std::vector<std::string> Warnings()
{
    return detail::RecordTexts([](const LogRecord& r) { return HasLevel(r, 2, LOG_WARNING); });
}

std::vector<std::string> Infos()
{
    return detail::RecordTexts(
        [](const LogRecord& r) { return HasLevel(r, 1, LOG_INFO) && !IsMilestone(r); });
}

std::vector<std::string> Milestones()
{
    return detail::RecordTexts(IsMilestone);
}

std::vector<std::string> Timeline()
{
    const detail::Lock lock = detail::LockState();
    std::vector<std::string> lines;
    for (const auto& event : detail::Immortal<detail::History>().events.Entries()) {
        if (const auto* record = std::get_if<LogRecord>(&event)) {
            lines.push_back(detail::Head(*record) + record->text);
        } else if (detail::Functions().at(std::get<detail::CallEntry>(event).function)) {
            lines.push_back(std::get<detail::CallEntry>(event).text);
        }
    }
    return lines;
}

std::vector<LevelQuery> LevelQueries()
{
    const detail::Lock lock = detail::LockState();
    const auto& queries = detail::Immortal<detail::History>().queries;
    return {queries.begin(), queries.end()};
}

bool operator==(const LogRecord& left, const LogRecord& right)
{
    return left.route == right.route && left.module == right.module && left.level == right.level &&
           left.unit == right.unit && left.text == right.text;
}

bool operator!=(const LogRecord& left, const LogRecord& right)
{
    return !(left == right);
}

std::ostream& operator<<(std::ostream& out, const LogRecord& record)
{
    out << detail::Head(record);
    if (!record.unit.empty()) {
        out << "[" << record.unit << ":" << record.line << "]";
    }
    return out << record.text;
}

bool operator==(const LevelQuery& left, const LevelQuery& right)
{
    return left.module == right.module && left.level == right.level;
}

std::ostream& operator<<(std::ostream& out, const LevelQuery& query)
{
    return out << "CheckLogLevel(" << query.module << "," << query.level << ")";
}

}  // namespace OwnerlinkFake
