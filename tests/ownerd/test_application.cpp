// An application that does what its arguments say, one after the other. Of the C library alone and
// without the sanitizers, since it forks and is started by the hundred.
//
//   mark=FILE            appends its process number to a file
//   describe=FILE        writes arguments, environment, directory, users, limits and signals
//   print=TEXT, flood    to standard output; the latter for ever
//   notify=TEXT          to NOTIFY_SOCKET; the lines of TEXT are parted by ','
//   ignore=SIGNAL        a number
//   on=SIGNAL:FILE       appends the signal's number to a file from now on
//   fork=FILE            leaves a process of its own session behind, which has marked the file
//   become=FILE          goes on in a process that has forked away, and tells that it did
//   await=FILE           until the file is there
//   exit=CODE, crash, stay
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <string>

namespace {

std::map<int, std::string> fileOfSignal;

void Append(const std::string& file, const std::string& line)
{
    const int fd = open(file.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
    const std::string text = line + '\n';
    if (write(fd, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
        _exit(99);
    }
    close(fd);
}

void Mark(const std::string& file)
{
    Append(file, std::to_string(getpid()));
}

void Await(const std::string& file)
{
    while (access(file.c_str(), F_OK) != 0) {
        usleep(1000);
    }
}

// A file is there before what is written to it.
void AwaitMark(const std::string& file)
{
    struct stat status = {};
    while (stat(file.c_str(), &status) != 0 || status.st_size == 0) {
        usleep(1000);
    }
}

void OnSignal(int signal)
{
    Append(fileOfSignal[signal], std::to_string(signal));
}

void Describe(const std::string& file, int argc, char** argv)
{
    std::ofstream out(file + ".next");
    for (int i = 0; i < argc; ++i) {
        out << "argument " << argv[i] << '\n';
    }
    for (char** variable = environ; *variable != nullptr; ++variable) {
        out << "variable " << *variable << '\n';
    }
    char directory[4096];
    out << "directory " << getcwd(directory, sizeof directory) << '\n';
    out << "user " << getuid() << ' ' << geteuid() << '\n';
    out << "group " << getgid() << ' ' << getegid() << '\n';
    rlimit files = {};
    getrlimit(RLIMIT_NOFILE, &files);
    out << "files " << files.rlim_cur << ' ' << files.rlim_max << '\n';
    sigset_t blocked;
    sigprocmask(SIG_SETMASK, nullptr, &blocked);
    for (int signal = 1; signal < 32; ++signal) {
        struct sigaction action = {};
        sigaction(signal, nullptr, &action);
        if (sigismember(&blocked, signal) == 1 || action.sa_handler == SIG_IGN) {
            out << "deaf to " << signal << '\n';
        }
    }
    for (int fd = 3; fd < 64; ++fd) {
        if (fcntl(fd, F_GETFD) >= 0 && !out.fail()) {
            char link[64] = {};
            const std::string path = "/proc/self/fd/" + std::to_string(fd);
            if (readlink(path.c_str(), link, sizeof link - 1) > 0 &&
                std::string(link).find(".next") == std::string::npos) {
                out << "open " << link << '\n';
            }
        }
    }
    out << "session " << (getsid(0) == getpid()) << '\n';
    out.close();
    std::rename((file + ".next").c_str(), file.c_str());
}

void Notify(std::string text)
{
    for (char& c : text) {
        c = c == ',' ? '\n' : c;
    }
    const char* const name = getenv("NOTIFY_SOCKET");
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, name, std::strlen(name));
    address.sun_path[0] = '\0';
    const int fd = socket(AF_UNIX, SOCK_DGRAM, 0);
    const size_t length = offsetof(sockaddr_un, sun_path) + std::strlen(name);
    sendto(fd, text.data(), text.size(), 0, reinterpret_cast<sockaddr*>(&address),
           static_cast<socklen_t>(length));
    close(fd);
}

[[noreturn]] void Stay()
{
    for (;;) {
        pause();
    }
}

void Fork(const std::string& file)
{
    if (fork() == 0) {
        setsid();
        if (fork() == 0) {
            Mark(file);
            Stay();
        }
        _exit(0);
    }
    wait(nullptr);
    AwaitMark(file);
}

void Become(const std::string& file)
{
    const pid_t pid = fork();
    if (pid == 0) {
        setsid();
        Mark(file);
        return;
    }
    AwaitMark(file);
    Notify("MAINPID=" + std::to_string(pid) + ",READY=1");
    Await(file + ".go");
    _exit(0);
}

void OnSignalFrom(const std::string& value)
{
    const size_t colon = value.find(':');
    const int signal = std::stoi(value);
    fileOfSignal[signal] = value.substr(colon + 1);
    std::signal(signal, OnSignal);
}

void Do(const std::string& verb, const std::string& value, int argc, char** argv)
{
    if (verb == "mark") {
        Mark(value);
    } else if (verb == "describe") {
        Describe(value, argc, argv);
    } else if (verb == "print") {
        std::puts(value.c_str());
        std::fflush(stdout);
    } else if (verb == "notify") {
        Notify(value);
    } else if (verb == "ignore") {
        std::signal(std::stoi(value), SIG_IGN);
    } else if (verb == "on") {
        OnSignalFrom(value);
    } else if (verb == "fork") {
        Fork(value);
    } else if (verb == "become") {
        Become(value);
    } else if (verb == "await") {
        Await(value);
    } else if (verb == "exit") {
        _exit(std::stoi(value));
    } else if (verb == "crash") {
        raise(SIGKILL);
    } else if (verb == "stay") {
        Stay();
    } else if (verb == "flood") {
        for (;;) {
            std::puts("flood");
        }
    }
}

}  // namespace

int main(int argc, char** argv)
{
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        const size_t equals = word.find('=');
        Do(word.substr(0, equals), equals == std::string::npos ? "" : word.substr(equals + 1), argc,
           argv);
    }
    return 0;
}
