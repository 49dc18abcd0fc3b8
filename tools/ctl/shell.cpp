#include "tools/ctl/shell.h"

#include <unistd.h>

#include <algorithm>
#include <memory>

#include "tools/ctl/interrupt.h"
#include "tools/ctl/jobs.h"
#include "tools/ctl/line_reader.h"
#include "tools/ctl/run_verb.h"
#include "tools/ctl/shell_words.h"

namespace ctl {
namespace {

const char* const kHelp =
    "Every verb of ownerlinkctl, and:\n"
    "  VERB ... &   in the background\n"
    "  jobs         what runs there\n"
    "  cancel N     ends a wait or a watch that runs there\n"
    "  help         this; VERB --help for one verb\n"
    "  exit         ends the shell, as the end of the input does\n";

class ShellLoop {
public:
    ShellLoop(Session& session, EventHub& events, const CommandLine& command, Output& output)
        : session_(session), events_(events), defaults_(command), output_(output), jobs_(output)
    {
    }

    ExitCode Run();

private:
    bool Obey(const std::string& text);  // false: it was the last line
    bool ObeyBuiltIn(const ShellLine& line);
    void ObeyVerb(const ShellLine& line, const std::string& text);
    void RunHere(const CommandLine& command);
    void RunBehind(const CommandLine& command, const std::string& text);
    void Cancel(const ShellLine& line);
    void Refuse(const std::string& mistake);
    void Count(ExitCode exitCode) { worst_ = std::max(worst_, exitCode); }
    void Prompt();

    Session& session_;
    EventHub& events_;
    const CommandLine& defaults_;
    Output& output_;
    Jobs jobs_;
    LineReader reader_;
    Stop interrupted_;  // of the prompt, or of the verb in the foreground
    bool isInteractive_ = isatty(STDIN_FILENO) == 1;
    ExitCode worst_ = kDone;
};

void ShellLoop::Prompt()
{
    Count(jobs_.Reap());
    if (isInteractive_) {
        output_.Print("ownerlink> ");
    }
}

void ShellLoop::Refuse(const std::string& mistake)
{
    output_.Complain(mistake);
    Count(kUsage);
}

void ShellLoop::RunHere(const CommandLine& command)
{
    Count(RunVerb({session_, output_, events_, interrupted_, true}, command));
}

void ShellLoop::RunBehind(const CommandLine& command, const std::string& text)
{
    jobs_.Start(text, command.verb == Verb::kWatch, [this, command](const Stop& stop) {
        return RunVerb({session_, output_, events_, stop, false}, command);
    });
}

void ShellLoop::ObeyVerb(const ShellLine& line, const std::string& text)
{
    Parsed parsed = ParseCommandLine(line.words, true);
    if (!parsed.command) {
        Count(parsed.exitCode);
        parsed.exitCode == kDone ? output_.Print(parsed.text) : output_.PrintError(parsed.text);
        return;
    }
    CommandLine& command = *parsed.command;
    command.isJson = command.isJson || defaults_.isJson;
    command.isQuiet = command.isQuiet || defaults_.isQuiet;
    if (command.verb == Verb::kDecode && command.file == "-") {
        Refuse("decode: standard input holds the shell's lines; name a file");
    } else if (line.isBackground) {
        RunBehind(command, text);
    } else {
        RunHere(command);
    }
}

void ShellLoop::Cancel(const ShellLine& line)
{
    const bool isNumber = line.words.size() == 2 && line.words[1].size() < 9 &&
                          line.words[1].find_first_not_of("0123456789") == std::string::npos;
    if (!isNumber || !jobs_.Cancel(std::stoi('0' + line.words[1]))) {
        Refuse("cancel: no such job; \"jobs\" shows which run");
    }
}

bool ShellLoop::ObeyBuiltIn(const ShellLine& line)
{
    const std::string& word = line.words.front();
    if (word == "help") {
        output_.Print(kHelp);
    } else if (word == "jobs") {
        jobs_.Show();
    } else if (word == "cancel") {
        Cancel(line);
    } else {
        return false;
    }
    return true;
}

bool ShellLoop::Obey(const std::string& text)
{
    const ShellLine line = SplitLine(text);
    if (!line.mistake.empty()) {
        Refuse(line.mistake);
    } else if (!line.words.empty()) {
        if (line.words.front() == "exit" || line.words.front() == "quit") {
            return false;
        }
        if (!ObeyBuiltIn(line)) {
            ObeyVerb(line, text);
        }
    }
    return !(defaults_.stopsOnError && worst_ != kDone);
}

ExitCode ShellLoop::Run()
{
    const auto interrupt = isInteractive_ ? std::make_unique<Interrupt>(interrupted_) : nullptr;
    bool isToGoOn = true;
    while (isToGoOn && output_.HasReader()) {
        interrupted_
            .Withdraw();  // ahead of the prompt: from there on it is meant for the next line
        Prompt();
        std::string text;
        switch (reader_.Read(text, interrupted_)) {
            case LineReader::Result::kLine:
                isToGoOn = Obey(text);
                break;
            case LineReader::Result::kStopped:
                output_.Print("\n");
                break;
            case LineReader::Result::kEnd:
                isToGoOn = false;
                break;
        }
    }
    Count(jobs_.AwaitAll());
    return worst_;
}

}  // namespace

ExitCode Shell(Session& session, EventHub& events, const CommandLine& command, Output& output)
{
    return ShellLoop(session, events, command, output).Run();
}

}  // namespace ctl
