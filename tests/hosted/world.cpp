#include "tests/hosted/world.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

namespace fs = std::filesystem;

RuntimeDirectory::RuntimeDirectory()
{
    char pattern[] = "/tmp/ownerlink-test-XXXXXX";
    if (mkdtemp(pattern) == nullptr) {
        std::abort();
    }
    path_ = pattern;
    setenv("OWNERLINK_RUNTIME_DIR", path_.c_str(), 1);
    setenv("OWNERLINK_LOG", "info", 1);
}

RuntimeDirectory::~RuntimeDirectory()
{
    std::error_code ignored;
    fs::permissions(path_, fs::perms::owner_all, ignored);
    fs::remove_all(path_, ignored);
}

std::vector<std::string> RuntimeDirectory::Files() const
{
    std::vector<std::string> files;
    for (const auto& entry : fs::directory_iterator(path_)) {
        files.push_back(entry.path().filename());
    }
    return files;
}

void AdmitAllTo(const std::string& directory)
{
    fs::permissions(directory, fs::perms(0755));
    for (const auto& entry : fs::directory_iterator(directory)) {
        fs::permissions(entry.path(), fs::perms(entry.is_socket() ? 0666 : 0644));
    }
}

OwnerProcess::OwnerProcess(const std::string& name, const std::string& timeoutMs)
{
    static int count = 0;
    logPath_ = "/tmp/ownerlink-test-" + std::to_string(getpid()) + ".log" + std::to_string(++count);
    int input[2];
    int output[2];
    if (pipe2(input, O_CLOEXEC) != 0 || pipe2(output, O_CLOEXEC) != 0) {
        std::abort();
    }
    process_ = fork();
    if (process_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        const int log = open(logPath_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        dup2(input[0], 0);
        dup2(output[1], 1);
        dup2(log, 2);
        execl(TEST_OWNER, TEST_OWNER, name.c_str(), timeoutMs.c_str(), nullptr);
        _exit(127);
    }
    close(input[0]);
    close(output[1]);
    input_ = input[1];
    output_ = output[0];
    firstLine_ = ReadLine();
}

OwnerProcess::~OwnerProcess()
{
    Kill();
    close(input_);
    close(output_);
    unlink(logPath_.c_str());
}

std::string OwnerProcess::ReadLine()
{
    std::string line;
    char c = 0;
    while (read(output_, &c, 1) == 1 && c != '\n') {
        line += c;
    }
    return line;
}

void OwnerProcess::Write(const std::string& line)
{
    const std::string text = line + "\n";
    (void)!write(input_, text.data(), text.size());
}

std::string OwnerProcess::Tell(const std::string& line)
{
    Write(line);
    return ReadLine();
}

void OwnerProcess::Signal(int number) const
{
    kill(process_, number);
}

void OwnerProcess::Stop()
{
    Signal(SIGSTOP);
    int status = 0;
    waitpid(process_, &status, WUNTRACED);
}

void OwnerProcess::Kill()
{
    if (process_ > 0) {
        Signal(SIGKILL);
        AwaitExit();
    }
}

int OwnerProcess::AwaitExit()
{
    int status = 0;
    waitpid(process_, &status, 0);
    process_ = -1;
    return status;
}

std::string OwnerProcess::Log() const
{
    const std::ifstream file(logPath_);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

bool operator==(const CallResult& left, const CallResult& right)
{
    return left.result == right.result && left.error == right.error;
}

std::ostream& operator<<(std::ostream& stream, const CallResult& result)
{
    return stream << result.result << " (" << strerror(result.error) << ")";
}

namespace {

CallResult ResultOf(long result)
{
    return {result, result < 0 ? errno : 0};
}

}  // namespace

CallResult Open(const std::string& name, int flags)
{
    errno = 0;
    return ResultOf(IAMFileOpen(name.c_str(), flags));
}

CallResult Ioctl(int fd, uint32_t command, std::string& buffer)
{
    IAMIoctlArg argument = {buffer.size(), buffer.data()};
    errno = 0;
    return ResultOf(IAMFileIoctl(fd, command, &argument));
}

CallResult Ioctl(int fd, uint32_t command)
{
    std::string buffer(64, '\0');
    return Ioctl(fd, command, buffer);
}

CallResult Read(int fd, std::string& buffer)
{
    errno = 0;
    return ResultOf(IAMFileRead(fd, buffer.data(), buffer.size()));
}

CallResult ReadInTheEnd(int fd, std::string& buffer)
{
    CallResult result = {-1, ETIMEDOUT};
    Eventually([&] {
        result = Read(fd, buffer);
        return !(result == CallResult{-1, ETIMEDOUT});
    });
    return result;
}

CallResult Close(int fd)
{
    errno = 0;
    return ResultOf(IAMFileClose(fd));
}

int AnswerSize(IAMMgrFile* /*file*/, unsigned int /*command*/, IAMIoctlArg* argument)
{
    return static_cast<int>(argument->size);
}

CallResult RegisterHere(const char* name, IoctlHook ioctl)
{
    IAMFileOps ops = {};
    ops.open = [](IAMMgrFile*) {
        return 0;
    };
    ops.ioctl = ioctl;
    const IAMServiceDesc desc = {name, &ops, 5000};
    errno = 0;
    return ResultOf(IAMRegisterService(&desc));
}

int OpenOrFail(const std::string& name)
{
    const CallResult opened = Open(name);
    EXPECT_GE(opened.result, 0) << strerror(opened.error);
    return static_cast<int>(opened.result);
}

TestCounts CountsOf(int fd)
{
    std::string buffer(sizeof(TestCounts), '\0');
    EXPECT_EQ(Ioctl(fd, kCount, buffer), (CallResult{0, 0}));
    TestCounts counts = {};
    std::memcpy(&counts, buffer.data(), sizeof counts);
    return counts;
}

bool Eventually(const std::function<bool()>& condition, std::chrono::seconds limit)
{
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

int64_t MillisecondsOf(const std::function<void()>& action)
{
    const auto start = std::chrono::steady_clock::now();
    action();
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() -
                                                                 start)
        .count();
}

size_t OpenDescriptors()
{
    const fs::directory_iterator entries("/proc/self/fd");
    return static_cast<size_t>(std::distance(begin(entries), end(entries)));
}
