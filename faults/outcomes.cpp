#include "faults/outcomes.h"

#include <cstdio>
#include <cstring>

namespace {

constexpr uint32_t kQueryFailed = 0xF1030D;

class Words {
public:
    Words(char* text, size_t room) : text_(text), room_(room) { *text = '\0'; }

    void Add(const char* before, const char* name, long count)
    {
        if (count == 0) {
            return;
        }
        const int written =
            std::snprintf(text_ + used_, room_ - used_, "%s%s=%ld ", before, name, count);
        if (written > 0 && used_ + static_cast<size_t>(written) < room_) {
            used_ += static_cast<size_t>(written);
        }
    }

private:
    char* text_;
    size_t room_;
    size_t used_ = 0;
};

}  // namespace

void Outcomes::Clear()
{
    for (std::atomic<int>* count :
         {&answered_, &wrong_, &exceptions_, &queriesAnswered_, &queriesFailed_, &queriesOdd_}) {
        *count = 0;
    }
    for (auto& step : errors_) {
        for (std::atomic<int>& count : step) {
            count = 0;
        }
    }
    slowestMs_ = 0;
}

void Outcomes::NoteError(Step step, int error)
{
    const size_t index =
        error > 0 && static_cast<size_t>(error) < kErrors ? static_cast<size_t>(error) : 0;
    ++errors_[static_cast<size_t>(step)][index];
}

void Outcomes::NoteQuery(uint32_t code)
{
    ++(code == 0 ? queriesAnswered_ : code == kQueryFailed ? queriesFailed_ : queriesOdd_);
}

void Outcomes::NoteTime(std::chrono::steady_clock::duration time)
{
    const int64_t ms = std::chrono::duration_cast<std::chrono::milliseconds>(time).count();
    int64_t slowest = slowestMs_.load();
    while (ms > slowest && !slowestMs_.compare_exchange_weak(slowest, ms)) {}
}

void Outcomes::Print(char* text, size_t room) const
{
    Words words(text, room);
    words.Add("", "answered", answered_);
    words.Add("", "WRONG", wrong_);
    words.Add("query:", "answered", queriesAnswered_);
    words.Add("query:", "0xF1030D", queriesFailed_);
    words.Add("query:", "OTHER", queriesOdd_);
    words.Add("query:", "exception", exceptions_);
    static constexpr const char* kSteps[] = {"open:", "ioctl:", "close:"};
    for (size_t step = 0; step < 3; ++step) {
        for (size_t error = 0; error < kErrors; ++error) {
            const char* const name = strerrorname_np(static_cast<int>(error));
            words.Add(kSteps[step], name != nullptr ? name : "OTHER", errors_[step][error]);
        }
    }
    words.Add("", "slowest", slowestMs_);
}
