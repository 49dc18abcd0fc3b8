// wait: asks the owners until the applications are in the awaited state.

#include <ownerlink/enum_text.h>

#include <algorithm>
#include <cerrno>

#include "tools/ctl/advice.h"
#include "tools/ctl/app_states.h"
#include "tools/ctl/long_verbs.h"
#include "tools/ctl/verbs.h"

namespace ctl {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr milliseconds kFirstPause{50};
constexpr milliseconds kLongestPause{2000};
constexpr milliseconds kShortestTimeOut{100};  // that the library takes

enum class Hope { kMet, kOpen, kNone };

class Waiter {
public:
    Waiter(const Surroundings& around, const CommandLine& command)
        : around_(around),
          command_(command),
          listener_(around.events),
          end_(Clock::now() + command.limit)
    {
    }

    Report Run();

private:
    void Ask();
    Hope Judge(const AppName& name, const AppStates& states);
    Hope JudgeOwner(const AppName& name, const Fate& fate);
    Hope Note(const AppName& name, const std::string& state, const std::string& reason, Hope hope);
    bool IsDecided() const;
    bool Pause();
    int TimeOut() const;
    milliseconds Left() const;
    Report Result();
    void NameUnmet(Report& report) const;

    const Surroundings& around_;
    const CommandLine& command_;
    EventListener listener_;
    Clock::time_point end_;
    milliseconds pause_ = kFirstPause;
    bool isStopped_ = false;
    OwnerTable table_;
    std::vector<AppRow> rows_;          // of the last question, in the order given
    std::vector<Hope> hopes_;           // likewise
    std::vector<std::string> reasons_;  // likewise; empty where there is no more to say
};

milliseconds Waiter::Left() const
{
    return std::max(std::chrono::ceil<milliseconds>(end_ - Clock::now()), milliseconds{0});
}

// No exchange goes on beyond the limit, as far as the library's shortest time-out allows.
int Waiter::TimeOut() const
{
    const auto left = static_cast<int>(std::max(Left(), kShortestTimeOut).count());
    return command_.timeOut < 0 ? command_.timeOut : std::min(command_.timeOut, left);
}

Hope Waiter::Note(const AppName& name, const std::string& state, const std::string& reason,
                  Hope hope)
{
    AppRow row;
    row.owner = GroupText(name.group);
    row.name = name.app;
    row.state = state;
    row.isFailure = hope != Hope::kMet;
    rows_.push_back(std::move(row));
    reasons_.push_back(reason);
    return hope;
}

// Who is not let in, or speaks another protocol, stays so. Whoever is not there may come.
Hope Waiter::JudgeOwner(const AppName& name, const Fate& fate)
{
    const bool isFinal =
        fate.outcome == Outcome::kNotReached && (fate.error == EACCES || fate.error == EPROTO);
    const std::string reason = "its owner: " + AdviceOn(fate, command_.timeOut).reason;
    return Note(name, "", reason, isFinal ? Hope::kNone : Hope::kOpen);
}

Hope Waiter::Judge(const AppName& name, const AppStates& states)
{
    const ConfiguredOwner* const owner = table_.Find(name.group);
    if (owner == nullptr) {
        return Note(name, "", "no owner configured; see " + std::string(kTablePath), Hope::kNone);
    }
    const Fate fate = states.fates.at(owner->resource);
    if (fate.outcome != Outcome::kDone) {
        return JudgeOwner(name, fate);
    }
    const std::string owners = table_.OwnersOf(owner->resource);
    const auto app = std::find_if(states.apps.begin(), states.apps.end(), [&](const AppRow& row) {
        return row.name == name.app && (row.owner.empty() || row.owner == owners);
    });
    if (app == states.apps.end()) {
        return Note(name, "",
                    "its owner does not know it; \"ownerlinkctl list\" shows which it does",
                    Hope::kNone);
    }
    const bool isMet = app->number == command_.awaited;
    const Hope hope = Note(name, app->state, isMet ? "" : "it is " + app->state,
                           isMet ? Hope::kMet : Hope::kOpen);
    rows_.back().number = app->number;
    rows_.back().pid = app->pid;
    return hope;
}

void Waiter::Ask()
{
    std::vector<std::string> names;
    for (const AppName& name : command_.apps) {
        if (std::find(names.begin(), names.end(), name.app) == names.end()) {
            names.push_back(name.app);
        }
    }
    table_ = around_.session.Table();
    const AppStates states =
        AskStates(around_.session, table_, names, TimeOut(), command_.queryType);
    rows_.clear();
    hopes_.clear();
    reasons_.clear();
    for (const AppName& name : command_.apps) {
        hopes_.push_back(Judge(name, states));
    }
}

bool Waiter::IsDecided() const
{
    const auto has = [this](Hope hope) {
        return std::find(hopes_.begin(), hopes_.end(), hope) != hopes_.end();
    };
    if (command_.isAny) {
        return has(Hope::kMet) || !has(Hope::kOpen);
    }
    return has(Hope::kNone) || !has(Hope::kOpen);
}

// Asks ever more rarely; a system event, after which much may be different, begins anew.
bool Waiter::Pause()
{
    Sleep(around_, listener_, std::min(pause_, Left()), Reader::kIgnored);
    isStopped_ = around_.stop.IsRequested();
    pause_ = listener_.Take().empty() ? std::min(pause_ * 2, kLongestPause) : kFirstPause;
    return !isStopped_;
}

void Waiter::NameUnmet(Report& report) const
{
    const std::string ending = isStopped_ ? " (stopped)"
                               : report.exitCode == kTimedOut
                                   ? " after " + std::to_string(command_.limit.count()) + " ms"
                                   : "";
    for (size_t index = 0; index < rows_.size(); ++index) {
        if (hopes_[index] != Hope::kMet) {
            report.errors.push_back(rows_[index].owner + '/' + rows_[index].name + ": " +
                                    reasons_[index] + ending);
        }
    }
}

Report Waiter::Result()
{
    Report report = Begin(command_, table_);
    report.apps = rows_;
    const auto met = std::count(hopes_.begin(), hopes_.end(), Hope::kMet);
    const auto all = static_cast<std::ptrdiff_t>(hopes_.size());
    if (met == all || (command_.isAny && met != 0)) {
        return report;
    }
    report.exitCode = isStopped_ ? kFailed : IsDecided() ? kHopeless : kTimedOut;
    const bool hasOwner =
        std::any_of(command_.apps.begin(), command_.apps.end(),
                    [&](const AppName& name) { return table_.Find(name.group) != nullptr; });
    if (!hasOwner) {
        report.exitCode = kNoOwner;
    }
    NameUnmet(report);
    return report;
}

Report Waiter::Run()
{
    around_.events.Subscribe();  // where nobody publishes events, the questions alone must do
    Ask();
    while (!IsDecided() && Left() > milliseconds{0} && Pause()) {
        Ask();
    }
    return Result();
}

}  // namespace

Report Wait(const Surroundings& around, const CommandLine& command)
{
    return Waiter(around, command).Run();
}

}  // namespace ctl
