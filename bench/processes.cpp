#include "bench/processes.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <stdexcept>
#include <system_error>

namespace bench {
namespace {

[[noreturn]] void Become(const std::vector<std::string>& arguments)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    std::vector<char*> pointers;
    std::string self = std::filesystem::read_symlink("/proc/self/exe");
    pointers.push_back(self.data());
    for (const std::string& argument : arguments) {
        pointers.push_back(const_cast<char*>(argument.c_str()));
    }
    pointers.push_back(nullptr);
    execv(self.c_str(), pointers.data());
    _exit(127);
}

}  // namespace

RoleProcess::RoleProcess(const std::vector<std::string>& arguments) : role_(arguments.front())
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe");
    }
    process_ = fork();
    if (process_ == 0) {
        dup2(ends[1], STDOUT_FILENO);
        Become(arguments);
    }
    close(ends[1]);
    output_ = fdopen(ends[0], "r");
}

RoleProcess::~RoleProcess()
{
    if (process_ > 0) {
        kill(process_, SIGTERM);
        waitpid(process_, nullptr, 0);
    }
    (void)fclose(output_);
}

bool RoleProcess::ReadLine(std::string& line)
{
    line.clear();
    for (int c = fgetc(output_); c != EOF; c = fgetc(output_)) {
        if (c == '\n') {
            return true;
        }
        line += static_cast<char>(c);
    }
    return false;
}

void RoleProcess::AwaitReady()
{
    std::string line;
    if (!ReadLine(line) || line != "ready") {
        throw std::runtime_error("the process '" + role_ + "' did not start");
    }
}

void RoleProcess::AwaitSuccess()
{
    int status = 0;
    waitpid(process_, &status, 0);
    process_ = -1;
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        throw std::runtime_error("the process '" + role_ + "' failed");
    }
}

std::chrono::nanoseconds RoleProcess::ProcessorTime() const
{
    clockid_t clock = 0;
    timespec time = {};
    if (clock_getcpuclockid(process_, &clock) != 0 || clock_gettime(clock, &time) != 0) {
        throw std::runtime_error("the process '" + role_ + "' is gone");
    }
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

TemporaryDirectory::TemporaryDirectory()
    : path_(std::filesystem::temp_directory_path() / "ownerlink-bench-XXXXXX")
{
    if (mkdtemp(path_.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), path_);
    }
}

TemporaryDirectory::~TemporaryDirectory()
{
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

bool KeepToCores(int count)
{
    cpu_set_t allowed;
    cpu_set_t wanted;
    CPU_ZERO(&wanted);
    sched_getaffinity(0, sizeof allowed, &allowed);
    for (size_t core = 0; core < CPU_SETSIZE && CPU_COUNT(&wanted) < count; ++core) {
        if (CPU_ISSET(core, &allowed)) {
            CPU_SET(core, &wanted);
        }
    }
    return CPU_COUNT(&wanted) == count && sched_setaffinity(0, sizeof wanted, &wanted) == 0;
}

}  // namespace bench
