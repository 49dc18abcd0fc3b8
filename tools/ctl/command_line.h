// What was typed, as a plain record.
#ifndef OWNERLINK_TOOLS_CTL_COMMAND_LINE_H
#define OWNERLINK_TOOLS_CTL_COMMAND_LINE_H

#include <ownerlink/records.h>

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tools/ctl/exit_code.h"
#include "tools/ctl/names.h"

namespace ctl {

enum class Verb {
    kSetState,
    kStart,
    kStop,
    kRestart,
    kQuery,
    kList,
    kReload,
    kDump,
    kStopAll,
    kOwners,
    kWait,
    kWatch,
    kDecode,
    kShell,
};

// The fields below `timeOut` belong to the verbs beside them.
struct CommandLine {
    Verb verb = Verb::kOwners;
    std::string name;  // the verb as it was typed
    bool isJson = false;
    bool isQuiet = false;
    bool isDryRun = false;
    int timeOut = 5000;  // milliseconds of each exchange; -1 is the owner's own

    int state = 0;                                   // set-state
    std::vector<AppName> apps;                       // start, stop, restart, wait
    std::vector<std::string> args;                   // start, stop, restart
    std::map<int, std::vector<std::string>> params;  // start, stop, restart
    std::vector<std::string> names;                  // query
    int queryType = 1;                               // query
    std::optional<GroupOwner> group;                 // reload, dump, stop-all

    uint32_t awaited = 0;  // wait: the execution state
    bool isAny = false;    // wait
    std::chrono::milliseconds limit{60000};
    bool hasStates = false;  // watch
    std::chrono::milliseconds interval{1000};
    uint64_t count = 0;  // watch: 0 is without end

    std::optional<uint32_t> command;  // decode
    bool isResponse = false;
    std::string file;

    bool stopsOnError = false;  // shell
};

// Either a command, or what to print instead and the exit code.
struct Parsed {
    std::optional<CommandLine> command;
    ExitCode exitCode = kDone;
    std::string text;  // of the help or of the mistake
};

// `words` are those behind the program's name. In a shell there is no second shell.
Parsed ParseCommandLine(const std::vector<std::string>& words, bool isInShell);

}  // namespace ctl

#endif
