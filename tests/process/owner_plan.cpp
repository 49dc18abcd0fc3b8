#include "tests/process/owner_plan.h"

#include <unistd.h>

#include <csignal>
#include <stdexcept>

void OwnerPlan::Always(const std::string& kind, const std::string& action)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    kinds_[kind].usual = action;
}

void OwnerPlan::Once(const std::string& kind, const std::string& action, int number)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    kinds_[kind].planned[number] = action;
}

void OwnerPlan::Release(const std::string& kind, const std::string& verdict)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    kinds_[kind].release = verdict;
    released_.notify_all();
}

bool OwnerPlan::Follow(const std::string& kind, const std::string& action)
{
    if (action == "die") {
        kill(getpid(), SIGKILL);
        pause();
    }
    if (action == "throw") {
        throw std::runtime_error("as the test asked");
    }
    return action == "block" ? AwaitRelease(kind) : action == "accept";
}

std::string OwnerPlan::Next(const std::string& name)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    Kind& kind = kinds_[name];
    std::string action = kind.usual;
    std::map<int, std::string> later;
    for (const auto& [number, planned] : kind.planned) {
        if (number == 1) {
            action = planned;
        } else {
            later[number - 1] = planned;
        }
    }
    kind.planned = std::move(later);
    return action;
}

bool OwnerPlan::AwaitRelease(const std::string& name)
{
    std::unique_lock<std::mutex> lock(mutex_);
    Kind& kind = kinds_[name];
    released_.wait(lock, [&] { return !kind.release.empty(); });
    const bool verdict = kind.release == "accept";
    kind.release.clear();
    return verdict;
}
