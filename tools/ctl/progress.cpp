#include "tools/ctl/progress.h"

#include <chrono>
#include <cstdio>

namespace ctl {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kQuiet{500};
constexpr milliseconds kStep{200};

}  // namespace

Progress::Progress(Output& output, bool isWanted, std::function<std::string()> awaited)
    : output_(output), awaited_(std::move(awaited))
{
    if (isWanted && output_.HasTerminal()) {
        thread_ = std::thread(&Progress::Show, this);
    }
}

Progress::~Progress()
{
    if (thread_.joinable()) {
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            hasEnded_ = true;
        }
        ended_.notify_all();
        thread_.join();
        output_.ShowProgress("");
    }
}

void Progress::Show()
{
    std::unique_lock<std::mutex> lock(mutex_);
    milliseconds passed = kQuiet;
    for (auto wait = kQuiet; !ended_.wait_for(lock, wait, [this] { return hasEnded_; });
         wait = kStep) {
        char time[32];
        std::snprintf(time, sizeof time, " (%.1f s)", static_cast<double>(passed.count()) / 1000);
        output_.ShowProgress("waiting for " + awaited_() + time);
        passed += kStep;
    }
}

}  // namespace ctl
