// An owner for the tests: `test_owner NAME [TIMEOUT]` publishes NAME, says "ready" or "failed
// ERRNO", and then obeys the lines on its standard input:
//
//   release   lets all kBlock hooks return, now and later; answers "released"
//   blocked N answers "blocked" once N hooks stand in kBlock
//   publish X publishes X too and answers like the start
//   exit      leaves main
//
// End of input ends it as well.
#include <dirent.h>
#include <signal.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <mutex>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>

#include "platform/iam_file.h"
#include "tests/hosted/commands.h"

namespace {

std::atomic<uint32_t> opens{0};
std::atomic<uint32_t> closes{0};
std::atomic<uint32_t> ioctls{0};
std::atomic<uint32_t> reads{0};

struct Gate {
    std::mutex mutex;
    std::condition_variable changed;
    uint32_t blocked = 0;
    bool released = false;
};

Gate& TheGate()
{
    static Gate* const gate = new Gate;  // hooks may outlive main
    return *gate;
}

uint32_t EntriesOf(const char* path)
{
    DIR* const directory = opendir(path);
    uint32_t count = 0;
    while (readdir(directory) != nullptr) {
        ++count;
    }
    closedir(directory);
    return count;
}

int Echo(const IAMIoctlArg& argument)
{
    auto* const bytes = static_cast<unsigned char*>(argument.buf);
    for (uint64_t i = 0; i < argument.size; ++i) {
        ++bytes[i];
    }
    return static_cast<int>(argument.size);
}

int Block()
{
    Gate& gate = TheGate();
    std::unique_lock<std::mutex> lock(gate.mutex);
    ++gate.blocked;
    gate.changed.notify_all();
    gate.changed.wait(lock, [&] { return gate.released; });
    --gate.blocked;
    return 0;
}

int Count(const IAMIoctlArg& argument)
{
    TestCounts counts = {opens,
                         closes,
                         ioctls,
                         reads,
                         0,
                         EntriesOf("/proc/self/fd"),
                         EntriesOf("/proc/self/task") - 2};
    {
        const std::lock_guard<std::mutex> lock(TheGate().mutex);
        counts.blocked = TheGate().blocked;
    }
    std::memcpy(argument.buf, &counts, std::min<size_t>(sizeof counts, argument.size));
    return 0;
}

int Pause(const IAMIoctlArg& argument)
{
    uint32_t milliseconds = 0;
    std::memcpy(&milliseconds, argument.buf, sizeof milliseconds);
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
    return Echo(argument);
}

int OnIoctl(IAMMgrFile*, unsigned int command, IAMIoctlArg* argument)
{
    ++ioctls;
    switch (command) {
        case kEcho:
            return Echo(*argument);
        case kBlock:
            return Block();
        case kThrow:
            throw std::runtime_error("thrown by the test");
        case kThrowInt:
            throw 7;
        case kDie:
            return kill(getpid(), SIGKILL);
        case kCount:
            return Count(*argument);
        case kNegative:
            std::memset(argument->buf, 'n', argument->size);
            return -15794176;
        case kPause:
            return Pause(*argument);
        default:
            return -1;
    }
}

long OnRead(IAMMgrFile*, char* buffer, unsigned long size, long*)
{
    ++reads;
    std::memset(buffer, 'r', size);
    return static_cast<long>(size);
}

int OnOpen(IAMMgrFile*)
{
    ++opens;
    return 0;
}

int OnClose(IAMMgrFile*)
{
    ++closes;
    return 0;
}

void Publish(const std::string& name, uint32_t timeoutMs)
{
    const IAMFileOps ops = {OnRead, nullptr, OnIoctl, OnOpen, OnClose, nullptr};
    const IAMServiceDesc desc = {name.c_str(), &ops, timeoutMs};
    if (IAMRegisterService(&desc) == 0) {
        std::cout << "ready" << std::endl;
    } else {
        std::cout << "failed " << errno << std::endl;
    }
}

void Release()
{
    const std::lock_guard<std::mutex> lock(TheGate().mutex);
    TheGate().released = true;
    TheGate().changed.notify_all();
    std::cout << "released" << std::endl;
}

void AwaitBlocked(uint32_t wanted)
{
    std::unique_lock<std::mutex> lock(TheGate().mutex);
    TheGate().changed.wait(lock, [&] { return TheGate().blocked >= wanted; });
    std::cout << "blocked" << std::endl;
}

// False when the line says to leave.
bool Obey(const std::string& line)
{
    std::istringstream words(line);
    std::string verb;
    std::string rest;
    words >> verb >> rest;
    if (verb == "release") {
        Release();
    } else if (verb == "blocked") {
        AwaitBlocked(static_cast<uint32_t>(std::stoul(rest)));
    } else if (verb == "publish") {
        Publish(rest, 5000);
    }
    return verb != "exit";
}

}  // namespace

int main(int count, char** arguments)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (count < 2) {
        return 2;
    }
    Publish(arguments[1], count > 2 ? static_cast<uint32_t>(std::atoi(arguments[2])) : 5000);
    std::string line;
    while (std::getline(std::cin, line) && Obey(line)) {}
    return 0;
}
