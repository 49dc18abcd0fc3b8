// How requests have ended, counted without an allocation: memory may be what is short.
#ifndef OWNERLINK_FAULTS_OUTCOMES_H
#define OWNERLINK_FAULTS_OUTCOMES_H

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>

// Thread-safe.
class Outcomes {
public:
    enum class Step { kOpen, kExchange, kClose };

    void Clear();
    void NoteAnswer() { ++answered_; }
    void NoteWrongAnswer() { ++wrong_; }
    void NoteError(Step step, int error);
    void NoteQuery(uint32_t code);
    void NoteException() { ++exceptions_; }
    void NoteTime(std::chrono::steady_clock::duration time);

    // "answered=3 ioctl:EPIPE=1 slowest=12": one word for each that has occurred.
    void Print(char* text, size_t room) const;

private:
    static constexpr size_t kErrors = 160;

    std::atomic<int> answered_{0};
    std::atomic<int> wrong_{0};
    std::atomic<int> exceptions_{0};
    std::atomic<int> queriesAnswered_{0};
    std::atomic<int> queriesFailed_{0};
    std::atomic<int> queriesOdd_{0};
    std::atomic<int> errors_[3][kErrors] = {};
    std::atomic<int64_t> slowestMs_{0};
};

#endif
