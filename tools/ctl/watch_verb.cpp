// watch: system events, and with them the applications' states.

#include <poll.h>
#include <unistd.h>

#include <map>

#include "tools/ctl/advice.h"
#include "tools/ctl/app_states.h"
#include "tools/ctl/clock_text.h"
#include "tools/ctl/long_verbs.h"
#include "tools/ctl/report_json.h"
#include "tools/ctl/report_table.h"
#include "tools/ctl/table.h"

namespace ctl {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr milliseconds kForEver{-1};

class Watcher {
public:
    Watcher(const Surroundings& around, const CommandLine& command)
        : around_(around), command_(command), listener_(around.events)
    {
    }

    ExitCode Run();

private:
    bool HasEnded() const;
    bool TrySubscription();
    void ShowEvents();
    void ShowStates();
    void ShowOwners(const OwnerTable& table, const Fates& fates);
    void ShowApps(const std::vector<AppRow>& apps);
    void Show(const WatchLine& line);
    milliseconds UntilNextQuestion() const;

    const Surroundings& around_;
    const CommandLine& command_;
    EventListener listener_;
    bool isSubscribed_ = false;
    bool hasComplained_ = false;
    uint64_t shown_ = 0;
    Clock::time_point nextQuestion_ = Clock::now();
    std::map<std::string, Outcome> outcomes_;  // by owner
    std::map<std::string, AppRow> apps_;       // by OWNER/APP
};

bool HasReader()
{
    pollfd entry = {STDOUT_FILENO, 0, 0};
    return poll(&entry, 1, 0) <= 0 || (entry.revents & (POLLERR | POLLHUP)) == 0;
}

bool Watcher::HasEnded() const
{
    return around_.stop.IsRequested() || !around_.output.HasReader() || !HasReader() ||
           around_.output.HasFailed() || (command_.count != 0 && shown_ >= command_.count);
}

bool Watcher::TrySubscription()
{
    const int error = isSubscribed_ ? 0 : around_.events.Subscribe();
    isSubscribed_ = error == 0;
    if (!isSubscribed_ && !hasComplained_) {
        around_.output.Complain("no owner publishes events (" + std::string(kEventResource) +
                                "): " + AdviceOnError(error).reason + "; " +
                                AdviceOnError(error).next);
        hasComplained_ = true;
    }
    return isSubscribed_;
}

void Watcher::Show(const WatchLine& line)
{
    if (command_.count != 0 && shown_ >= command_.count) {
        return;
    }
    ++shown_;
    if (command_.isJson) {
        around_.output.Print(WatchLineToJson(line));
    } else if (!command_.isQuiet) {
        around_.output.Print(FormatWatchLine(line, around_.output.IsColoured()));
    }
}

void Watcher::ShowEvents()
{
    for (const uint32_t state : listener_.Take()) {
        WatchLine line;
        line.time = NowInUtc();
        line.event = state;
        Show(line);
    }
}

void Watcher::ShowOwners(const OwnerTable& table, const Fates& fates)
{
    for (const auto& [resource, fate] : fates) {
        const std::string owner = table.OwnersOf(resource);
        const auto [former, isNew] = outcomes_.emplace(owner, Outcome::kDone);
        if (former->second != fate.outcome) {
            former->second = fate.outcome;
            WatchLine line;
            line.time = NowInUtc();
            line.owner = owner;
            line.text = fate.outcome == Outcome::kDone ? OutcomeText(Outcome::kAnswers)
                                                       : AdviceOn(fate, command_.timeOut).reason;
            line.isFailure = IsFailure(fate.outcome);
            Show(line);
        }
    }
}

// Those of an owner that did not answer are left as they were last seen.
void Watcher::ShowApps(const std::vector<AppRow>& apps)
{
    std::map<std::string, AppRow> gone = apps_;
    for (const AppRow& app : apps) {
        const std::string name = app.owner + '/' + app.name;
        const auto former = apps_.find(name);
        gone.erase(name);
        if (former == apps_.end() || former->second.number != app.number ||
            former->second.pid != app.pid) {
            apps_[name] = app;
            Show({NowInUtc(), std::nullopt, app.owner, app, app.state, false});
        }
    }
    for (auto& [name, app] : gone) {
        if (outcomes_[app.owner] == Outcome::kDone) {
            apps_.erase(name);
            app.state.clear();
            app.number.reset();
            app.pid.reset();
            Show({NowInUtc(), std::nullopt, app.owner, app, "gone", true});
        }
    }
}

void Watcher::ShowStates()
{
    const OwnerTable table = around_.session.Table();
    const AppStates states =
        AskStates(around_.session, table, {}, command_.timeOut, command_.queryType);
    ShowOwners(table, states.fates);
    ShowApps(states.apps);
    nextQuestion_ = Clock::now() + command_.interval;
}

milliseconds Watcher::UntilNextQuestion() const
{
    if (!command_.hasStates) {
        return kForEver;
    }
    const auto left = std::chrono::ceil<milliseconds>(nextQuestion_ - Clock::now());
    return std::max(left, milliseconds{0});
}

ExitCode Watcher::Run()
{
    if (!TrySubscription() && !command_.hasStates) {
        return kFailed;
    }
    while (!HasEnded()) {
        if (command_.hasStates && Clock::now() >= nextQuestion_) {
            TrySubscription();
            ShowStates();
        }
        ShowEvents();
        if (!HasEnded()) {
            Sleep(around_, listener_, UntilNextQuestion(), Reader::kLookedAt);
        }
    }
    return around_.output.HasFailed() ? kFailed : kDone;
}

}  // namespace

ExitCode Watch(const Surroundings& around, const CommandLine& command)
{
    return Watcher(around, command).Run();
}

void Sleep(const Surroundings& around, const EventListener& listener, milliseconds limit,
           Reader reader)
{
    // Without events asked for, the last entry still tells that the reader has gone.
    const int output = reader == Reader::kLookedAt ? STDOUT_FILENO : -1;
    pollfd entries[] = {
        {around.stop.File(), POLLIN, 0}, {listener.File(), POLLIN, 0}, {output, 0, 0}};
    poll(entries, 3, static_cast<int>(limit.count()));
}

}  // namespace ctl
