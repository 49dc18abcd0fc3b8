// Results as JSON, one object on one line; its form stands in report.schema.json.
#ifndef OWNERLINK_TOOLS_CTL_REPORT_JSON_H
#define OWNERLINK_TOOLS_CTL_REPORT_JSON_H

#include <string>

#include "tools/ctl/report.h"

namespace ctl {

std::string ReportToJson(const Report& report);
std::string WatchLineToJson(const WatchLine& line);
std::string RecordToJson(const DecodedRecord& record, ExitCode exitCode);

}  // namespace ctl

#endif
