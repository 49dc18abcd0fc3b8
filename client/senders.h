// What the fan-outs do alike with their senders: make their records, wait for them and join them.
#ifndef OWNERLINK_CLIENT_SENDERS_H
#define OWNERLINK_CLIENT_SENDERS_H

#include <exception>
#include <map>
#include <string>
#include <string_view>
#include <thread>

namespace Ownerlink {

// 0 or -1 of each resource file's sender.
using SenderResults = std::map<std::string_view, int>;

inline void JoinIfRunning(std::thread& thread)
{
    if (thread.joinable()) {
        thread.join();
    }
}

// The record of a resource file's sender. Two domains that share the file share the record.
template <typename Infos>
auto& SenderOf(Infos& infos, const std::string& resFileName)
{
    const auto [entry, isNew] = infos.try_emplace(resFileName);
    if (isNew) {
        entry->second.future = entry->second.promise.get_future();
    }
    return entry->second;
}

// Waits for every sender, in the order of the resource files, and joins it. What bounds the wait is
// the time-out of each sender's exchange.
//
// The names are those of `infos`.
template <typename Infos>
SenderResults CollectResults(Infos& infos)
{
    SenderResults results;
    for (auto& [resFileName, info] : infos) {
        results.emplace_hint(results.end(), resFileName, info.future.get());
        JoinIfRunning(info.thread);
    }
    return results;
}

// Joins the senders of a fan-out that an exception unwinds.
//
// `Infos` maps resource files to records with a member `thread`. Declared behind the map, so that
// no record goes while its sender still runs; the exception then reaches the caller.
template <typename Infos>
class JoinGuard {
public:
    explicit JoinGuard(Infos& infos) : infos_(infos) {}
    ~JoinGuard()
    {
        for (auto& [resFileName, info] : infos_) {
            JoinIfRunning(info.thread);
        }
    }
    JoinGuard(const JoinGuard&) = delete;
    JoinGuard& operator=(const JoinGuard&) = delete;

private:
    Infos& infos_;
};

// Ends the process where an exception unwinds a fan-out whose senders still run.
//
// Declared behind the map like JoinGuard: no record goes while its sender still refers to it.
template <typename Infos>
class EndGuard {
public:
    explicit EndGuard(const Infos& infos) : infos_(infos) {}
    ~EndGuard()
    {
        for (const auto& [resFileName, info] : infos_) {
            if (info.thread.joinable()) {
                std::terminate();
            }
        }
    }
    EndGuard(const EndGuard&) = delete;
    EndGuard& operator=(const EndGuard&) = delete;

private:
    const Infos& infos_;
};

}  // namespace Ownerlink

#endif
