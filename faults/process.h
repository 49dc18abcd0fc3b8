// A process that a trial starts, tells what to do, stops, kills and counts.
#ifndef OWNERLINK_FAULTS_PROCESS_H
#define OWNERLINK_FAULTS_PROCESS_H

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

// What a process holds.
struct Census {
    int descriptors = 0;
    int threads = 0;
    int mappings = 0;
    int shared = 0;  // mappings of rings and pools among them
    int64_t residentKb = 0;
};

// Belongs to one thread. Killed and reaped with its object. What goes wrong is thrown as a
// std::runtime_error.
class Process {
public:
    struct Surroundings {
        bool hasOwnClock = false;  // a monotonic clock of its own, if the system lets it have one
    };

    explicit Process(const std::vector<std::string>& command);
    Process(const std::vector<std::string>& command, const Surroundings& surroundings);
    ~Process();
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    const std::string& FirstLine() const { return firstLine_; }

    // Sends one line and gives the answer, for which it waits half a minute at most.
    std::string Tell(const std::string& line);
    void Order(const std::string& line);  // where the answer must be "ok"

    void Write(const std::string& line);
    std::string Read();

    void Stop();  // returns when it has stopped
    void Continue() const;
    void Kill();      // returns when it is gone
    int AwaitExit();  // its wait status
    bool HasEnded();  // by itself; `AwaitExit` says how

    Census Count() const;
    pid_t Number() const { return process_; }

private:
    bool AwaitInput() const;

    pid_t process_ = -1;
    bool isReaped_ = false;
    int status_ = -1;
    int input_ = -1;
    int output_ = -1;
    std::string rest_;
    std::string firstLine_;
};

// Whether this system gives a process a clock of its own.
bool HasOwnClocks();

#endif
