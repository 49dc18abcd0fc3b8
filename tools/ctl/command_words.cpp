#include "tools/ctl/command_words.h"

#include <algorithm>
#include <charconv>

#include "tools/ctl/duration.h"

namespace ctl {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kShortestTimeOut{100};
constexpr milliseconds kLongestTimeOut{60000};
constexpr milliseconds kShortestInterval{100};

std::string Quoted(const std::string& text)
{
    return '"' + text + '"';
}

milliseconds DurationOf(const std::string& option, const std::string& text)
{
    const auto duration = ParseDuration(text);
    if (!duration) {
        throw UsageError(option + ' ' + Quoted(text) + " is no duration such as 250ms, 5s or 2m");
    }
    return *duration;
}

int TimeOutOf(const std::string& text)
{
    if (text == "owner") {
        return -1;
    }
    const milliseconds timeOut = DurationOf("--timeout", text);
    if (timeOut < kShortestTimeOut || timeOut > kLongestTimeOut) {
        throw UsageError(
            "--timeout " + Quoted(text) +
            " is not within 100ms and 60s; \"owner\" leaves it to the owner's service");
    }
    return static_cast<int>(timeOut.count());
}

int StateOf(const std::string& text)
{
    const auto state = StateNumber(text);
    if (!state) {
        throw UsageError("no system state " + Quoted(text) + "; known are " +
                         Join(StateTexts(), ", ") + ", and any number");
    }
    return *state;
}

GroupOwner GroupOf(const std::string& text)
{
    const auto group = GroupNumber(text);
    if (!group) {
        throw UsageError("no owner " + Quoted(text) + "; known are " + Join(GroupTexts(), ", ") +
                         ", and any number");
    }
    return *group;
}

// The wire format ends every field with this character and has no escape for it.
void RefuseSeparator(const std::string& text)
{
    if (text.find('#') != std::string::npos) {
        throw UsageError(Quoted(text) + " contains '#', which cannot travel to an owner");
    }
}

AppName AppOf(const std::string& text)
{
    RefuseSeparator(text);
    const auto app = SplitAppName(text);
    if (!app) {
        throw UsageError(Quoted(text) + " is no OWNER/APP; owners are " + Join(GroupTexts(), ", "));
    }
    return *app;
}

void AddParameter(const std::string& text, CommandLine& command)
{
    RefuseSeparator(text);
    const size_t equals = text.find('=');
    int index = 0;
    const char* const end = text.data() + std::min(equals, text.size());
    const auto [rest, error] = std::from_chars(text.data(), end, index);
    if (equals == std::string::npos || error != std::errc() || rest != end) {
        throw UsageError("--param " + Quoted(text) + " is no INDEX=VALUE");
    }
    command.params[index].push_back(text.substr(equals + 1));
}

uint32_t AwaitedOf(const std::string& text)
{
    if (text != "running" && text != "terminated") {
        throw UsageError("--for " + Quoted(text) + " is neither running nor terminated");
    }
    return text == "running" ? 0 : 1;
}

milliseconds IntervalOf(const std::string& text)
{
    const milliseconds interval = DurationOf("--interval", text);
    if (interval < kShortestInterval) {
        throw UsageError("--interval " + Quoted(text) + " is below 100ms");
    }
    return interval;
}

uint32_t CommandOf(const std::string& text)
{
    const auto command = CommandNumber(text);
    if (!command) {
        throw UsageError("no command " + Quoted(text) +
                         "; known are CHANGE_APP, SET_SYSTEM_STATE and so on, and their numbers");
    }
    return *command;
}

void InterpretApps(const CommandWords& words, CommandLine& command)
{
    std::transform(words.apps.begin(), words.apps.end(), std::back_inserter(command.apps), AppOf);
    std::for_each(words.args.begin(), words.args.end(), RefuseSeparator);
    command.args = words.args;
    for (const std::string& param : words.params) {
        AddParameter(param, command);
    }
}

}  // namespace

void Interpret(const CommandWords& words, CommandLine& command)
{
    const auto given = [](const std::string& word) {
        return !word.empty();
    };
    if (given(words.timeOut)) {
        command.timeOut = TimeOutOf(words.timeOut);
    }
    if (command.verb == Verb::kSetState) {
        command.state = StateOf(words.state);
    }
    if (given(words.owner)) {
        command.group = GroupOf(words.owner);
    }
    InterpretApps(words, command);
    if (given(words.awaited)) {
        command.awaited = AwaitedOf(words.awaited);
    }
    if (given(words.limit)) {
        command.limit = DurationOf("--within", words.limit);
    }
    if (given(words.interval)) {
        command.interval = IntervalOf(words.interval);
    }
    if (given(words.command)) {
        command.command = CommandOf(words.command);
    }
}

}  // namespace ctl
