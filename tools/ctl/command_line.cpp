#include "tools/ctl/command_line.h"

#include <CLI/CLI.hpp>

#include <algorithm>

#include "tools/ctl/command_words.h"

namespace ctl {
namespace {

using Words = std::vector<std::string>;

const char* const kFooter =
    "OWNER is DATAMASTER, IAM or APPMGR. Exit status: 0 done, 1 failed, 2 usage, 3 refused "
    "because\n"
    "another state change runs (in a shell), 4 partly failed, 5 no owner configured; of wait also\n"
    "6 not so in time, 7 cannot become so. See ownerlinkctl(1).";

// One grammar, built anew for each line, since it keeps what it has parsed.
class Grammar {
public:
    explicit Grammar(bool isInShell);
    Parsed Parse(const Words& words);

private:
    CLI::App* Add(Verb verb, const char* name, const char* help);
    void AddChanges();
    void AddQuestions();
    void AddControls();
    void AddWaiting();
    void AddDecode();
    void AddShell();
    void AddTimeOut(CLI::App* verb);
    void AddDryRun(CLI::App* verb);
    Words Verbs() const;
    bool IsVerb(const std::string& word) const;
    Parsed Refuse(const std::string& reason) const;

    CLI::App app_{"The system-state manager at a prompt: asks and steers the group owners.",
                  "ownerlinkctl"};
    CommandLine command_;
    CommandWords words_;
};

std::string CheckNotEmpty(const std::string& text)
{
    return text.empty() ? "must not be empty" : "";
}

CLI::Option* AddWord(CLI::App* verb, const char* name, std::string& word, const char* help)
{
    return verb->add_option(name, word, help)->check(CheckNotEmpty);
}

Grammar::Grammar(bool isInShell)
{
    app_.require_subcommand(1);
    app_.fallthrough();
    app_.footer(kFooter);
    app_.set_help_all_flag("--help-all", "Print the help of every verb and exit");
    app_.set_version_flag("--version", "ownerlinkctl " OWNERLINK_VERSION);
    app_.add_flag("--json", command_.isJson, "Print one JSON object for each result");
    app_.add_flag("-q,--quiet", command_.isQuiet, "Print errors only");
    AddChanges();
    AddQuestions();
    AddControls();
    AddWaiting();
    AddDecode();
    if (!isInShell) {
        AddShell();
    }
}

CLI::App* Grammar::Add(Verb verb, const char* name, const char* help)
{
    CLI::App* const subcommand = app_.add_subcommand(name, help);
    subcommand->callback([this, verb, name] {
        command_.verb = verb;
        command_.name = name;
    });
    return subcommand;
}

void Grammar::AddTimeOut(CLI::App* verb)
{
    AddWord(verb, "-t,--timeout", words_.timeOut,
            "Limit of each exchange with an owner, 100ms to 60s (default 5s), or \"owner\" for the "
            "limit of the owner's service");
}

void Grammar::AddDryRun(CLI::App* verb)
{
    verb->add_flag("-n,--dry-run", command_.isDryRun,
                   "Say what would go to which owner in how many records, and send nothing");
}

void Grammar::AddChanges()
{
    CLI::App* const setState =
        Add(Verb::kSetState, "set-state", "Set a system state on all owners");
    AddWord(setState, "STATE", words_.state, "WORKING, SUSPEND_PRE, ..., or a number")->required();
    AddTimeOut(setState);
    AddDryRun(setState);
    const std::tuple<Verb, const char*, const char*> changes[] = {
        {Verb::kStart, "start", "Start applications; words behind -- are their arguments"},
        {Verb::kStop, "stop", "Stop applications"},
        {Verb::kRestart, "restart", "Restart applications; words behind -- are their arguments"},
    };
    for (const auto& [verb, name, help] : changes) {
        CLI::App* const change = Add(verb, name, help);
        change->add_option("OWNER/APP", words_.apps, "Applications")->required();
        change->add_option("--param", words_.params, "A dynamic parameter, INDEX=VALUE; repeatable")
            ->allow_extra_args(false);
        AddTimeOut(change);
        AddDryRun(change);
    }
}

void Grammar::AddQuestions()
{
    CLI::App* const query = Add(Verb::kQuery, "query", "Ask owners for the state of applications");
    query->add_option("APP", command_.names, "Names; none asks for all");
    query->add_option("--type", command_.queryType,
                      "The query type: 0 asks DATAMASTER alone, others ask all (default 1)");
    AddTimeOut(query);
    AddTimeOut(Add(Verb::kList, "list", "List the applications of all owners"));
    Add(Verb::kOwners, "owners", "Show the configured owners, which answer and how fast");
}

void Grammar::AddControls()
{
    const std::tuple<Verb, const char*, const char*> controls[] = {
        {Verb::kReload, "reload", "Have owners reload their configuration"},
        {Verb::kDump, "dump", "Have owners write their state to their logs"},
        {Verb::kStopAll, "stop-all", "Have owners stop all their applications"},
    };
    for (const auto& [verb, name, help] : controls) {
        CLI::App* const control = Add(verb, name, help);
        AddWord(control, "OWNER", words_.owner, "One owner; without it all but IAM are asked");
        AddTimeOut(control);
        AddDryRun(control);
    }
}

void Grammar::AddWaiting()
{
    CLI::App* const wait = Add(Verb::kWait, "wait", "Wait until applications run or have ended");
    wait->add_option("OWNER/APP", words_.apps, "Applications")->required();
    AddWord(wait, "--for", words_.awaited, "running or terminated")->required();
    wait->add_flag("--any", command_.isAny, "One of them is enough");
    AddWord(wait, "--within", words_.limit, "How long to wait in all (default 1m)");
    AddTimeOut(wait);
    CLI::App* const watch = Add(Verb::kWatch, "watch", "Print system events as owners report them");
    watch->add_flag("--states", command_.hasStates, "Also the applications, when they change");
    AddWord(watch, "--interval", words_.interval,
            "Between two questions for the states, from 100ms (default 1s)");
    watch->add_option("--count", command_.count, "End after so many lines")
        ->check(CLI::PositiveNumber);
    AddTimeOut(watch);
}

void Grammar::AddDecode()
{
    CLI::App* const decode = Add(Verb::kDecode, "decode", "Print a captured record field by field");
    AddWord(decode, "FILE", command_.file,
            "The record, as bytes or as hex digits; - is standard input")
        ->required();
    AddWord(decode, "-c,--command", words_.command, "The command, such as CHANGE_APP or 0");
    decode->add_flag("-r,--response", command_.isResponse, "It is the owner's answer");
}

void Grammar::AddShell()
{
    CLI::App* const shell =
        Add(Verb::kShell, "shell", "Obey lines of standard input, all verbs in one process");
    shell->add_flag("-e,--stop-on-error", command_.stopsOnError, "End at the first that fails");
}

Words Grammar::Verbs() const
{
    Words verbs;
    for (const CLI::App* const verb : app_.get_subcommands({})) {
        verbs.push_back(verb->get_name());
    }
    return verbs;
}

bool Grammar::IsVerb(const std::string& word) const
{
    const Words verbs = Verbs();
    return std::find(verbs.begin(), verbs.end(), word) != verbs.end();
}

Parsed Grammar::Refuse(const std::string& reason) const
{
    const CLI::App* const verb =
        app_.get_subcommands().empty() ? nullptr : app_.get_subcommands().front();
    const std::string help = verb == nullptr ? "" : ' ' + verb->get_name();
    return {std::nullopt, kUsage,
            "ownerlinkctl: " + reason + "\nTry \"ownerlinkctl" + help + " --help\".\n"};
}

Parsed Grammar::Parse(const Words& words)
{
    // What stands behind "--" belongs to the applications, whatever it looks like.
    const auto end = std::find(words.begin(), words.end(), "--");
    Words own(words.begin(), end);
    if (!own.empty() && own.front().compare(0, 1, "-") != 0 && !IsVerb(own.front())) {
        return Refuse("no verb \"" + own.front() + "\"; known are " + Join(Verbs(), ", "));
    }
    std::reverse(own.begin(), own.end());
    try {
        app_.parse(std::move(own));
        if (end != words.end()) {
            words_.args.assign(end + 1, words.end());
        }
        Interpret(words_, command_);
        return {command_, kDone, ""};
    } catch (const CLI::CallForVersion& call) {
        return {std::nullopt, kDone, std::string(call.what()) + '\n'};
    } catch (const CLI::CallForAllHelp&) {
        return {std::nullopt, kDone, app_.help("", CLI::AppFormatMode::All)};
    } catch (const CLI::CallForHelp&) {
        return {std::nullopt, kDone, app_.help()};
    } catch (const CLI::RequiredError& error) {
        const bool hasVerb = !app_.get_subcommands().empty();
        return Refuse(hasVerb ? error.what() : "no verb; known are " + Join(Verbs(), ", "));
    } catch (const CLI::Error& error) {
        return Refuse(error.what());
    } catch (const UsageError& error) {
        return Refuse(error.what());
    }
}

}  // namespace

Parsed ParseCommandLine(const std::vector<std::string>& words, bool isInShell)
{
    return Grammar(isInShell).Parse(words);
}

}  // namespace ctl
