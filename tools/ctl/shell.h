// All verbs at one prompt, in one process.
#ifndef OWNERLINK_TOOLS_CTL_SHELL_H
#define OWNERLINK_TOOLS_CTL_SHELL_H

#include "tools/ctl/command_line.h"
#include "tools/ctl/event_hub.h"
#include "tools/ctl/output.h"
#include "tools/ctl/session.h"

namespace ctl {

// Obeys lines of standard input to their end; the highest exit code of all of them.
ExitCode Shell(Session& session, EventHub& events, const CommandLine& command, Output& output);

}  // namespace ctl

#endif
