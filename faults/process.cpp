#include "faults/process.h"

#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace {

constexpr int kPatienceMs = 30000;
constexpr const char* kClockAhead = "monotonic 1000000 0\n";

[[noreturn]] void Fail(const std::string& text)
{
    throw std::runtime_error(text);
}

// Only a process without threads may do this.
bool EnterOwnClock()
{
    if (unshare(CLONE_NEWTIME) != 0) {
        return false;
    }
    const int offsets = open("/proc/self/timens_offsets", O_WRONLY | O_CLOEXEC);
    const auto size = static_cast<ssize_t>(std::strlen(kClockAhead));
    const bool isSet = write(offsets, kClockAhead, std::strlen(kClockAhead)) == size;
    close(offsets);
    const int own = open("/proc/self/ns/time_for_children", O_RDONLY | O_CLOEXEC);
    return isSet && own >= 0 && setns(own, CLONE_NEWTIME) == 0;
}

[[noreturn]] void Become(const std::vector<std::string>& command,
                         const Process::Surroundings& surroundings, int input, int output)
{
    if (surroundings.hasOwnClock && !EnterOwnClock()) {
        _exit(5);
    }
    dup2(input, STDIN_FILENO);
    dup2(output, STDOUT_FILENO);
    std::vector<char*> words;
    for (const std::string& word : command) {
        words.push_back(const_cast<char*>(word.c_str()));
    }
    words.push_back(nullptr);
    execv(words[0], words.data());
    _exit(6);
}

int EntriesOf(const std::string& directory)
{
    std::error_code error;
    int count = 0;
    for (std::filesystem::directory_iterator entry(directory, error), end; !error && entry != end;
         entry.increment(error)) {
        ++count;
    }
    return count;
}

int64_t ResidentKb(const std::string& directory)
{
    std::ifstream file(directory + "/status");
    for (std::string line; std::getline(file, line);) {
        if (line.rfind("VmRSS:", 0) == 0) {
            return std::strtoll(line.c_str() + 6, nullptr, 10);
        }
    }
    return 0;
}

}  // namespace

Process::Process(const std::vector<std::string>& command) : Process(command, Surroundings{})
{
}

Process::Process(const std::vector<std::string>& command, const Surroundings& surroundings)
{
    int in[2];
    int out[2];
    if (pipe2(in, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC) != 0) {
        Fail("no pipe");
    }
    process_ = fork();
    if (process_ == 0) {
        Become(command, surroundings, in[0], out[1]);
    }
    close(in[0]);
    close(out[1]);
    input_ = in[1];
    output_ = out[0];
    firstLine_ = Read();
}

Process::~Process()
{
    Kill();
    close(input_);
    close(output_);
}

std::string Process::Tell(const std::string& line)
{
    Write(line);
    return Read();
}

void Process::Order(const std::string& line)
{
    const std::string answer = Tell(line);
    if (answer != "ok") {
        Fail('"' + line + "\" was answered with \"" + answer + '"');
    }
}

void Process::Write(const std::string& line)
{
    const std::string text = line + '\n';
    if (write(input_, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
        Fail("cannot be told \"" + line + "\": it has ended");
    }
}

bool Process::AwaitInput() const
{
    pollfd entry = {output_, POLLIN, 0};
    return poll(&entry, 1, kPatienceMs) > 0;
}

std::string Process::Read()
{
    while (true) {
        const size_t end = rest_.find('\n');
        if (end != std::string::npos) {
            std::string line = rest_.substr(0, end);
            rest_.erase(0, end + 1);
            return line;
        }
        if (!AwaitInput()) {
            Fail("process " + std::to_string(process_) + " hangs");
        }
        char buffer[4096];
        const ssize_t count = read(output_, buffer, sizeof buffer);
        if (count <= 0) {
            Fail("process " + std::to_string(process_) + " has ended: status " +
                 std::to_string(AwaitExit()));
        }
        rest_.append(buffer, static_cast<size_t>(count));
    }
}

void Process::Stop()
{
    kill(process_, SIGSTOP);
    int status = 0;
    if (waitpid(process_, &status, WUNTRACED) != process_ || !WIFSTOPPED(status)) {
        Fail("process " + std::to_string(process_) + " has not stopped");
    }
}

void Process::Continue() const
{
    kill(process_, SIGCONT);
}

void Process::Kill()
{
    if (!isReaped_) {
        kill(process_, SIGKILL);
        AwaitExit();
    }
}

int Process::AwaitExit()
{
    while (!isReaped_) {
        isReaped_ = waitpid(process_, &status_, 0) == process_ || errno != EINTR;
    }
    return status_;
}

bool Process::HasEnded()
{
    isReaped_ = isReaped_ || waitpid(process_, &status_, WNOHANG) == process_;
    return isReaped_;
}

Census Process::Count() const
{
    const std::string directory = "/proc/" + std::to_string(process_);
    Census census;
    census.descriptors = EntriesOf(directory + "/fd");
    census.threads = EntriesOf(directory + "/task");
    census.residentKb = ResidentKb(directory);
    std::ifstream maps(directory + "/maps");
    for (std::string line; std::getline(maps, line);) {
        ++census.mappings;
        census.shared += line.find("memfd:") != std::string::npos ? 1 : 0;
    }
    return census;
}

bool HasOwnClocks()
{
    const pid_t child = fork();
    if (child == 0) {
        _exit(EnterOwnClock() ? 0 : 1);
    }
    int status = -1;
    return waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}
