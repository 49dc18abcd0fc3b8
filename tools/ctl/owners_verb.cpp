// owners: the table with its mistakes, and a probe of each resource file.

#include <fcntl.h>

#include <cerrno>
#include <chrono>

#include "platform/iam_file.h"
#include "tools/ctl/advice.h"
#include "tools/ctl/verbs.h"

namespace ctl {
namespace {

using Clock = std::chrono::steady_clock;

// The read that the library's own watch makes: the platform answers it for the owner beside its
// callbacks, within a second.
int Probe(const std::string& resource, double& milliseconds)
{
    const int file = IAMFileOpen(resource.c_str(), O_RDONLY);
    if (file < 0) {
        return errno;
    }
    char bytes[4];
    const auto begin = Clock::now();
    const bool isAnswered = IAMFileRead(file, bytes, sizeof bytes) >= 0;
    const int error = isAnswered ? 0 : errno;
    milliseconds = std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
    IAMFileClose(file);
    return error;
}

OwnerRow ProbedRow(const ConfiguredOwner& owner)
{
    OwnerRow row;
    row.owner = GroupText(owner.group);
    row.resource = owner.resource;
    double milliseconds = 0;
    const int error = Probe(owner.resource, milliseconds);
    if (error == 0) {
        row.outcome = Outcome::kAnswers;
        row.milliseconds = milliseconds;
        return row;
    }
    const Advice advice = AdviceOnError(error);
    row.outcome = error == ETIMEDOUT ? Outcome::kNoAnswer : Outcome::kNotReached;
    row.error = ErrorName(error);
    row.reason = advice.reason;
    row.next = advice.next;
    return row;
}

}  // namespace

Report Owners(Session& session, const CommandLine& command)
{
    const OwnerTable table = session.Table();
    Report report = Begin(command, table);
    report.mistakes = table.mistakes;
    for (const ConfiguredOwner& owner : table.owners) {
        report.owners.push_back(ProbedRow(owner));
    }
    SetExitByOwners(report);
    if (ReadOwnerTable().owners != table.owners) {
        report.errors.push_back(std::string(kTablePath) +
                                " has changed; this process keeps what it has loaded");
    }
    if (report.exitCode == kDone && !report.mistakes.empty()) {
        report.exitCode = kPartly;
    }
    if (table.owners.empty()) {
        SetNoOwner(report, "");
    }
    return report;
}

}  // namespace ctl
