// ownerlinkctl: the system-state manager at a prompt.

#include <csignal>
#include <cstdio>
#include <exception>

#include "tools/ctl/command_line.h"
#include "tools/ctl/log_capture.h"
#include "tools/ctl/output.h"
#include "tools/ctl/run_verb.h"
#include "tools/ctl/shell.h"

namespace {

int Main(const std::vector<std::string>& words)
{
    // The library logs from its first call on.
    static ctl::LogCapture log;
    ctl::Output output;
    const ctl::Parsed parsed = ctl::ParseCommandLine(words, false);
    if (!parsed.command) {
        if (parsed.exitCode == ctl::kDone) {
            output.Print(parsed.text);
        } else {
            std::fputs(parsed.text.c_str(), stderr);
        }
        return parsed.exitCode;
    }
    ctl::Session session(log);
    // Events may arrive until the process has gone.
    static ctl::EventHub& events = *new ctl::EventHub;
    if (parsed.command->verb == ctl::Verb::kShell) {
        return ctl::Shell(session, events, *parsed.command, output);
    }
    const ctl::Stop never;
    return ctl::RunVerb({session, output, events, never, true}, *parsed.command);
}

}  // namespace

int main(int argc, char** argv)
{
    std::signal(SIGPIPE, SIG_IGN);  // a reader that has gone is seen by the write's result
    try {
        return Main({argv + (argc > 0 ? 1 : 0), argv + argc});
    } catch (const std::exception& error) {
        std::fprintf(stderr, "ownerlinkctl: %s\n", error.what());
        return ctl::kFailed;
    }
}
