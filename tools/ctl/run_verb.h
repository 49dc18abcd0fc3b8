// Runs one command to its end and prints what came of it.
#ifndef OWNERLINK_TOOLS_CTL_RUN_VERB_H
#define OWNERLINK_TOOLS_CTL_RUN_VERB_H

#include "tools/ctl/command_line.h"
#include "tools/ctl/output.h"
#include "tools/ctl/report.h"
#include "tools/ctl/session.h"

namespace ctl {

ExitCode RunVerb(Session& session, const CommandLine& command, Output& output);

// Prints a finished result as the command wants it.
ExitCode PrintReport(const Report& report, const CommandLine& command, Output& output);

}  // namespace ctl

#endif
