// The result of a verb: one model, rendered as a table for people or as JSON for programs.
#ifndef OWNERLINK_TOOLS_CTL_REPORT_H
#define OWNERLINK_TOOLS_CTL_REPORT_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/ctl/exit_code.h"
#include "tools/ctl/owner_fates.h"
#include "tools/ctl/owner_table.h"

namespace ctl {

struct OwnerRow {
    std::string owner;
    std::string resource;
    Outcome outcome = Outcome::kNotKnown;
    std::string error;   // an errno's name
    std::string reason;  // in words
    std::string next;    // what to try
    std::optional<double> milliseconds;
};

struct AppRow {
    std::string owner;  // empty: not known
    std::string name;
    std::string state;  // empty where nobody told
    std::optional<uint32_t> number;
    std::optional<int32_t> pid;
    bool isFailure = false;
};

// One record that would be sent.
struct PlanRow {
    std::string owner;
    std::string resource;
    std::string command;
    uint64_t bytes = 0;  // of payload
    std::vector<std::string> apps;
    std::string mistake;  // what would become of it, if not an exchange
};

struct Report {
    std::string verb;
    ExitCode exitCode = kDone;
    std::optional<uint32_t> code;  // the library's
    std::vector<OwnerRow> owners;
    std::vector<AppRow> apps;
    std::optional<std::vector<PlanRow>> plan;
    std::vector<TableMistake> mistakes;
    std::vector<std::string> errors;  // what belongs to no row
};

// One line of a watch: an event, an application's state or an owner's.
struct WatchLine {
    std::string time;
    std::optional<uint32_t> event;
    std::string owner;
    std::optional<AppRow> app;
    std::string text;
    bool isFailure = false;
};

// One field of a captured record.
struct Field {
    size_t offset = 0;  // in the record
    size_t length = 0;
    std::string name;
    std::string text;     // as it stands there
    std::string meaning;  // empty where the text says it all
};

struct DecodedRecord {
    uint64_t size = 0;
    int32_t timeOut = 0;
    std::optional<uint32_t> command;
    bool isResponse = false;
    std::vector<Field> fields;
    std::optional<bool> isAccepted;  // by the library's own reader, where it exports one
    std::vector<std::string> notes;
};

bool IsFailure(Outcome outcome);

// The exit code of a report: 0 if nothing failed, 1 if all did, 4 in between.
void SetExitByOwners(Report& report);
void SetExitByApps(Report& report);
void SetExitByOwnersAndMissingApps(Report& report);

}  // namespace ctl

#endif
