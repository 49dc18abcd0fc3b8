// A report as a table for people.
#ifndef OWNERLINK_TOOLS_CTL_REPORT_TABLE_H
#define OWNERLINK_TOOLS_CTL_REPORT_TABLE_H

#include <string>
#include <vector>

#include "tools/ctl/report.h"

namespace ctl {

std::string FormatReport(const Report& report, bool isColoured);

std::string FormatWatchLine(const WatchLine& line, bool isColoured);
std::string FormatRecord(const DecodedRecord& record, bool isColoured);

// One for each that failed, with its reason and what to try; for standard error.
std::vector<std::string> ErrorsOf(const Report& report);

}  // namespace ctl

#endif
