// Runs one command to its end and prints what came of it.
#ifndef OWNERLINK_TOOLS_CTL_RUN_VERB_H
#define OWNERLINK_TOOLS_CTL_RUN_VERB_H

#include "tools/ctl/command_line.h"
#include "tools/ctl/output.h"
#include "tools/ctl/report.h"
#include "tools/ctl/surroundings.h"

namespace ctl {

// Any verb but the shell.
ExitCode RunVerb(const Surroundings& around, const CommandLine& command);

// Prints a finished result as the command wants it.
ExitCode PrintReport(const Report& report, const CommandLine& command, Output& output);

}  // namespace ctl

#endif
