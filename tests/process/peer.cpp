#include "tests/process/peer.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <stdexcept>

namespace {

bool HasKind(const std::string& line, const std::string& kind)
{
    return line == kind || line.compare(0, kind.size() + 1, kind + ' ') == 0;
}

pid_t Spawn(const std::string& program, const Peer::Lines& arguments, int input, int output)
{
    std::vector<char*> words = {const_cast<char*>(program.c_str())};
    for (const std::string& argument : arguments) {
        words.push_back(const_cast<char*>(argument.c_str()));
    }
    words.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    pid_t process = -1;
    const int error =
        posix_spawn(&process, program.c_str(), &actions, nullptr, words.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) {
        throw std::runtime_error("cannot start " + program);
    }
    return process;
}

}  // namespace

Peer::Peer(const std::string& program, const Lines& arguments)
{
    int in[2];
    int out[2];
    if (pipe2(in, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC) != 0) {
        throw std::runtime_error("no pipe");
    }
    process_ = Spawn(program, arguments, in[0], out[1]);
    close(in[0]);
    close(out[1]);
    input_ = in[1];
    output_ = out[0];
    fcntl(output_, F_SETFL, O_NONBLOCK);
    reader_ = std::thread(&Peer::Read, this);
}

Peer::~Peer()
{
    Kill();
    reader_.join();
    close(input_);
    close(output_);
}

void Peer::Read()
{
    pollfd entry = {output_, POLLIN, 0};
    for (bool isOpen = true; isOpen;) {
        poll(&entry, 1, -1);
        const std::lock_guard<std::mutex> lock(mutex_);
        Drain();
        isOpen = !hasEnded_;
    }
}

// Takes what the peer has written so far.
void Peer::Drain() const
{
    char buffer[4096];
    ssize_t count = 0;
    while ((count = read(output_, buffer, sizeof buffer)) > 0) {
        rest_.append(buffer, static_cast<size_t>(count));
    }
    for (size_t end = 0; (end = rest_.find('\n')) != std::string::npos;) {
        Take(rest_.substr(0, end));
        rest_.erase(0, end + 1);
    }
    hasEnded_ = count == 0;
    changed_.notify_all();
}

void Peer::Take(const std::string& line) const
{
    if (line == "ok") {
        ++answers_;
    } else if (line == "ready") {
        isReady_ = true;
    } else {
        reports_.push_back(line);
    }
}

void Peer::Write(const std::string& line)
{
    const std::string text = line + '\n';
    if (write(input_, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
        ADD_FAILURE() << "the peer cannot be told: " << line;
    }
}

bool Peer::Tell(const std::string& line)
{
    size_t before = 0;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        before = answers_;
    }
    Write(line);
    return AwaitThat([&] { return answers_ > before; });
}

bool Peer::AwaitReady() const
{
    return AwaitThat([&] { return isReady_; });
}

bool Peer::AwaitThat(const std::function<bool()>& condition) const
{
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait_for(lock, kPatience, [&] { return hasEnded_ || condition(); });
    return condition();
}

Peer::Lines Peer::Reports() const
{
    const std::lock_guard<std::mutex> lock(mutex_);
    Drain();
    return reports_;
}

Peer::Lines Peer::Reports(const std::string& kind) const
{
    Lines lines;
    for (const std::string& line : Reports()) {
        if (HasKind(line, kind)) {
            lines.push_back(line);
        }
    }
    return lines;
}

size_t Peer::Count(const std::string& line) const
{
    const Lines lines = Reports();
    return static_cast<size_t>(std::count(lines.begin(), lines.end(), line));
}

bool Peer::Await(const std::string& line, size_t count) const
{
    return AwaitThat([&] {
        return static_cast<size_t>(std::count(reports_.begin(), reports_.end(), line)) >= count;
    });
}

bool Peer::AwaitAny(const std::string& kind, size_t count) const
{
    const auto isOfKind = [&](const std::string& line) {
        return HasKind(line, kind);
    };
    return AwaitThat([&] {
        return static_cast<size_t>(std::count_if(reports_.begin(), reports_.end(), isOfKind)) >=
               count;
    });
}

void Peer::Forget()
{
    const std::lock_guard<std::mutex> lock(mutex_);
    Drain();
    reports_.clear();
}

void Peer::Stop()
{
    kill(process_, SIGSTOP);
    int status = 0;
    waitpid(process_, &status, WUNTRACED);
    EXPECT_TRUE(WIFSTOPPED(status));
}

void Peer::Continue()
{
    kill(process_, SIGCONT);
}

void Peer::Kill()
{
    if (process_ > 0) {
        kill(process_, SIGKILL);
        AwaitExit();
    }
}

int Peer::AwaitExit()
{
    int status = -1;
    while (waitpid(process_, &status, 0) < 0 && errno == EINTR) {}
    process_ = -1;
    return status;
}
