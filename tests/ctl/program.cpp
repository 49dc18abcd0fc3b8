#include "tests/ctl/program.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kPatience{60};

std::vector<char*> Pointers(const Words& words)
{
    static std::string program = OWNERLINKCTL;
    std::vector<char*> pointers = {program.data()};
    for (const std::string& word : words) {
        pointers.push_back(const_cast<char*>(word.c_str()));
    }
    pointers.push_back(nullptr);
    return pointers;
}

void Close(int& file)
{
    if (file >= 0) {
        close(file);
        file = -1;
    }
}

void MakePipe(int (&ends)[2])
{
    if (pipe2(ends, O_CLOEXEC) != 0) {
        throw std::runtime_error("no pipe");
    }
}

// False: it is at its end, and closed.
bool Drain(int& file, std::string& to)
{
    char buffer[4096];
    const ssize_t count = file < 0 ? 0 : read(file, buffer, sizeof buffer);
    if (count <= 0) {
        Close(file);
        return false;
    }
    to.append(buffer, static_cast<size_t>(count));
    return true;
}

}  // namespace

Program::Program(const Words& words, Terminal terminal)
{
    if (terminal == Terminal::kNone) {
        StartOnPipes(words);
    } else {
        StartOnTerminal(words);
    }
}

Program::~Program()
{
    if (process_ > 0) {
        kill(process_, SIGKILL);
        waitpid(process_, nullptr, 0);
    }
    Close(input_);
    Close(output_);
    Close(errors_);
}

void Program::StartOnPipes(const Words& words)
{
    int ends[3][2];
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    for (int file = 0; file < 3; ++file) {
        MakePipe(ends[file]);
        posix_spawn_file_actions_adddup2(&actions, ends[file][file == 0 ? 0 : 1], file);
    }
    // Programs at a prompt get no ignored signals from their parent, and neither does this.
    posix_spawnattr_t attributes;
    sigset_t usual;
    sigemptyset(&usual);
    sigaddset(&usual, SIGPIPE);
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setsigdefault(&attributes, &usual);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
    const int error = posix_spawn(&process_, OWNERLINKCTL, &actions, &attributes,
                                  Pointers(words).data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    for (int file = 0; file < 3; ++file) {
        close(ends[file][file == 0 ? 0 : 1]);
    }
    input_ = ends[0][1];
    output_ = ends[1][0];
    errors_ = ends[2][0];
    if (error != 0) {
        throw std::runtime_error("cannot start " OWNERLINKCTL);
    }
}

void Program::StartOnTerminal(const Words& words)
{
    const winsize size = {24, 200, 0, 0};
    const std::vector<char*> pointers = Pointers(words);
    process_ = forkpty(&output_, nullptr, nullptr, &size);
    if (process_ == 0) {
        signal(SIGPIPE, SIG_DFL);
        execv(OWNERLINKCTL, pointers.data());
        _exit(127);
    }
    fcntl(output_, F_SETFD, FD_CLOEXEC);
    input_ = fcntl(output_, F_DUPFD_CLOEXEC, 0);
}

void Program::Write(const std::string& text)
{
    if (write(input_, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
        ADD_FAILURE() << "the program does not take: " << text;
    }
}

void Program::EndInput()
{
    Close(input_);
}

void Program::CloseOutput()
{
    Close(output_);
}

void Program::Signal(int number)
{
    kill(process_, number);
}

bool Program::Read(int timeOutMs)
{
    pollfd entries[] = {{output_, POLLIN, 0}, {errors_, POLLIN, 0}};
    if (poll(entries, 2, timeOutMs) > 0) {
        if (entries[0].revents != 0) {
            Drain(output_, out_);
        }
        if (entries[1].revents != 0) {
            Drain(errors_, err_);
        }
    }
    return output_ >= 0 || errors_ >= 0;
}

bool Program::Await(const std::string& in, const std::string& text)
{
    const auto end = Clock::now() + kPatience;
    while (in.find(text) == std::string::npos && Clock::now() < end && Read(1000)) {}
    return in.find(text) != std::string::npos;
}

bool Program::AwaitOut(const std::string& text)
{
    return Await(out_, text);
}

bool Program::AwaitOutSoon(const std::string& text, size_t count)
{
    Read(100);
    size_t at = 0;
    while (count > 0 && (at = out_.find(text, at)) != std::string::npos) {
        --count;
        ++at;
    }
    return count == 0;
}

bool Program::AwaitErr(const std::string& text)
{
    return Await(err_, text);
}

Ended Program::AwaitEnd()
{
    const auto end = Clock::now() + kPatience;
    while (Clock::now() < end && Read(1000)) {}
    if (output_ >= 0 || errors_ >= 0) {
        ADD_FAILURE() << "the program does not end; so far: " << out_ << err_;
        kill(process_, SIGKILL);
    }
    int status = 0;
    while (waitpid(process_, &status, 0) < 0 && errno == EINTR) {}
    process_ = -1;
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), out_, err_};
}

Ended Ctl(const Words& words, const std::string& input)
{
    Program program(words);
    program.Write(input);
    program.EndInput();
    return program.AwaitEnd();
}

Ended CtlInto(const std::string& file, const Words& words)
{
    std::string line = OWNERLINKCTL;
    for (const std::string& word : words) {
        line += ' ' + word;
    }
    FILE* const errors = popen((line + " 2>&1 >" + file).c_str(), "r");
    Ended ended;
    char buffer[512];
    while (std::fgets(buffer, sizeof buffer, errors) != nullptr) {
        ended.err += buffer;
    }
    const int status = pclose(errors);
    ended.code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return ended;
}

Ended CtlAtTerminal(const Words& words, const std::string& input)
{
    Program program(words, Program::Terminal::kAll);
    program.Write(input);
    return program.AwaitEnd();
}

Environment::Environment(const std::string& name, const char* value) : name_(name)
{
    const char* const former = getenv(name.c_str());
    wasSet_ = former != nullptr;
    former_ = wasSet_ ? former : "";
    if (value == nullptr) {
        unsetenv(name.c_str());
    } else {
        setenv(name.c_str(), value, 1);
    }
}

Environment::~Environment()
{
    if (wasSet_) {
        setenv(name_.c_str(), former_.c_str(), 1);
    } else {
        unsetenv(name_.c_str());
    }
}
