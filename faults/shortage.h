// What a process can be made to run short of, or be misled about, and given back.
//
// Nothing here allocates while it is in force, so that the process can be told to end it.
#ifndef OWNERLINK_FAULTS_SHORTAGE_H
#define OWNERLINK_FAULTS_SHORTAGE_H

#include <cstdint>
#include <string_view>

// "memory": the address space is full and what is free of the heap is taken. "allocations": one
// operator new in eight throws; "some-allocations": one in 64. "descriptors": none is free.
// "threads": none can be started; not for root. False for any other word.
bool Starve(std::string_view what);
bool Feed(std::string_view what);

// Sets the wall clock as this process sees it, `seconds` from the true one.
void ShiftWallClock(int64_t seconds);

// An exception that nobody catches aborts the process where it left a thread of the library's, and
// ends it with this code where it left one of the program's own.
inline constexpr int kEndedByOwnThread = 9;
void TellAbortsApart();

// The calling thread is the program's own; its allocations do not fail while one of these stands.
class SpareThisThread {
public:
    explicit SpareThisThread(bool isSpared = true);
    ~SpareThisThread();
    SpareThisThread(const SpareThisThread&) = delete;
    SpareThisThread& operator=(const SpareThisThread&) = delete;

private:
    bool before_;
};

#endif
