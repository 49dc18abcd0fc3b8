// The benchmark's own processes: this program again, in another role.
#ifndef OWNERLINK_BENCH_PROCESSES_H
#define OWNERLINK_BENCH_PROCESSES_H

#include <sys/types.h>

#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

namespace bench {

class RoleProcess {
public:
    // Starts this program with `arguments`. It ends when its parent does.
    explicit RoleProcess(const std::vector<std::string>& arguments);
    ~RoleProcess();  // terminates it unless it has been waited for
    RoleProcess(const RoleProcess&) = delete;
    RoleProcess& operator=(const RoleProcess&) = delete;

    // One line of its standard output without the line feed. False at the end.
    bool ReadLine(std::string& line);
    // Throws unless its next line is "ready".
    void AwaitReady();
    // Waits for its end. Throws unless it exits with 0.
    void AwaitSuccess();
    pid_t Id() const { return process_; }
    // What all its threads have taken so far.
    std::chrono::nanoseconds ProcessorTime() const;

private:
    std::string role_;
    pid_t process_ = -1;
    FILE* output_ = nullptr;
};

// A new directory, removed with all that it holds.
class TemporaryDirectory {
public:
    TemporaryDirectory();
    ~TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
    const std::string& Path() const { return path_; }

private:
    std::string path_;
};

// Keeps this process, and those that it starts from now on, to the first `count` cores that it may
// use. False if it has fewer.
bool KeepToCores(int count);

}  // namespace bench

#endif
