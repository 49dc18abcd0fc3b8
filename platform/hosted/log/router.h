// The state of the log: the sinks that OWNERLINK_LOG names, each with its levels, behind one lock.
//
// Built at the first use and never destroyed, so that records of destructors at exit still arrive.
// The lock is held across fork; in the child it is free and the sinks have left the parent's files.
#ifndef OWNERLINK_PLATFORM_HOSTED_LOG_ROUTER_H
#define OWNERLINK_PLATFORM_HOSTED_LOG_ROUTER_H

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/hosted/log/config.h"
#include "platform/hosted/log/line.h"
#include "platform/hosted/log/sink.h"
#include "platform/hosted/mutex.h"

namespace hosted::log {

// Says for each module and level whether any sink takes it; one load and one test. Zero is the
// state before the configuration is read, in which everything must be asked.
class Gate {
public:
    // False means that no sink takes it. True may mean that the router has yet to be built.
    bool MayPass(uint32_t module, uint32_t level) const
    {
        return (closed_[ModuleSlot(module)].load(std::memory_order_relaxed) & LevelBit(level)) == 0;
    }
    bool IsSet(uint32_t module) const
    {
        return (closed_[ModuleSlot(module)].load(std::memory_order_relaxed) & kIsSet) != 0;
    }
    void Set(const LevelTable& open);

private:
    static constexpr LevelSet kIsSet = 1U << 31;
    std::array<std::atomic<LevelSet>, kModuleLimit + 1> closed_{};
};

// One sink, what it takes, and how many lines it has refused since its last good one.
class Outlet {
public:
    explicit Outlet(const OutletOptions& options);

    const LevelTable& Levels() const { return levels_; }
    bool Takes(const Record& record) const;
    // Both false when the sink failed; the loss is reported as soon as it works again.
    bool Write(const Line& line, const Origin& origin);
    bool ReportLoss(const Origin& origin);
    bool HasLost() const { return lost_ > 0; }
    void EnterChild() { sink_->EnterChild(); }
    int Probe() { return sink_->Probe(); }
    void NameOwner(const std::string& name) { sink_->NameOwner(name); }

private:
    LevelTable levels_;
    std::unique_ptr<Sink> sink_;
    uint64_t lost_ = 0;
    int lastError_ = 0;
};

class Router {
public:
    // Reads the configuration and sets the gate, the first time.
    static void Build() HOSTED_EXCLUDES(mutex_);

    // False when a sink that takes the record failed.
    static bool Write(const Record& record) HOSTED_EXCLUDES(mutex_);
    static bool Flush() HOSTED_EXCLUDES(mutex_);

    // Tells the sinks that this process owns the resource `name`.
    static void NameOwner(const std::string& name) HOSTED_EXCLUDES(mutex_);

    static void HoldAcrossFork() HOSTED_ACQUIRE(mutex_);
    static void ReleaseInParent() HOSTED_RELEASE(mutex_);
    static void ReleaseInChild() HOSTED_RELEASE(mutex_);

private:
    explicit Router(const Config& config);
    static Config ReadConfig();
    static Router& Instance() HOSTED_REQUIRES(mutex_);
    void OpenGate() const;

    // Not in the object: a fork during the first use must find it held as well.
    static constinit Mutex mutex_;
    static constinit Router* instance_ HOSTED_GUARDED_BY(mutex_);
    std::vector<Outlet> outlets_;
};

extern constinit Gate gate;

}  // namespace hosted::log

#endif
