#include "platform/hosted/log/router.h"

#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <optional>
#include <string>

#include "platform/hosted/log/journal_stream.h"
#include "platform/hosted/log/signal_guard.h"
#include "platform/hosted/log/stderr_sink.h"

namespace hosted::log {
namespace {

// Unlike these two, other sinks are opened when they are made, and may be written to.
bool IsMereName(const OutletOptions& outlet)
{
    const SinkKind kind = outlet.sink.kind;
    return kind == SinkKind::kStandardError || kind == SinkKind::kSyslog;
}

bool IsSilent(const Config& config)
{
    return config.complaints.empty() &&
           std::all_of(config.outlets.begin(), config.outlets.end(), IsMereName);
}

void Complain(const std::string& text)
{
    WriteToStderr("ownerlink: OWNERLINK_LOG: " + Visible(text) + "; ignored\n");
}

// Without the lock that the translating strerror takes.
std::string ErrorText(int error)
{
    const char* text = strerrordesc_np(error);
    return text != nullptr ? text : "error " + std::to_string(error);
}

}  // namespace

constinit Gate gate;

void Gate::Set(const LevelTable& open)
{
    for (size_t slot = 0; slot < open.size(); ++slot) {
        closed_[slot].store(~open[slot] | kIsSet, std::memory_order_relaxed);
    }
}

Outlet::Outlet(const OutletOptions& options)
    : levels_(options.levels), sink_(MakeSink(options.sink))
{
}

bool Outlet::Takes(const Record& record) const
{
    return (levels_[ModuleSlot(record.module)] & LevelBit(record.level)) != 0;
}

bool Outlet::Write(const Line& line, const Origin& origin)
{
    const int error = ReportLoss(origin) ? sink_->Write(line) : lastError_;
    if (error != 0) {
        lastError_ = error;
        ++lost_;
    }
    return error == 0;
}

bool Outlet::ReportLoss(const Origin& origin)
{
    if (lost_ == 0) {
        return true;
    }
    const std::string text = std::to_string(lost_) + " records lost: " + ErrorText(lastError_);
    if (const int error = sink_->Write(Line({kPlatformModule, kWarning, text}, origin))) {
        lastError_ = error;
        return false;
    }
    lost_ = 0;
    return true;
}

constinit Mutex Router::mutex_;
constinit Router* Router::instance_ = nullptr;

Router& Router::Instance()
{
    if (instance_ == nullptr) {
        instance_ = new Router(ReadConfig());
    }
    return *instance_;
}

Config Router::ReadConfig()
{
    Config config = ParseConfig(secure_getenv("OWNERLINK_LOG"));
    if (IsJournalStream(secure_getenv("JOURNAL_STREAM"), STDERR_FILENO)) {
        PreferJournal(config, {SinkKind::kJournal, {}});
    }
    return config;
}

Router::Router(const Config& config)
{
    std::optional<SignalGuard> guard;  // four system calls, which a start without need is spared
    if (!IsSilent(config)) {
        guard.emplace();
    }
    std::for_each(config.complaints.begin(), config.complaints.end(), Complain);
    for (const OutletOptions& options : config.outlets) {
        outlets_.emplace_back(options);
        if (const int error = outlets_.back().Probe()) {
            WriteToStderr("ownerlink: OWNERLINK_LOG: \"" + Visible(SinkText(options.sink)) +
                          "\": " + ErrorText(error) +
                          "; records are lost until it can be written\n");
        }
    }
    OpenGate();
}

void Router::OpenGate() const
{
    LevelTable open{};
    for (const Outlet& outlet : outlets_) {
        std::transform(open.begin(), open.end(), outlet.Levels().begin(), open.begin(),
                       [](LevelSet left, LevelSet right) { return left | right; });
    }
    gate.Set(open);
}

void Router::Build()
{
    const MutexLock lock(mutex_);
    Instance();
}

bool Router::Write(const Record& record)
{
    const Origin origin = OriginOfCaller();
    const Line line(record, origin);
    bool written = true;
    const SignalGuard guard;
    const MutexLock lock(mutex_);
    for (Outlet& outlet : Instance().outlets_) {
        if (outlet.Takes(record)) {
            written &= outlet.Write(line, origin);
        }
    }
    return written;
}

bool Router::Flush()
{
    const MutexLock lock(mutex_);
    std::vector<Outlet>& outlets = Instance().outlets_;
    if (std::none_of(outlets.begin(), outlets.end(),
                     [](const Outlet& outlet) { return outlet.HasLost(); })) {
        return true;
    }
    const Origin origin = OriginOfCaller();
    bool written = true;
    const SignalGuard guard;
    for (Outlet& outlet : outlets) {
        written &= outlet.ReportLoss(origin);
    }
    return written;
}

void Router::NameOwner(const std::string& name)
{
    const MutexLock lock(mutex_);
    try {
        for (Outlet& outlet : Instance().outlets_) {
            outlet.NameOwner(name);
        }
    } catch (const std::exception&) {
        return;  // published it is all the same; its records lack a field
    }
}

void Router::HoldAcrossFork()
{
    mutex_.lock();
}

void Router::ReleaseInParent()
{
    mutex_.unlock();
}

void Router::ReleaseInChild()
{
    if (instance_ != nullptr) {
        for (Outlet& outlet : instance_->outlets_) {
            outlet.EnterChild();
        }
    }
    mutex_.unlock();
}

namespace {

// Installed at load. Before the first use, so that a fork meanwhile is safe too; and before the
// handlers of a host, so that at a fork its locks are taken before this one. The layer's own are
// taken after it, or before: the linker orders the two constructors, and nobody logs under them.
[[gnu::constructor]] void InstallForkHandlers()
{
    pthread_atfork(Router::HoldAcrossFork, Router::ReleaseInParent, Router::ReleaseInChild);
}

}  // namespace
}  // namespace hosted::log
