// The step between the words of a command line and what they mean.
#ifndef OWNERLINK_TOOLS_CTL_COMMAND_WORDS_H
#define OWNERLINK_TOOLS_CTL_COMMAND_WORDS_H

#include <stdexcept>
#include <string>
#include <vector>

#include "tools/ctl/command_line.h"

namespace ctl {

// The values as they were typed; empty for those that were not.
struct CommandWords {
    std::string timeOut;
    std::string state;
    std::string owner;
    std::vector<std::string> apps;
    std::vector<std::string> params;
    std::vector<std::string> args;
    std::string awaited;
    std::string limit;
    std::string interval;
    std::string command;
};

// A mistake of the person who typed; the text says what was expected.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Fills the fields of `command` that its words stand for. Throws UsageError.
void Interpret(const CommandWords& words, CommandLine& command);

}  // namespace ctl

#endif
