#include "tools/ctl/report.h"

#include <algorithm>

namespace ctl {
namespace {

template <typename Rows, typename IsFailed>
size_t CountFailed(const Rows& rows, IsFailed isFailed)
{
    return static_cast<size_t>(std::count_if(rows.begin(), rows.end(), isFailed));
}

bool IsFailedOwner(const OwnerRow& row)
{
    return IsFailure(row.outcome);
}

bool IsFailedApp(const AppRow& row)
{
    return row.isFailure;
}

// A code of the library is a failure also where no row shows one.
void SetExit(Report& report, size_t failures, size_t successes)
{
    if (failures == 0 && report.code.value_or(0) == 0) {
        report.exitCode = kDone;
    } else {
        report.exitCode = successes == 0 ? kFailed : kPartly;
    }
}

}  // namespace

bool IsFailure(Outcome outcome)
{
    return outcome != Outcome::kDone && outcome != Outcome::kAnswers &&
           outcome != Outcome::kSkipped;
}

void SetExitByOwners(Report& report)
{
    const size_t failures = CountFailed(report.owners, IsFailedOwner);
    SetExit(report, failures, report.owners.size() - failures);
}

void SetExitByApps(Report& report)
{
    const size_t failures = CountFailed(report.apps, IsFailedApp);
    SetExit(report, failures, report.apps.size() - failures);
}

void SetExitByOwnersAndMissingApps(Report& report)
{
    const size_t missing = CountFailed(report.apps, IsFailedApp);
    const size_t failures = CountFailed(report.owners, IsFailedOwner) + missing;
    // Owners that answered are a success only in what they answered, if names were asked for.
    const size_t answered =
        report.apps.empty() ? report.owners.size() - failures : report.apps.size() - missing;
    SetExit(report, failures, answered);
}

}  // namespace ctl
