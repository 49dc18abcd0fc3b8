#include "platform/hosted/connection_pool.h"

#include <new>
#include <utility>

namespace hosted {
namespace {

constexpr size_t kKeptPerName = 8;
constexpr size_t kNamesBeforeCleaning = 1024;

}  // namespace

std::unique_ptr<ClientConnection> ConnectionPool::Take(std::string_view name)
{
    while (true) {
        std::unique_ptr<ClientConnection> connection = TakeLast(name);
        if (connection == nullptr || connection->IsAliveAndSilent()) {
            return connection;
        }
    }
}

std::unique_ptr<ClientConnection> ConnectionPool::TakeLast(std::string_view name)
{
    const MutexLock lock(mutex_);
    const auto found = names_.find(name);
    if (found == names_.end() || found->second.empty()) {
        return nullptr;
    }
    std::unique_ptr<ClientConnection> last = std::move(found->second.back());
    found->second.pop_back();
    return last;
}

void ConnectionPool::GiveBack(std::unique_ptr<ClientConnection> connection)
{
    connection->BeginFile();
    try {
        const MutexLock lock(mutex_);
        Kept& kept = KeptOf(connection->GetLife()->name);
        if (kept.size() < kKeptPerName) {
            kept.push_back(std::move(connection));
        }
    } catch (const std::bad_alloc&) {
        return;  // it ends; its descriptor is closed as asked
    }
}

ConnectionPool::Kept& ConnectionPool::KeptOf(const std::string& name)
{
    const auto found = names_.find(name);
    if (found != names_.end()) {
        return found->second;
    }
    if (names_.size() >= kNamesBeforeCleaning) {
        std::erase_if(names_, [](const auto& entry) { return entry.second.empty(); });
    }
    return names_[name];
}

void ConnectionPool::LockForFork() HOSTED_TSA(no_thread_safety_analysis)
{
    mutex_.lock();
}

void ConnectionPool::UnlockAfterFork() HOSTED_TSA(no_thread_safety_analysis)
{
    mutex_.unlock();
}

void ConnectionPool::ForgetInChild() HOSTED_TSA(no_thread_safety_analysis)
{
    names_.clear();
}

}  // namespace hosted
